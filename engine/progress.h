#pragma once
// The run's side of the progress dialog: its maximum, the count after every record, and whether the
// user cancelled. Does nothing where no dialog is on the screen.

#include <cstdint>

#include "contract/platform.h"

namespace kelvorin::engine {

class Progress {
 public:
  /// `view` is null without a dialog. It is consulted only while ShowProgress is set.
  Progress(contract::ProgressView* view, contract::Platform& platform,
           const contract::Properties& properties)
      : view_(view), platform_(platform), properties_(properties) {}

  bool shown() const noexcept { return view_ != nullptr && properties_.ShowProgress; }
  bool cancelled() const noexcept { return shown() && view_->Cancelled(); }
  /// Sets the bar's maximum, once, before the first record.
  void SetTotal(std::int64_t records);
  /// Tells the count, then yields.
  void Update(std::int64_t records_processed);

 private:
  contract::ProgressView* view_;
  contract::Platform& platform_;
  const contract::Properties& properties_;
};

}  // namespace kelvorin::engine
