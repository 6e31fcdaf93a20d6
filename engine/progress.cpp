#include "engine/progress.h"

#include <algorithm>
#include <limits>

#include "base/M_Misc.h"

namespace kelvorin::engine {

void Progress::SetTotal(std::int64_t records) {
  constexpr std::int64_t kLargest = std::numeric_limits<std::int32_t>::max();
  if (view_ != nullptr)
    view_->SetMaximum(base::Narrow<std::int32_t>(std::clamp<std::int64_t>(records, 0, kLargest)));
}

void Progress::Update(std::int64_t records_processed) {
  if (!shown()) return;
  view_->SetCount(records_processed);
  platform_.Yield();
}

}  // namespace kelvorin::engine
