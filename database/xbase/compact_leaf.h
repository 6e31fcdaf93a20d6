#pragma once
// A leaf page of FoxPro's compact trees as its bytes stand: searched, and added to, without taking
// its entries apart. Used by the compact page codec, whose file shows the page.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/bytes.h"
#include "database/xbase/fox_page.h"

namespace kelvorin::database::xbase {

namespace compact {
using fox::kCountAt;
using fox::kPageBytes;
inline constexpr std::size_t kFreeBytesAt = 12;
inline constexpr std::size_t kRecordMaskAt = 14;
inline constexpr std::size_t kDuplicateMaskAt = 18;
inline constexpr std::size_t kTrailMaskAt = 19;
inline constexpr std::size_t kRecordBitsAt = 20;
inline constexpr std::size_t kDuplicateBitsAt = 21;
inline constexpr std::size_t kTrailBitsAt = 22;
inline constexpr std::size_t kEntryBytesAt = 23;
inline constexpr std::size_t kLeafAt = 24;
inline constexpr unsigned kMaxEntryBytes = 8;

/// Bytes of a key without the fill at its end.
std::size_t KeptBytes(base::ByteSpan key, std::byte fill) noexcept;
/// How many of the first `most` bytes two keys share.
std::size_t SharedBytes(base::ByteSpan a, base::ByteSpan b, std::size_t most) noexcept;
}  // namespace compact

class CompactLeaf {
 public:
  /// `page`: its 512 bytes, which outlive this object.
  CompactLeaf(base::ByteSpan page, std::size_t key_bytes, std::byte fill) noexcept;

  /// The first entry that is not less than what was looked for, or the end.
  struct Spot {
    std::size_t at = 0;
    bool same_entry = false;   // it is the very entry
    std::uint32_t record = 0;  // of it
    // How the key there is put together: bytes of the key before, bytes of the page, fill.
    std::size_t same = 0;
    std::size_t stored = 0;
    std::size_t matched = 0;     // bytes that the target shares with this key,
    std::size_t shared = 0;      // and with the one before
    std::size_t keys_begin = 0;  // where the bytes of the entries before end, downwards
  };
  /// False when the page makes no sense as far as it was looked at.
  bool Find(base::ByteSpan target, Spot& spot) const noexcept;
  /// The whole entry of a spot before the end; `target` is what led there.
  void TakeEntry(const Spot& spot, base::ByteSpan target, std::byte* out) const noexcept;
  std::size_t count() const noexcept { return count_; }
  /// Makes the page with one more entry in `image`, `spot` being its place. False when the page has
  /// no room for it, its numbers are too narrow or it makes no sense.
  bool Insert(const Spot& spot, base::ByteSpan entry, std::vector<std::byte>& image) const;

 private:
  /// The number of an entry taken apart.
  struct Packed {
    std::size_t same = 0;
    std::size_t trail = 0;
    std::uint32_t record = 0;
  };
  std::uint64_t Number(std::size_t at) const noexcept;
  Packed Unpack(std::uint64_t number) const noexcept;
  bool Pack(const Packed& parts, base::MutableByteSpan image, std::size_t at) const noexcept;
  /// Key bytes of entry i in the page; false when they cannot be.
  bool StoredBytes(const Packed& parts, std::size_t i, std::size_t end,
                   std::size_t& stored) const noexcept;

  base::ByteSpan page_;
  std::size_t key_bytes_;
  std::byte fill_;
  std::size_t count_ = 0;
  std::size_t front_ = 0;  // behind the numbers
  std::uint32_t record_mask_ = 0;
  unsigned record_bits_ = 0;
  unsigned duplicate_bits_ = 0;
  std::uint64_t duplicate_mask_ = 0;
  std::uint64_t trail_mask_ = 0;
  std::size_t size_ = 0;  // of a number
  bool sound_ = false;
};

}  // namespace kelvorin::database::xbase
