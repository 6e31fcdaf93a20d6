#include "engine/progress.h"

#include <algorithm>
#include <limits>

#include "base/M_Misc.h"
#include "base/M_STRING.h"

namespace kelvorin::engine {

void Progress::SetTotal(std::int64_t records) {
  total_ = std::clamp<std::int64_t>(records, 0, std::numeric_limits<std::int32_t>::max());
  out_of_ = " out of ";
  base::AppendDecimal(total_, out_of_);
  if (view_ != nullptr) view_->SetMaximum(base::Narrow<std::int32_t>(total_));
}

void Progress::Update(std::int64_t records_processed) {
  if (!shown()) return;
  text_.clear();
  base::AppendDecimal(records_processed, text_);
  if (records_processed <= total_) {
    view_->SetValue(base::Narrow<std::int32_t>(records_processed));
    text_ += out_of_;
  }
  view_->SetCountText(text_);
  platform_.Yield();
}

}  // namespace kelvorin::engine
