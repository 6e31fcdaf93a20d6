#include "textsource/break_list.h"

#include <algorithm>
#include <cstddef>

namespace kelvorin::textsource {

using base::kMaxFields;
using base::kNoBreak;

void BreakList::SetCount(std::uint16_t count) noexcept {
  count_ = std::min(count, static_cast<std::uint16_t>(kMaxFields));
}

void BreakList::ClearBreakList() noexcept {
  slots_.fill(kNoBreak);
  count_ = 0;
}

std::uint16_t BreakList::FixedBreakExist(std::uint16_t position) const noexcept {
  const int slot = FixedBreakExistButNoSelf(position, -1);
  return slot < 0 ? kNoBreak : static_cast<std::uint16_t>(slot);
}

Status BreakList::AddFixedBreak(std::uint16_t position) {
  if (FixedBreakExist(position) != kNoBreak) return {};
  if (count_ == kMaxFields) count_ = CompactArray();
  if (count_ == kMaxFields) {
    return Status(Code::kOutOfRange, "The list holds 251 breaks, there is no room for another");
  }
  slots_[count_++] = position;
  return {};
}

void BreakList::DeleteFixedBreak(std::uint16_t position) noexcept {
  const std::uint16_t slot = FixedBreakExist(position);
  if (slot != kNoBreak) slots_[slot] = kNoBreak;
}

std::uint16_t BreakList::CompactArray() noexcept {
  const auto behind = std::remove(slots_.begin(), slots_.end(), kNoBreak);
  std::fill(behind, slots_.end(), kNoBreak);
  return static_cast<std::uint16_t>(behind - slots_.begin());
}

void BreakList::QuickSort(int low, int high) noexcept {
  low = std::max(low, 0);
  high = std::min(high, static_cast<int>(kMaxFields) - 1);
  if (low < high) std::sort(slots_.begin() + low, slots_.begin() + high + 1);
}

int BreakList::FixedBreakExistButNoSelf(std::uint16_t position, int own_slot) const noexcept {
  for (int slot = 0; slot < count_; ++slot) {
    if (slot != own_slot && slots_[static_cast<std::size_t>(slot)] == position) return slot;
  }
  return -1;
}

void BreakList::CompactAndSort() noexcept {
  count_ = CompactArray();
  QuickSort(0, count_ - 1);
}

}  // namespace kelvorin::textsource
