#include "wizard/frm_progress.h"

#include "base/M_STRING.h"

#include <algorithm>
#include <chrono>

namespace kelvorin::wizard {
namespace {

std::int64_t NowMilliseconds() {
  using std::chrono::duration_cast;
  using std::chrono::milliseconds;
  return duration_cast<milliseconds>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

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
  if (seconds < 60) return base::ToDecimal(seconds) + " s";
  if (seconds < 3600) return base::ToDecimal((seconds + 30) / 60) + " min";
  return base::ToDecimal(seconds / 3600) + " h " + base::ToDecimal(seconds % 3600 / 60) + " min";
}

}  // namespace

frmProgress::frmProgress(contract::Platform& platform)
    : Form("frmProgress", "Import..."), platform_(platform) {
  ProgressBar.accessible_name = "Progress of the import";
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
  begun_ = NowMilliseconds();
  if (do_import_) do_import_();
  Close();
}

void frmProgress::Command1_Click() {
  if (asking_ || cancelled_) return;
  asking_ = true;
  Refresh();
  const contract::Answer answer =
      platform_.Ask({"Are you sure that you want to stop the import process?", "Confirmation",
                     contract::Icon::kQuestion, contract::Buttons::kOkCancel});
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
  return NowMilliseconds() - begun_;
}

void frmProgress::UpdateRate(std::int64_t milliseconds) {
  if (milliseconds < 1000 || count_ < 1) return;
  const std::int64_t rate = count_ * 1000 / milliseconds;
  std::string text = Grouped(rate) + " records per second";
  const std::int64_t left = ProgressBar.maximum() - count_;
  if (left > 0 && rate > 0) text += ", about " + TimeText((left + rate - 1) / rate) + " left";
  LblRate.SetCaption(text);
}

}  // namespace kelvorin::wizard
