#pragma once
// Data pages: slots at the front, rows stacked from the end downwards. Table rows, long values and
// usage maps all lie on such pages; this file knows where a row is and how to place, resize and
// remove one, not what it means.
//
// Invariants: (1) row i lies directly below row i-1, row 0 at the page's end; (2) the free-bytes
// field is the lowest row's start minus the end of the slots; (3) a slot keeps its number while a
// live row stands behind it.

#include <cstdint>

#include "database/access/page_channel.h"

namespace kelvorin::database::access {

inline constexpr std::uint16_t kSlotMoved = 0x4000;   // holds a pointer to the real row
inline constexpr std::uint16_t kSlotHidden = 0x8000;  // the real row behind such a pointer
inline constexpr std::uint16_t kSlotDeleted = 0xC000;
inline constexpr std::uint32_t kMaxSlots = 255;

struct Slot {
  std::uint32_t start = 0;
  std::uint32_t size = 0;
  std::uint16_t flags = 0;

  bool deleted() const noexcept { return flags == kSlotDeleted; }
  /// Counts in a scan: neither deleted nor the target of a moved row.
  bool visible() const noexcept { return (flags & kSlotHidden) == 0; }
};

/// A view of a pinned data page that outlives it. Throws `kCorrupt` for slots that make no sense.
class DataPage {
 public:
  DataPage(const PageChannel& channel, Page& page);

  std::uint32_t slot_count() const noexcept { return count_; }
  std::uint32_t owner() const noexcept { return base::LoadLE32(page_.bytes(), kOwnerAt); }
  /// `index` below slot_count.
  Slot At(std::uint32_t index) const;
  base::ByteSpan Row(const Slot& slot) const noexcept {
    return page_.bytes().subspan(slot.start, slot.size);
  }
  /// Bytes between the slots and the lowest row.
  std::uint32_t free_bytes() const noexcept { return lowest_ - slots_end(); }
  /// Slots that `Insert` would have to its disposal without a new one.
  bool Fits(std::uint32_t row_bytes) const;

  /// Places a row in a slot behind all live ones. It must fit.
  std::uint32_t Insert(base::ByteSpan row, std::uint16_t flags);
  /// Gives a row other bytes and flags; what grows must fit into `free_bytes`.
  void Replace(std::uint32_t index, base::ByteSpan row, std::uint16_t flags);
  /// Marks a row deleted and closes the gap.
  void Delete(std::uint32_t index) { Replace(index, {}, kSlotDeleted); }
  /// True when every slot is deleted.
  bool Empty() const;

  /// Makes a page of zeros or of leftovers an empty data page.
  static void Format(const Layout& layout, Page& page, std::uint32_t owner);

 private:
  std::uint32_t slots_end() const noexcept { return layout_.slots_at + 2 * count_; }
  /// Slots up to the last one that is not deleted.
  std::uint32_t LiveSlots() const;
  void WriteCounts(std::uint32_t count, std::uint32_t lowest);

  const PageChannel& channel_;
  const Layout& layout_;
  Page& page_;
  std::uint32_t count_ = 0;
  std::uint32_t lowest_ = 0;
};

/// The row at a place, on a page that the caller holds. `kCorrupt` when there is no such slot.
Slot FindSlot(const PageChannel& channel, Page& page, RowId id);

}  // namespace kelvorin::database::access
