#include "database/access/usage_map.h"

#include <algorithm>
#include <bit>

#include "database/access/data_page.h"

namespace kelvorin::database::access {
namespace {

constexpr std::uint8_t kInline = 0;
constexpr std::uint8_t kReferences = 1;
constexpr std::uint32_t kInlineBitsAt = 5;
constexpr std::uint32_t kMapPageBitsAt = 4;

/// First set bit at or behind `from` in `bits`, or the number of bits.
std::uint32_t FirstSet(base::ByteSpan bits, std::uint32_t from) noexcept {
  for (std::uint32_t byte = from / 8; byte < bits.size(); ++byte) {
    auto value = static_cast<unsigned>(bits[byte]);
    if (byte == from / 8) value &= 0xFFu << (from % 8);
    if (value != 0) return byte * 8 + static_cast<std::uint32_t>(std::countr_zero(value));
  }
  return static_cast<std::uint32_t>(bits.size()) * 8;
}

/// Last set bit before `end`, or kNoPage.
std::uint32_t LastSet(base::ByteSpan bits, std::uint32_t end) noexcept {
  for (std::uint32_t byte = (end + 7) / 8; byte-- > 0;) {
    auto value = static_cast<unsigned>(bits[byte]);
    if (byte == end / 8) value &= (1u << (end % 8)) - 1;
    if (value != 0) return byte * 8 + 31 - static_cast<std::uint32_t>(std::countl_zero(value));
  }
  return kNoPage;
}

}  // namespace

std::vector<std::byte> UsageMap::EmptyRow(const Layout& layout, std::uint32_t first_page) {
  std::vector<std::byte> row(layout.map_row_bytes);
  base::StoreLE32(row, 1, first_page);
  return row;
}

std::uint32_t UsageMap::ReferenceCount() const {
  Page page = channel_->Pin(row_.page(), kDataPage);
  const Slot slot = FindSlot(*channel_, page, row_);
  const base::ByteSpan bytes = page.bytes().subspan(slot.start, slot.size);
  if (bytes.size() < kInlineBitsAt || base::Load8(bytes, 0) > kReferences)
    channel_->Corrupt(row_.page(), "row " + std::to_string(row_.slot()) + " is no usage map");
  return base::Load8(bytes, 0) == kInline ? 0 : (slot.size - 1) / 4;
}

std::uint32_t UsageMap::Reference(std::uint32_t index) const {
  Page page = channel_->Pin(row_.page(), kDataPage);
  const Slot slot = FindSlot(*channel_, page, row_);
  return base::LoadLE32(page.bytes(), slot.start + 1 + std::size_t{4} * index);
}

void UsageMap::SetReference(std::uint32_t index, std::uint32_t number) {
  Page page = channel_->Pin(row_.page(), kDataPage);
  const Slot slot = FindSlot(*channel_, page, row_);
  const std::size_t at = slot.start + 1 + std::size_t{4} * index;
  base::StoreLE32(page.Change(at, 4), at, number);
}

UsageMap::Bits UsageMap::Inline() const {
  Bits bits;
  bits.page = channel_->Pin(row_.page(), kDataPage);
  const Slot slot = FindSlot(*channel_, bits.page, row_);
  bits.first = base::LoadLE32(bits.page.bytes(), slot.start + 1);
  bits.at = slot.start + kInlineBitsAt;
  bits.bytes = slot.size - kInlineBitsAt;
  if (bits.first >= channel_->layout().max_pages)
    channel_->Corrupt(row_.page(), "a usage map begins at page " + std::to_string(bits.first));
  return bits;
}

UsageMap::Bits UsageMap::MapPage(std::uint32_t number, std::uint32_t index) const {
  Bits bits;
  bits.page = channel_->Pin(number, kMapPage);
  bits.at = kMapPageBitsAt;
  bits.bytes = channel_->layout().page_bytes - kMapPageBitsAt;
  bits.first = index * channel_->layout().map_page_span();
  return bits;
}

UsageMap::Bits UsageMap::Find(std::uint32_t page) const {
  const std::uint32_t references = ReferenceCount();
  if (references == 0) {
    Bits bits = Inline();
    if (page < bits.first || page - bits.first >= bits.bytes * 8) return {};
    return bits;
  }
  const std::uint32_t index = page / channel_->layout().map_page_span();
  const std::uint32_t number = index < references ? Reference(index) : 0;
  return number == 0 ? Bits{} : MapPage(number, index);
}

bool UsageMap::Test(const Bits& bits, std::uint32_t page) noexcept {
  const std::uint32_t bit = page - bits.first;
  return (base::Load8(bits.page.bytes(), bits.at + bit / 8) >> (bit % 8) & 1) != 0;
}

void UsageMap::Set(Bits& bits, std::uint32_t page, bool on) {
  const std::uint32_t bit = page - bits.first;
  const std::size_t at = bits.at + bit / 8;
  const auto mask = static_cast<std::uint8_t>(1u << (bit % 8));
  const std::uint8_t old = base::Load8(bits.page.bytes(), at);
  const auto value = static_cast<std::uint8_t>(on ? old | mask : old & ~mask);
  if (value != old) base::Store8(bits.page.Change(at, 1), at, value);
}

bool UsageMap::Contains(std::uint32_t page) const {
  const Bits bits = Find(page);
  return bits.bytes != 0 && Test(bits, page);
}

std::uint32_t UsageMap::Next(std::uint32_t from) const {
  const std::uint32_t references = ReferenceCount();
  if (references == 0) {
    const Bits bits = Inline();
    const std::uint32_t bit = FirstSet(bits.page.bytes().subspan(bits.at, bits.bytes),
                                       std::max(from, bits.first) - bits.first);
    return bit < bits.bytes * 8 ? bits.first + bit : kNoPage;
  }
  const std::uint32_t span = channel_->layout().map_page_span();
  for (std::uint32_t i = from / span; i < references; ++i) {
    const std::uint32_t number = Reference(i);
    if (number == 0) continue;
    const Bits bits = MapPage(number, i);
    const std::uint32_t bit = FirstSet(bits.page.bytes().subspan(bits.at, bits.bytes),
                                       std::max(from, bits.first) - bits.first);
    if (bit < span) return bits.first + bit;
  }
  return kNoPage;
}

std::uint32_t UsageMap::Previous(std::uint32_t end) const {
  const std::uint32_t references = ReferenceCount();
  if (references == 0) {
    const Bits bits = Inline();
    if (end <= bits.first) return kNoPage;
    const std::uint32_t bit = LastSet(bits.page.bytes().subspan(bits.at, bits.bytes),
                                      std::min(end - bits.first, bits.bytes * 8));
    return bit == kNoPage ? kNoPage : bits.first + bit;
  }
  const std::uint32_t span = channel_->layout().map_page_span();
  for (std::uint32_t i = references; i-- > 0;) {
    if (end <= i * span) continue;
    const std::uint32_t number = Reference(i);
    if (number == 0) continue;
    const Bits bits = MapPage(number, i);
    const std::uint32_t bit =
        LastSet(bits.page.bytes().subspan(bits.at, bits.bytes), std::min(end - bits.first, span));
    if (bit != kNoPage) return bits.first + bit;
  }
  return kNoPage;
}

void UsageMap::Remove(std::uint32_t page) {
  Bits bits = Find(page);
  if (bits.bytes != 0) Set(bits, page, false);
}

void UsageMap::Add(std::uint32_t page, PageAllocator& allocator) {
  Bits bits = Find(page);
  if (bits.bytes != 0) return Set(bits, page, true);
  const std::uint32_t references = ReferenceCount();
  if (references == 0) {
    bits = Inline();
    return ShiftOrConvert(bits, page, allocator);
  }
  const std::uint32_t index = page / channel_->layout().map_page_span();
  if (index >= references)
    channel_->Corrupt(row_.page(), "a usage map has no room for page " + std::to_string(page));
  Page made = allocator.Allocate();
  const base::MutableByteSpan bytes = made.Change(0, channel_->layout().page_bytes);
  std::fill(bytes.begin(), bytes.end(), std::byte{0});
  base::Store8(bytes, 0, kMapPage);
  base::Store8(bytes, 1, 1);
  SetReference(index, made.number());
  bits = MapPage(made.number(), index);
  Set(bits, page, true);
}

void UsageMap::ShiftOrConvert(Bits& bits, std::uint32_t page, PageAllocator& allocator) {
  const std::uint32_t room = bits.bytes * 8;
  const base::ByteSpan old = bits.page.bytes().subspan(bits.at, bits.bytes);
  std::vector<std::uint32_t> members;
  for (std::uint32_t bit = FirstSet(old, 0); bit < room; bit = FirstSet(old, bit + 1))
    members.push_back(bits.first + bit);
  members.push_back(page);
  const auto [low, high] = std::minmax_element(members.begin(), members.end());
  const std::uint32_t first = *low & ~7u;
  const std::uint32_t row_start = bits.at - kInlineBitsAt;
  const std::uint32_t row_bytes = bits.bytes + kInlineBitsAt;
  {
    const base::MutableByteSpan row = bits.page.Change(row_start, row_bytes);
    std::fill(row.begin() + row_start, row.begin() + row_start + row_bytes, std::byte{0});
    if (*high - first < room) {
      base::StoreLE32(row, row_start + 1, first);
      bits.first = first;
      for (std::uint32_t member : members) Set(bits, member, true);
      return;
    }
    base::Store8(row, row_start, kReferences);
  }
  bits.page = Page();
  for (std::uint32_t member : members) Add(member, allocator);
}

// --- Free pages

bool PageAllocator::IsFree(std::uint32_t page) const {
  const UsageMap::Bits bits = free_.Find(page);
  if (bits.bytes != 0) return UsageMap::Test(bits, page);
  return true;  // beyond the map
}

Page PageAllocator::Allocate() {
  if (undone_ != channel_.undone()) {
    lowest_free_ = 0;
    undone_ = channel_.undone();
  }
  // Pages that the map does not cover are free too, but only ever lie behind the end.
  const std::uint32_t found =
      lowest_free_ >= channel_.page_count() ? kNoPage : free_.Next(lowest_free_);
  if (found < channel_.page_count()) {
    if (found <= kRelationshipsTable)
      channel_.Corrupt(kGlobalMapPage, "says that a system page is free");
    MarkUsed(found);
    lowest_free_ = found + 1;
    return channel_.Pin(found);
  }
  Page page = channel_.Append();
  MarkUsed(page.number());
  // Covering the page may have taken the next ones for bitmaps, so nothing below is free.
  lowest_free_ = channel_.page_count();
  return page;
}

void PageAllocator::Free(std::uint32_t page, std::uint8_t type) {
  UsageMap::Bits bits = free_.Find(page);
  if (bits.bytes != 0) UsageMap::Set(bits, page, true);
  base::Store8(channel_.Pin(page).Change(0, 1), 0, type);
  lowest_free_ = std::min(lowest_free_, page);
}

Page PageAllocator::AppendBitmap(std::uint32_t index) {
  Page made = channel_.Append();
  const base::MutableByteSpan bytes = made.Change(0, channel_.layout().page_bytes);
  std::fill(bytes.begin(), bytes.end(), std::byte{0xFF});
  base::Store8(bytes, 0, kMapPage);
  base::Store8(bytes, 1, 1);
  base::StoreLE16(bytes, 2, 0);
  free_.SetReference(index, made.number());
  return made;
}

void PageAllocator::MarkUsed(std::uint32_t page) {
  UsageMap::Bits bits = free_.Find(page);
  if (bits.bytes != 0) return UsageMap::Set(bits, page, false);
  const std::uint32_t span = channel_.layout().map_page_span();
  if (free_.ReferenceCount() == 0) {
    bits = free_.Inline();
    const std::uint32_t first = bits.first;
    const base::ByteSpan old = bits.page.bytes().subspan(bits.at, bits.bytes);
    const std::vector<std::byte> inline_bits(old.begin(), old.end());
    const std::uint32_t row_start = bits.at - kInlineBitsAt;
    const std::uint32_t row_bytes = bits.bytes + kInlineBitsAt;
    if (first + inline_bits.size() * 8 > span)
      channel_.Corrupt(kGlobalMapPage, "the map of free pages begins too far behind");
    {
      const base::MutableByteSpan row = bits.page.Change(row_start, row_bytes);
      std::fill(row.begin() + row_start, row.begin() + row_start + row_bytes, std::byte{0});
      base::Store8(row, row_start, kReferences);
    }
    Page made = AppendBitmap(0);
    // Pages before the old map's beginning were in use.
    const base::MutableByteSpan bytes = made.Change(0, channel_.layout().page_bytes);
    std::fill_n(bytes.begin() + kMapPageBitsAt, first / 8, std::byte{0});
    std::copy(inline_bits.begin(), inline_bits.end(), bytes.begin() + kMapPageBitsAt + first / 8);
    const std::uint32_t number = made.number();
    made = Page();
    MarkUsed(number);
    return MarkUsed(page);
  }
  if (page / span >= free_.ReferenceCount())
    channel_.Corrupt(kGlobalMapPage,
                     "the map of free pages has no room for page " + std::to_string(page));
  const std::uint32_t number = AppendBitmap(page / span).number();
  MarkUsed(number);
  MarkUsed(page);
}

}  // namespace kelvorin::database::access
