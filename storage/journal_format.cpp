#include "storage/journal_format.h"

#include <algorithm>
#include <cstring>

#include "storage/file.h"

//   head    0 8  "KvJrnal2"                    entry   0 u32 role
//           8 u32 kind: 0 open, 1 seal,                4 u32 1 made, 2 removed
//                 2 finish                             8 u64 old size
//          12 u32 entries                             16 u64 new size
//          16 u64 serial of the group                 24 u64 device
//          24 u64 bytes of the body                   32 u64 inode
//          32 u64 sum of the body             record  0 u32 kind: 1 image, 2 added
//          56 u64 sum of bytes 0-55                   4 u32 entry
//                                                     8 u64 offset
//                                                    16 u64 size
//                                                    32 u64 sums of the pieces as they will be
//                                                       old bytes (images)

namespace kelvorin::storage {
namespace {

constexpr std::string_view kMagic = "KvJrnal2";
constexpr std::size_t kHeadSumAt = 56;
constexpr std::uint32_t kMadeFlag = 1;
constexpr std::uint32_t kRemovedFlag = 2;
constexpr std::string_view kSuffix = "-journal";
// Room for `.kept` and a number behind the journal's name.
constexpr std::size_t kMaxNameBytes = 255 - 9;

bool AllZero(base::ByteSpan bytes) noexcept {
  return std::all_of(bytes.begin(), bytes.end(), [](std::byte b) { return b == std::byte{0}; });
}

std::uint64_t HeadSum(base::ByteSpan head) noexcept {
  return PieceSum(head.first(kHeadSumAt));
}

}  // namespace

std::string RoleName(Role role) {
  const auto number = static_cast<std::uint32_t>(role);
  if (role == Role::kMain) return "table";
  if (role == Role::kMemo) return "memo file";
  if (role >= Role::kByOrder)
    return "companion file " + std::to_string(number - static_cast<std::uint32_t>(Role::kByOrder));
  if (role >= Role::kFirstIndex)
    return "index file " +
           std::to_string(number - static_cast<std::uint32_t>(Role::kFirstIndex) + 1);
  return "file of role " + std::to_string(number);
}

std::uint64_t PieceSum(base::ByteSpan piece) noexcept {
  StripeSum sum(piece.size());
  const std::size_t whole = piece.size() / StripeSum::kStripeBytes * StripeSum::kStripeBytes;
  sum.Add(piece.first(whole));
  if (whole < piece.size()) {
    std::array<std::byte, StripeSum::kStripeBytes> rest{};
    std::memcpy(rest.data(), piece.data() + whole, piece.size() - whole);
    sum.Add(rest);
  }
  return sum.Value();
}

std::array<std::byte, kHeadBytes> EncodeHead(const JournalHead& head) noexcept {
  std::array<std::byte, kHeadBytes> bytes{};
  const base::MutableByteSpan out(bytes);
  std::memcpy(out.data(), kMagic.data(), kMagic.size());
  base::StoreLE32(out, 8, static_cast<std::uint32_t>(head.kind));
  base::StoreLE32(out, 12, head.entries);
  base::StoreLE64(out, 16, head.serial);
  base::StoreLE64(out, 24, head.body_bytes);
  base::StoreLE64(out, 32, head.body_sum);
  base::StoreLE64(out, kHeadSumAt, HeadSum(out));
  return bytes;
}

HeadRead DecodeHead(base::ByteSpan bytes, JournalHead& head) noexcept {
  if (AllZero(bytes)) return HeadRead::kZeros;
  if (bytes.size() < kHeadBytes || base::AsText(bytes.first(kMagic.size())) != kMagic)
    return HeadRead::kForeign;
  const std::uint32_t kind = base::LoadLE32(bytes, 8);
  if (base::LoadLE64(bytes, kHeadSumAt) != HeadSum(bytes) ||
      kind > static_cast<std::uint32_t>(HeadKind::kFinish))
    return HeadRead::kDamaged;
  head = {.kind = HeadKind(kind),
          .entries = base::LoadLE32(bytes, 12),
          .serial = base::LoadLE64(bytes, 16),
          .body_bytes = base::LoadLE64(bytes, 24),
          .body_sum = base::LoadLE64(bytes, 32)};
  return HeadRead::kGood;
}

void EncodeEntry(const JournalEntry& entry, base::MutableByteSpan out) noexcept {
  std::memset(out.data(), 0, kEntryBytes);
  base::StoreLE32(out, 0, static_cast<std::uint32_t>(entry.role));
  base::StoreLE32(out, 4, (entry.made ? kMadeFlag : 0) | (entry.removed ? kRemovedFlag : 0));
  base::StoreLE64(out, 8, entry.old_size);
  base::StoreLE64(out, 16, entry.new_size);
  base::StoreLE64(out, 24, entry.identity.device);
  base::StoreLE64(out, 32, entry.identity.inode);
}

bool DecodeEntry(base::ByteSpan bytes, JournalEntry& entry) noexcept {
  const std::uint32_t flags = base::LoadLE32(bytes, 4);
  entry = {.role = Role(base::LoadLE32(bytes, 0)),
           .identity = {.device = base::LoadLE64(bytes, 24), .inode = base::LoadLE64(bytes, 32)},
           .old_size = base::LoadLE64(bytes, 8),
           .new_size = base::LoadLE64(bytes, 16),
           .made = (flags & kMadeFlag) != 0,
           .removed = (flags & kRemovedFlag) != 0};
  return flags <= (kMadeFlag | kRemovedFlag) && entry.old_size <= kMaxFileBytes &&
         entry.new_size <= kMaxFileBytes && !(entry.made && entry.old_size != 0) &&
         !(entry.removed && entry.new_size != 0) && AllZero(bytes.subspan(40));
}

void EncodeRecordHead(const RecordHead& head, base::MutableByteSpan out) noexcept {
  base::StoreLE32(out, 0, static_cast<std::uint32_t>(head.kind));
  base::StoreLE32(out, 4, head.entry);
  base::StoreLE64(out, 8, head.offset);
  base::StoreLE64(out, 16, head.size);
  base::StoreLE64(out, 24, 0);
}

bool DecodeRecordHead(base::ByteSpan bytes, RecordHead& head) noexcept {
  const std::uint32_t kind = base::LoadLE32(bytes, 0);
  head = {.kind = RecordKind(kind),
          .entry = base::LoadLE32(bytes, 4),
          .offset = base::LoadLE64(bytes, 8),
          .size = base::LoadLE64(bytes, 16)};
  return (head.kind == RecordKind::kImage || head.kind == RecordKind::kAdded) && head.size > 0 &&
         head.offset <= kMaxFileBytes && head.size <= kMaxFileBytes &&
         base::LoadLE64(bytes, 24) == 0 && RecordBytes(head) <= kMaxRecordBytes;
}

std::string JournalPath(const std::string& main_path) {
  const std::string name = NameOf(main_path);
  if (name.size() + kSuffix.size() <= kMaxNameBytes) return main_path + std::string(kSuffix);
  // The sum keeps long names apart that begin alike.
  constexpr std::size_t kSumDigits = 16;
  std::size_t keep = kMaxNameBytes - kSuffix.size() - kSumDigits - 1;
  while (keep > 0 && (static_cast<unsigned char>(name[keep]) & 0xC0) == 0x80) --keep;
  std::string digits(kSumDigits, '0');
  std::uint64_t sum = PieceSum(base::AsBytes(name));
  for (std::size_t at = kSumDigits; at-- > 0; sum >>= 4) digits[at] = "0123456789abcdef"[sum & 15];
  return Beside(main_path, name.substr(0, keep) + "~" + digits + std::string(kSuffix));
}

}  // namespace kelvorin::storage
