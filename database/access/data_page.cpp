#include "database/access/data_page.h"

#include <algorithm>
#include <cstring>

namespace kelvorin::database::access {
namespace {
constexpr std::uint16_t kOffsetMask = 0x1FFF;
constexpr std::uint32_t kFreeAt = 2;
}  // namespace

DataPage::DataPage(const PageChannel& channel, Page& page)
    : channel_(channel), layout_(channel.layout()), page_(page) {
  const base::ByteSpan bytes = page_.bytes();
  count_ = base::LoadLE16(bytes, layout_.slot_count_at);
  if (slots_end() > layout_.page_bytes) channel_.Corrupt(page_.number(), "has too many row slots");
  lowest_ = count_ == 0 ? layout_.page_bytes
                        : base::LoadLE16(bytes, layout_.slots_at + 2 * (count_ - 1)) & kOffsetMask;
  if (lowest_ < slots_end() || lowest_ > layout_.page_bytes)
    channel_.Corrupt(page_.number(), "its row slots run into its rows");
}

Slot DataPage::At(std::uint32_t index) const {
  const base::ByteSpan bytes = page_.bytes();
  const std::size_t at = layout_.slots_at + std::size_t{2} * index;
  const std::uint16_t value = base::LoadLE16(bytes, at);
  const std::uint32_t start = value & kOffsetMask;
  const std::uint32_t end =
      index == 0 ? layout_.page_bytes : base::LoadLE16(bytes, at - 2) & kOffsetMask;
  if (start < slots_end() || start > end || end > layout_.page_bytes)
    channel_.Corrupt(page_.number(), "the slot of row " + std::to_string(index) + " is damaged");
  return {start, end - start, static_cast<std::uint16_t>(value & ~kOffsetMask)};
}

std::uint32_t DataPage::LiveSlots() const {
  std::uint32_t live = count_;
  while (live > 0) {
    const Slot slot = At(live - 1);
    if (!slot.deleted() || slot.size != 0) break;
    --live;
  }
  return live;
}

bool DataPage::Fits(std::uint32_t row_bytes) const {
  if (count_ < kMaxSlots && row_bytes + 2 <= free_bytes()) return true;
  const std::uint32_t live = LiveSlots();
  return live < kMaxSlots && live < count_ && row_bytes + 2 <= free_bytes() + 2 * (count_ - live);
}

bool DataPage::Empty() const {
  for (std::uint32_t i = 0; i < count_; ++i)
    if (!At(i).deleted()) return false;
  return true;
}

void DataPage::WriteCounts(std::uint32_t count, std::uint32_t lowest) {
  count_ = count;
  lowest_ = lowest;
  base::StoreLE16(page_.Change(kFreeAt, 2), kFreeAt, static_cast<std::uint16_t>(free_bytes()));
  base::StoreLE16(page_.Change(layout_.slot_count_at, 2), layout_.slot_count_at,
                  static_cast<std::uint16_t>(count));
}

std::uint32_t DataPage::Insert(base::ByteSpan row, std::uint16_t flags) {
  const std::uint32_t index = LiveSlots();
  const auto size = static_cast<std::uint32_t>(row.size());
  const std::uint32_t start = lowest_ - size;
  KV_ASSERT(start >= layout_.slots_at + 2 * (index + 1), "the row fits");
  if (size != 0) std::memcpy(page_.Change(start, size).data() + start, row.data(), size);
  const std::size_t slot_at = layout_.slots_at + std::size_t{2} * index;
  base::StoreLE16(page_.Change(slot_at, 2), slot_at, static_cast<std::uint16_t>(start | flags));
  WriteCounts(index + 1, start);
  return index;
}

void DataPage::Replace(std::uint32_t index, base::ByteSpan row, std::uint16_t flags) {
  const Slot old = At(index);
  const auto size = static_cast<std::uint32_t>(row.size());
  // Everything below the row moves by the difference.
  const std::uint32_t start = old.start + old.size - size;
  const std::uint32_t lowest = lowest_ + old.size - size;
  KV_ASSERT(lowest_ + old.size >= slots_end() + size, "the row fits");
  const std::uint32_t from = std::min(lowest, lowest_);
  const std::uint32_t to = old.start + old.size;
  if (to > from) {
    const base::MutableByteSpan bytes = page_.Change(from, to - from);
    if (size != old.size && old.start > lowest_)
      std::memmove(bytes.data() + lowest, bytes.data() + lowest_, old.start - lowest_);
    if (size != 0) std::memcpy(bytes.data() + start, row.data(), size);
  }
  const std::size_t slots_at = layout_.slots_at + std::size_t{2} * index;
  const base::MutableByteSpan slots = page_.Change(slots_at, slots_end() - slots_at);
  base::StoreLE16(slots, slots_at, static_cast<std::uint16_t>(start | flags));
  if (size != old.size) {
    for (std::uint32_t i = index + 1; i < count_; ++i) {
      const std::size_t at = layout_.slots_at + std::size_t{2} * i;
      const std::uint16_t value = base::LoadLE16(slots, at);
      base::StoreLE16(slots, at,
                      static_cast<std::uint16_t>(((value & kOffsetMask) + old.size - size) |
                                                 (value & ~kOffsetMask)));
    }
  }
  WriteCounts(count_, lowest);
}

void DataPage::Format(const Layout& layout, Page& page, std::uint32_t owner) {
  const base::MutableByteSpan bytes = page.Change(0, layout.page_bytes);
  std::fill(bytes.begin(), bytes.end(), std::byte{0});
  base::Store8(bytes, 0, kDataPage);
  base::Store8(bytes, 1, 1);
  base::StoreLE16(bytes, kFreeAt, static_cast<std::uint16_t>(layout.page_bytes - layout.slots_at));
  if (owner == kLongValueOwner) {
    base::StoreBE32(bytes, kOwnerAt, owner);
  } else {
    base::StoreLE32(bytes, kOwnerAt, owner);
  }
}

Slot FindSlot(const PageChannel& channel, Page& page, RowId id) {
  const DataPage data(channel, page);
  if (id.slot() >= data.slot_count())
    channel.Corrupt(id.page(), "has no row " + std::to_string(id.slot()));
  return data.At(id.slot());
}

}  // namespace kelvorin::database::access
