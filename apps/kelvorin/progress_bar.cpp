#include "apps/kelvorin/progress_bar.h"

#include "base/M_Misc.h"
#include "base/M_STRING.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace kelvorin::app {
namespace {

constexpr std::int64_t kRedrawMilliseconds = 100;
constexpr std::size_t kBarCells = 30;

volatile sig_atomic_t cancelled = 0;

extern "C" void OnInterrupt(int number) {
  if (cancelled) {  // asked twice: end at once, as without this handler
    signal(number, SIG_DFL);
    raise(number);
  }
  cancelled = 1;
}

std::string Clock(std::int64_t seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", static_cast<long long>(seconds / 3600),
                static_cast<long long>(seconds / 60 % 60), static_cast<long long>(seconds % 60));
  return text;
}

}  // namespace

ProgressBar::ProgressBar(bool quiet) : draws_(!quiet && isatty(STDERR_FILENO)) {
  cancelled = 0;
  struct sigaction action = {};
  action.sa_handler = OnInterrupt;
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

ProgressBar::~ProgressBar() {
  Unload();
  signal(SIGINT, SIG_DFL);
  signal(SIGTERM, SIG_DFL);
}

void ProgressBar::Show() {
  shown_ = true;
  started_ms_ = base::MonotonicMilliseconds();
}

bool ProgressBar::Cancelled() const noexcept {
  return cancelled != 0;
}

void ProgressBar::SetCount(std::int64_t records) {
  count_ = records;
  if (!draws_ || !shown_) return;
  const std::int64_t now = base::MonotonicMilliseconds();
  if (now - drawn_ms_ < kRedrawMilliseconds) return;
  drawn_ms_ = now;
  Draw();
}

void ProgressBar::Draw() {
  const double seconds =
      static_cast<double>(std::max<std::int64_t>(drawn_ms_ - started_ms_, 1)) / 1000;
  const double rate = static_cast<double>(count_) / seconds;
  std::string line = "\r[";
  const auto of_bar = [](std::int64_t number) { return static_cast<std::size_t>(number); };
  const std::size_t filled =
      maximum_ > 0 ? kBarCells * of_bar(std::min<std::int64_t>(count_, maximum_)) / of_bar(maximum_)
                   : 0;
  line.append(filled, '#');
  line.append(kBarCells - filled, '.');
  line += "] " + contract::CountText(count_, maximum_) + ", " +
          base::ToDecimal(static_cast<std::int64_t>(rate)) + "/s";
  if (maximum_ > count_ && rate > 0)
    line += ", " + Clock(static_cast<std::int64_t>(static_cast<double>(maximum_ - count_) / rate)) +
            " left";
  std::fprintf(stderr, "%s\x1b[K", line.c_str());
}

void ProgressBar::Unload() {
  if (shown_ && draws_ && drawn_ms_ != 0) std::fputs("\r\x1b[K", stderr);
  shown_ = false;
  drawn_ms_ = 0;
}

}  // namespace kelvorin::app
