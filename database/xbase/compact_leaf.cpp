#include "database/xbase/compact_leaf.h"

#include "database/xbase/index_pages.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace kelvorin::database::xbase {
namespace compact {
namespace {
constexpr std::size_t kWord = 8;
}

std::size_t KeptBytes(base::ByteSpan key, std::byte fill) noexcept {
  std::size_t kept = key.size();
  const std::uint64_t fills = std::to_integer<std::uint64_t>(fill) * 0x0101010101010101u;
  for (; kept >= kWord; kept -= kWord) {
    const std::uint64_t other = base::LoadLE64(key, kept - kWord) ^ fills;
    if (other != 0) return kept - static_cast<std::size_t>(std::countl_zero(other)) / 8;
  }
  while (kept > 0 && key[kept - 1] == fill) --kept;
  return kept;
}

std::size_t SharedBytes(base::ByteSpan a, base::ByteSpan b, std::size_t most) noexcept {
  std::size_t shared = 0;
  for (; shared + kWord <= most; shared += kWord) {
    const std::uint64_t other = base::LoadLE64(a, shared) ^ base::LoadLE64(b, shared);
    if (other != 0) return shared + static_cast<std::size_t>(std::countr_zero(other)) / 8;
  }
  while (shared < most && a[shared] == b[shared]) ++shared;
  return shared;
}

}  // namespace compact

using namespace compact;

CompactLeaf::CompactLeaf(base::ByteSpan page, std::size_t key_bytes, std::byte fill) noexcept
    : page_(page), key_bytes_(key_bytes), fill_(fill) {
  count_ = base::LoadLE16(page_, kCountAt);
  record_mask_ = base::LoadLE32(page_, kRecordMaskAt);
  duplicate_mask_ = base::Load8(page_, kDuplicateMaskAt);
  trail_mask_ = base::Load8(page_, kTrailMaskAt);
  record_bits_ = base::Load8(page_, kRecordBitsAt);
  duplicate_bits_ = base::Load8(page_, kDuplicateBitsAt);
  size_ = base::Load8(page_, kEntryBytesAt);
  front_ = kLeafAt + count_ * size_;
  sound_ = size_ > 0 && size_ <= kMaxEntryBytes && record_bits_ + duplicate_bits_ < size_ * 8 &&
           front_ <= kPageBytes;
}

std::uint64_t CompactLeaf::Number(std::size_t i) const noexcept {
  const std::size_t at = kLeafAt + i * size_;
  if (at + 8 <= kPageBytes)
    return base::LoadLE64(page_, at) & (~std::uint64_t{0} >> (64 - 8 * size_));
  std::uint64_t number = 0;
  for (std::size_t n = size_; n-- > 0;)
    number = number << 8 | std::to_integer<std::uint64_t>(page_[at + n]);
  return number;
}

CompactLeaf::Packed CompactLeaf::Unpack(std::uint64_t number) const noexcept {
  return {static_cast<std::size_t>(number >> record_bits_ & duplicate_mask_),
          static_cast<std::size_t>(number >> (record_bits_ + duplicate_bits_) & trail_mask_),
          static_cast<std::uint32_t>(number & record_mask_)};
}

bool CompactLeaf::Pack(const Packed& parts, base::MutableByteSpan image,
                       std::size_t at) const noexcept {
  std::uint64_t number = parts.record | std::uint64_t{parts.same} << record_bits_ |
                         std::uint64_t{parts.trail} << (record_bits_ + duplicate_bits_);
  const Packed there = Unpack(number);
  if (there.same != parts.same || there.trail != parts.trail || there.record != parts.record)
    return false;
  for (std::size_t n = 0; n < size_; ++n, number >>= 8)
    image[at + n] = static_cast<std::byte>(number);
  return number == 0 || size_ == 8;
}

bool CompactLeaf::StoredBytes(const Packed& parts, std::size_t i, std::size_t end,
                              std::size_t& stored) const noexcept {
  if (parts.same + parts.trail > key_bytes_ || (i == 0 && parts.same > 0)) return false;
  stored = key_bytes_ - parts.same - parts.trail;
  return stored <= end - front_;
}

bool CompactLeaf::Find(base::ByteSpan target, Spot& spot) const noexcept {
  spot = Spot();
  if (count_ == 0) {
    spot.keys_begin = kPageBytes;
    return true;
  }
  if (!sound_) return false;
  const std::size_t most = std::min(target.size(), key_bytes_);
  const bool with_record = target.size() > key_bytes_;
  const std::uint32_t record = with_record ? base::LoadBE32(target, key_bytes_) : 0;
  std::size_t end = kPageBytes;
  std::size_t shared = 0;
  for (std::size_t i = 0; i < count_; ++i) {
    const Packed parts = Unpack(Number(i));
    std::size_t stored = 0;
    if (!StoredBytes(parts, i, end, stored)) return false;
    const std::size_t keys_begin = end;
    end -= stored;
    // It has the byte by which the one before was less.
    if (parts.same > shared) continue;
    std::size_t at = parts.same;
    const std::size_t stored_end = std::min(parts.same + stored, most);
    const std::byte* const bytes = page_.data() + end - parts.same;
    while (at < stored_end && bytes[at] == target[at]) ++at;
    bool less = at < stored_end && bytes[at] < target[at];
    if (at == stored_end && at < most) {
      while (at < most && target[at] == fill_) ++at;
      less = at < most && fill_ < target[at];
    }
    if (at == most && with_record) less = parts.record < record;
    if (!less) {
      spot = {.at = i,
              .same_entry = at == most && with_record && parts.record == record,
              .record = parts.record,
              .same = parts.same,
              .stored = stored,
              .matched = at,
              .shared = shared,
              .keys_begin = keys_begin};
      return true;
    }
    shared = at;
  }
  spot.at = count_;
  spot.shared = shared;
  spot.keys_begin = end;
  return true;
}

void CompactLeaf::TakeEntry(const Spot& spot, base::ByteSpan target,
                            std::byte* out) const noexcept {
  std::memcpy(out, target.data(), spot.same);
  std::memcpy(out + spot.same, page_.data() + spot.keys_begin - spot.stored, spot.stored);
  const std::size_t kept = spot.same + spot.stored;
  std::memset(out + kept, std::to_integer<int>(fill_), key_bytes_ - kept);
  base::StoreBE32({out + key_bytes_, kRecordNumberBytes}, 0, spot.record);
}

bool CompactLeaf::Insert(const Spot& spot, base::ByteSpan entry,
                         std::vector<std::byte>& image) const {
  if (!sound_ || count_ == 0) return false;
  const base::ByteSpan key = entry.first(key_bytes_);
  const std::size_t kept = KeptBytes(key, fill_);
  const std::size_t shared = std::min(spot.shared, kept);
  const std::size_t added = kept - shared;
  const bool last = spot.at == count_;
  // What the entry behind keeps of its bytes: it shares no less with the new one than with the old.
  const std::size_t next_same = std::min(spot.matched, spot.same + spot.stored);
  const std::size_t next_stored = last ? std::size_t{0} : spot.same + spot.stored - next_same;
  // Where the bytes of the last entry begin.
  std::size_t bottom = spot.keys_begin - spot.stored;
  for (std::size_t i = spot.at + 1; i < count_; ++i) {
    std::size_t stored = 0;
    if (!StoredBytes(Unpack(Number(i)), i, bottom, stored)) return false;
    bottom -= stored;
  }
  const std::size_t behind = spot.keys_begin - spot.stored - bottom;  // bytes of those behind
  const std::size_t before = kPageBytes - spot.keys_begin;
  const std::size_t keys = before + added + next_stored + behind;
  if (front_ + size_ + keys > kPageBytes) return false;

  image.assign(kPageBytes, std::byte{0});
  const base::MutableByteSpan out = image;
  const std::size_t number_at = kLeafAt + spot.at * size_;
  std::memcpy(out.data(), page_.data(), number_at);
  std::memcpy(out.data() + number_at + size_, page_.data() + number_at, front_ - number_at);
  if (!Pack({shared, key_bytes_ - kept, base::LoadBE32(entry, key_bytes_)}, out, number_at))
    return false;
  if (!last &&
      !Pack({next_same, key_bytes_ - spot.same - spot.stored, spot.record}, out, number_at + size_))
    return false;
  std::size_t at = spot.keys_begin;
  std::memcpy(out.data() + at, page_.data() + at, before);
  at -= added;
  std::memcpy(out.data() + at, key.data() + shared, added);
  at -= next_stored;
  std::memcpy(out.data() + at, page_.data() + spot.keys_begin - next_stored, next_stored);
  at -= behind;
  std::memcpy(out.data() + at, page_.data() + bottom, behind);
  base::StoreLE16(out, kCountAt, static_cast<std::uint16_t>(count_ + 1));
  base::StoreLE16(out, kFreeBytesAt, static_cast<std::uint16_t>(at - front_ - size_));
  return true;
}

}  // namespace kelvorin::database::xbase
