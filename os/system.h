#pragma once
// What the surrounding system tells: environment, locale names, clock, the library's own folder.
// Used by `base`; nothing here changes the process's locale.

#include <cstdint>
#include <optional>
#include <string>

namespace kelvorin::os {

/// Value of an environment variable; nothing when it is not set.
std::optional<std::string> Environment(const char* name);

/// Name of the locale for a category as the environment gives it (LC_ALL, then the category's own
/// variable, then LANG), "C" when none is set. `category` is e.g. "LC_CTYPE".
std::string LocaleName(const char* category);

/// Charset of the environment's LC_CTYPE locale as the system names it ("UTF-8", "ISO-8859-1",
/// "ANSI_X3.4-1968"); the locale's own suffix when the system does not know the locale.
std::string LocaleCharset();

/// How the environment's locale writes numbers and short dates.
struct LocaleFacts {
  std::string decimal_point = ".";
  std::string thousands_sep;
  std::string currency_symbol;
  std::string date_format = "%m/%d/%y";  // strftime form, D_FMT of LC_TIME
};
LocaleFacts ReadLocaleFacts();

/// Local calendar time, e.g. for a log.
struct LocalTime {
  int year, month, day, hour, minute, second;
};
LocalTime Now();

/// Seconds since the start of 1970, UTC.
std::int64_t UnixSeconds() noexcept;

/// Milliseconds that only go forward.
std::int64_t MonotonicMilliseconds() noexcept;
/// The same, up to some milliseconds old, for a fifth of the cost.
std::int64_t CoarseMilliseconds() noexcept;
/// User plus system CPU time of this process in nanoseconds.
std::int64_t CpuNanoseconds() noexcept;
/// Largest resident memory of this process so far, in KiB.
std::int64_t PeakMemoryKiB() noexcept;

/// Number of this process, which no other has meanwhile.
std::int64_t ProcessNumber() noexcept;

/// Gives standard input, output and error a place that takes everything where the caller closed
/// them, so that no file opened later gets their numbers and with them what is printed. To be
/// called first.
void KeepStandardStreams() noexcept;

/// Folder of the file that holds this code (the shared library, else the program).
std::string LibraryFolder();

}  // namespace kelvorin::os
