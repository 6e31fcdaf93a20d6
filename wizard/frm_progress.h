#pragma once
// The dialog over a running import: bar, count, animation and the question behind Cancel. The run
// tells its count for every record; bar and labels follow when they are about to be drawn. The
// import runs inside the form's activation.

#include <cstdint>
#include <functional>
#include <string>

#include "contract/form.h"
#include "contract/platform.h"

namespace kelvorin::wizard {

class frmProgress final : public contract::Form, public contract::ProgressView {
  using Kind = contract::ControlKind;

 public:
  static constexpr int kFrames = 12;
  static constexpr int kTimerMilliseconds = 175;

  explicit frmProgress(contract::Platform& platform);

  /// The import to run, given this form as its progress view.
  void SetCaller(std::function<void()> do_import) { do_import_ = std::move(do_import); }

  // --- Named procedures.
  void Form_Load();
  /// Runs the import and closes the form. A second activation does nothing.
  void Form_Activate() override;
  void Command1_Click();
  /// Stops the run without a question: nobody is left to answer it.
  void Stop() noexcept { cancelled_ = true; }
  void Timer1_Timer();
  /// Closing the window by any way asks like the button; the run goes on unless it is confirmed.
  void CloseRequested() override { Command1_Click(); }

  /// Brings the bar and both labels up to what the run told: before they are drawn, some times a
  /// second.
  void Refresh();
  /// The second label alone: records per second and the time left, this many milliseconds after
  /// the run began.
  void UpdateRate(std::int64_t milliseconds);
  /// Milliseconds since the run began.
  std::int64_t Elapsed() const;
  int frame() const noexcept { return frame_; }  // the next to be shown, from 1
  /// Frame on the screen, 0 before the first tick.
  int shown_frame() const noexcept { return shown_frame_; }

  // --- The run's side.
  void Show() override {}
  void SetMaximum(std::int32_t records) override { ProgressBar.SetMaximum(records); }
  void SetCount(std::int64_t records) noexcept override { count_ = records; }
  bool Cancelled() const noexcept override { return cancelled_; }
  void Unload() override { Close(); }

  contract::Control ProgressBar{*this, "ProgressBar", Kind::kProgress};
  contract::Control LblRecords{*this, "LblRecords", Kind::kLabel};
  contract::Control LblRate{*this, "LblRate", Kind::kLabel};
  contract::Control Command1{*this, "Command1", Kind::kButton, "Cancel"};

 private:
  contract::Platform& platform_;
  std::function<void()> do_import_;
  std::int64_t begun_ = 0;
  std::int64_t count_ = 0;
  int frame_ = 1;
  int shown_frame_ = 0;
  bool cancelled_ = false;
  bool activated_ = false;
  bool asking_ = false;
};

}  // namespace kelvorin::wizard
