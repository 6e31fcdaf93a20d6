#pragma once
// The progress dialog of a terminal: a bar with counts, rate and time left on standard error, and
// Ctrl-C as its Cancel button without the question.

#include <cstdint>

#include "contract/platform.h"

namespace kelvorin::app {

/// While one of these lives, Ctrl-C (and a polite kill) sets the cancel flag instead of ending the
/// process; a second Ctrl-C ends it. Draws only when standard error is a terminal and `quiet` is
/// not set.
class ProgressBar : public contract::ProgressView {
 public:
  explicit ProgressBar(bool quiet);
  ~ProgressBar() override;
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  void Show() override;
  void SetMaximum(std::int32_t records) override { maximum_ = records; }
  void SetCount(std::int64_t records) override;
  bool Cancelled() const noexcept override;
  void Unload() override;

 private:
  void Draw();

  bool draws_;
  bool shown_ = false;
  std::int32_t maximum_ = 0;
  std::int64_t count_ = 0;
  std::int64_t started_ms_ = 0;
  std::int64_t drawn_ms_ = 0;
};

/// A platform that shows nothing but a progress bar. Questions are answered as the silent one does.
class TerminalPlatform : public contract::SilentPlatform {
 public:
  explicit TerminalPlatform(bool quiet) : bar_(quiet) {}
  contract::ProgressView* Progress() override { return &bar_; }

 private:
  ProgressBar bar_;
};

}  // namespace kelvorin::app
