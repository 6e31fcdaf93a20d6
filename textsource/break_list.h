#pragma once
// The list of fixed-width breaks: 251 slots of character positions, as the break editor fills and
// the settings file stores them. A break at position p ends a field after the record's p-th
// character. Deleted breaks leave holes until the list is compacted.

#include <array>
#include <cstdint>

#include "base/M_Const.h"
#include "base/status.h"

namespace kelvorin::textsource {

class BreakList {
 public:
  BreakList() noexcept { ClearBreakList(); }

  /// Slots in use, holes included.
  std::uint16_t count() const noexcept { return count_; }
  /// Position in a slot, from 0 to 250; `base::kNoBreak` when it is empty.
  std::uint16_t operator[](std::size_t slot) const noexcept { return slots_[slot]; }
  /// Sets the number of used slots, as a compaction reported it; at most 251.
  void SetCount(std::uint16_t count) noexcept;

  /// No breaks: count 0, every slot empty.
  void ClearBreakList() noexcept;
  /// First used slot that holds the position, or `base::kNoBreak` when none does.
  std::uint16_t FixedBreakExist(std::uint16_t position) const noexcept;
  /// Adds a break unless it is there. A full list is compacted first; `kOutOfRange` when it holds
  /// 251 breaks even then.
  Status AddFixedBreak(std::uint16_t position);
  /// Empties the slot that holds the position; the count stays.
  void DeleteFixedBreak(std::uint16_t position) noexcept;
  /// Moves all breaks to the front in their present order, empties the rest and returns the number
  /// of breaks. The count stays; see `SetCount`.
  std::uint16_t CompactArray() noexcept;
  /// Sorts the slots `low` to `high` ascending; nothing when `high` is below `low`.
  void QuickSort(int low, int high) noexcept;
  /// A used slot other than `own_slot` that holds the position, or -1: whether a dragged break
  /// would be dropped onto another.
  int FixedBreakExistButNoSelf(std::uint16_t position, int own_slot) const noexcept;

  /// Compacts, takes over the count and sorts: the list as the fixed-width rule uses it.
  void CompactAndSort() noexcept;

  bool operator==(const BreakList&) const = default;

 private:
  std::array<std::uint16_t, base::kMaxFields> slots_{};
  std::uint16_t count_ = 0;
};

}  // namespace kelvorin::textsource
