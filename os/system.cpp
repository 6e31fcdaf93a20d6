#include "os/system.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <langinfo.h>
#include <link.h>
#include <locale.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>

#include "os/files.h"

namespace kelvorin::os {
namespace {

/// A locale object beside the process's own; empty when the system does not know the name.
class OwnLocale {
 public:
  OwnLocale(int mask, const std::string& name) noexcept
      : handle_(::newlocale(mask, name.c_str(), nullptr)) {}
  ~OwnLocale() {
    if (handle_ != nullptr) ::freelocale(handle_);
  }
  OwnLocale(const OwnLocale&) = delete;
  OwnLocale& operator=(const OwnLocale&) = delete;

  bool known() const noexcept { return handle_ != nullptr; }
  std::string Text(nl_item item) const {
    const char* const text = ::nl_langinfo_l(item, handle_);
    return text == nullptr ? std::string() : std::string(text);
  }

 private:
  locale_t handle_;
};

std::int64_t Nanoseconds(clockid_t clock) noexcept {
  timespec now{};
  ::clock_gettime(clock, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

/// The number behind "VmHWM:" in /proc/self/status, or 0.
std::int64_t HighWaterMark() noexcept {
  std::error_code error;
  const FileHandle file = FileHandle::Open("/proc/self/status", OpenMode::kRead, error);
  if (error) return 0;
  char text[4096];
  const std::span<char> room(text);
  const std::size_t length = file.ReadAt(0, std::as_writable_bytes(room), error);
  constexpr char kName[] = "VmHWM:";
  const char* at = static_cast<const char*>(::memmem(text, length, kName, sizeof(kName) - 1));
  if (error || at == nullptr) return 0;
  std::int64_t kib = 0;
  for (at += sizeof(kName) - 1; at < text + length && *at != '\n'; ++at) {
    if (*at >= '0' && *at <= '9') kib = kib * 10 + (*at - '0');
  }
  return kib;
}

}  // namespace

std::optional<std::string> Environment(const char* name) {
  const char* const value = std::getenv(name);
  if (value == nullptr) return std::nullopt;
  return std::string(value);
}

std::string LocaleName(const char* category) {
  for (const char* variable : {"LC_ALL", category, "LANG"}) {
    std::optional<std::string> value = Environment(variable);
    if (value && !value->empty()) return *value;
  }
  return "C";
}

std::string LocaleCharset() {
  const std::string name = LocaleName("LC_CTYPE");
  const OwnLocale locale(LC_CTYPE_MASK, name);
  if (locale.known()) return locale.Text(CODESET);
  const std::size_t dot = name.find('.');
  if (dot == std::string::npos) return "ANSI_X3.4-1968";  // what such a process gets: the C locale
  const std::size_t modifier = name.find('@', dot);
  return name.substr(dot + 1, modifier == std::string::npos ? modifier : modifier - dot - 1);
}

LocaleFacts ReadLocaleFacts() {
  LocaleFacts facts;
  if (const OwnLocale numbers(LC_NUMERIC_MASK, LocaleName("LC_NUMERIC")); numbers.known()) {
    facts.decimal_point = numbers.Text(RADIXCHAR);
    facts.thousands_sep = numbers.Text(THOUSEP);
  }
  if (const OwnLocale money(LC_MONETARY_MASK, LocaleName("LC_MONETARY")); money.known()) {
    // The first character tells where the symbol stands, the symbol follows.
    const std::string placed = money.Text(CRNCYSTR);
    if (!placed.empty()) facts.currency_symbol = placed.substr(1);
  }
  if (const OwnLocale dates(LC_TIME_MASK, LocaleName("LC_TIME")); dates.known()) {
    facts.date_format = dates.Text(D_FMT);
  }
  return facts;
}

LocalTime Now() {
  const time_t seconds = ::time(nullptr);
  tm parts{};
  ::localtime_r(&seconds, &parts);
  return {.year = parts.tm_year + 1900,
          .month = parts.tm_mon + 1,
          .day = parts.tm_mday,
          .hour = parts.tm_hour,
          .minute = parts.tm_min,
          .second = parts.tm_sec};
}

std::int64_t MonotonicMilliseconds() noexcept {
  return Nanoseconds(CLOCK_MONOTONIC) / 1'000'000;
}

std::int64_t CoarseMilliseconds() noexcept {
#ifdef CLOCK_MONOTONIC_COARSE
  return Nanoseconds(CLOCK_MONOTONIC_COARSE) / 1'000'000;
#else
  return MonotonicMilliseconds();
#endif
}

std::int64_t UnixSeconds() noexcept {
  return ::time(nullptr);
}

std::int64_t ProcessNumber() noexcept {
  return ::getpid();
}

std::int64_t CpuNanoseconds() noexcept {
  return Nanoseconds(CLOCK_PROCESS_CPUTIME_ID);
}

std::int64_t PeakMemoryKiB() noexcept {
  // The resource usage also remembers what the process was before it became this program (a large
  // parent that forked), so it serves only where the program's own mark cannot be read.
  if (const std::int64_t kib = HighWaterMark(); kib > 0) return kib;
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

std::string LibraryFolder() {
  Dl_info info{};
  link_map* map = nullptr;
  const int found = ::dladdr1(reinterpret_cast<const void*>(&LibraryFolder), &info,
                              reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP);
  std::string path;
  // The loader gives the program itself no name, and its first argument may be a bare one.
  if (found == 0 || map == nullptr || map->l_name == nullptr || map->l_name[0] == '\0') {
    path = "/proc/self/exe";
  } else {
    path = map->l_name;
  }
  char resolved[PATH_MAX];
  if (::realpath(path.c_str(), resolved) != nullptr) path = resolved;
  return FolderOf(path);
}

void KeepStandardStreams() noexcept {
  for (int fd = 0; fd <= 2; ++fd)
    if (::fcntl(fd, F_GETFD) == -1) static_cast<void>(::open("/dev/null", O_RDWR | O_NOCTTY));
}

}  // namespace kelvorin::os
