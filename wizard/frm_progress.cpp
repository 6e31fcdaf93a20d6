#include "wizard/frm_progress.h"

#include "base/M_Misc.h"
#include "base/M_STRING.h"
#include "base/language.h"

#include <algorithm>

namespace kelvorin::wizard {

using base::Tr;
namespace {

// "12,345"
std::string Grouped(std::int64_t number) {
  std::string digits = base::ToDecimal(number);
  for (std::size_t at = digits.size(); at > 3;) {
    at -= 3;
    digits.insert(at, ",");
  }
  return digits;
}

std::string TimeText(std::int64_t seconds) {
  if (seconds < 60) return Tr("%1 s", {base::ToDecimal(seconds)});
  if (seconds < 3600) return Tr("%1 min", {base::ToDecimal((seconds + 30) / 60)});
  return Tr("%1 h %2 min", {base::ToDecimal(seconds / 3600), base::ToDecimal(seconds % 3600 / 60)});
}

}  // namespace

frmProgress::frmProgress(contract::Platform& platform)
    : Form("frmProgress", "Import..."), platform_(platform) {
  ProgressBar.accessible_name = Tr("Progress of the import");
  Command1.cancel_button = true;
  Command1.on_click = [this] { Command1_Click(); };
  Form_Load();
}

void frmProgress::Form_Load() {
  frame_ = 1;
  shown_frame_ = 0;
  cancelled_ = false;
  LblRecords.SetCaption({});
  LblRate.SetCaption({});
}

void frmProgress::Form_Activate() {
  if (activated_) return;
  activated_ = true;
  begun_ = base::MonotonicMilliseconds();
  if (do_import_) do_import_();
  Close();
}

void frmProgress::Command1_Click() {
  if (asking_ || cancelled_) return;
  asking_ = true;
  Refresh();
  const contract::Answer answer =
      platform_.Ask({Tr("Are you sure that you want to stop the import process?"),
                     Tr("Confirmation"), contract::Icon::kQuestion, contract::Buttons::kOkCancel});
  asking_ = false;
  if (answer == contract::Answer::kOk) cancelled_ = true;
}

void frmProgress::Timer1_Timer() {
  shown_frame_ = frame_;
  frame_ = frame_ == kFrames ? 1 : frame_ + 1;
}

void frmProgress::Refresh() {
  const std::int32_t total = ProgressBar.maximum();
  // Beyond a total that was too low the bar stays at its end.
  if (total > 0)
    ProgressBar.SetNumber(static_cast<std::int32_t>(std::min<std::int64_t>(count_, total)));
  if (count_ > 0) LblRecords.SetCaption(contract::CountText(count_, total));
  UpdateRate(Elapsed());
}

std::int64_t frmProgress::Elapsed() const {
  return base::MonotonicMilliseconds() - begun_;
}

void frmProgress::UpdateRate(std::int64_t milliseconds) {
  if (milliseconds < 1000 || count_ < 1) return;
  const std::int64_t rate = count_ * 1000 / milliseconds;
  const std::int64_t left = ProgressBar.maximum() - count_;
  const bool knows_end = left > 0 && rate > 0;
  const std::string text = knows_end ? Tr("%1 records per second, about %2 left",
                                          {Grouped(rate), TimeText((left + rate - 1) / rate)})
                                     : Tr("%1 records per second", {Grouped(rate)});
  LblRate.SetCaption(text);
}

}  // namespace kelvorin::wizard
