#pragma once
// What stands in a rollback journal, for its writer (`Journal`) and its reader (`JournalView`).
// Used by the store alone. docs/formats/journal.md shows the file and its invariants.

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>

#include "base/bytes.h"
#include "storage/file.h"
#include "storage/role.h"

namespace kelvorin::storage {

/// Content is compared in pieces that a torn write leaves whole: old or new, never both. They begin
/// at multiples of this in the file; the first and the last of a range may be shorter.
inline constexpr std::uint64_t kPieceBytes = 512;
/// No file of a store is longer; a journal that says so is not believed.
inline constexpr std::uint64_t kMaxFileBytes = std::uint64_t{1} << 33;
inline constexpr std::uint32_t kMaxJournalFiles = 1024;

/// Where the piece that begins at `offset` ends in a range that ends at `end`.
constexpr std::uint64_t PieceEnd(std::uint64_t offset, std::uint64_t end) noexcept {
  const std::uint64_t next = (offset / kPieceBytes + 1) * kPieceBytes;
  return next < end ? next : end;
}
constexpr std::uint64_t PieceCount(std::uint64_t offset, std::uint64_t size) noexcept {
  return size == 0 ? 0 : (offset + size - 1) / kPieceBytes - offset / kPieceBytes + 1;
}

/// A file that takes part in a group, and where it stood and will stand.
struct JournalEntry {
  Role role = Role::kMain;
  os::FileIdentity identity;
  std::uint64_t old_size = 0;
  std::uint64_t new_size = 0;
  bool made = false;     // by this group: going back removes it
  bool removed = false;  // by this group: going forward removes it
};

/// Sums over bytes, a stripe of 64 at a time: any torn, stale or foreign byte changes them. No
/// protection against somebody who wants two contents of one sum.
class StripeSum {
 public:
  static constexpr std::size_t kStripeBytes = 64;
  explicit StripeSum(std::uint64_t seed = 0) noexcept
      : lanes_{seed ^ kFirst, seed + kSecond, seed ^ kThird, seed + kFourth} {}
  /// Whole stripes; how they are divided between calls makes no difference.
  void Add(base::ByteSpan stripes) noexcept {
    for (std::size_t at = 0; at < stripes.size(); at += kStripeBytes)
      for (std::size_t lane = 0; lane < lanes_.size(); ++lane)
        lanes_[lane] = Mix(base::LoadLE64(stripes, at + lane * 16) ^ lanes_[lane],
                           base::LoadLE64(stripes, at + lane * 16 + 8) ^ kSecond);
  }
  std::uint64_t Value() const noexcept {
    return Mix(Mix(lanes_[0] ^ kFirst, lanes_[1] ^ kSecond),
               Mix(lanes_[2] ^ kThird, lanes_[3] ^ kFourth) ^ kFirst);
  }

 private:
  static constexpr std::uint64_t kFirst = 0x9E3779B97F4A7C15u;
  static constexpr std::uint64_t kSecond = 0xC2B2AE3D27D4EB4Fu;
  static constexpr std::uint64_t kThird = 0x165667B19E3779F9u;
  static constexpr std::uint64_t kFourth = 0xD6E8FEB86659FD93u;
  static std::uint64_t Mix(std::uint64_t a, std::uint64_t b) noexcept {
    __extension__ using Wide = unsigned __int128;
    const Wide product = static_cast<Wide>(a) * b;
    // The factor is kept in, so that a zero on one side does not hide the other.
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64) ^
           std::rotl(a, 23);
  }
  std::array<std::uint64_t, 4> lanes_;
};

/// Sum of a piece of up to `kPieceBytes`.
std::uint64_t PieceSum(base::ByteSpan piece) noexcept;

// --- The head, in a sector of its own at the start of the file and, when files are cut, again at
// `kFinishAt`.

enum class HeadKind : std::uint32_t { kOpen = 0, kSeal = 1, kFinish = 2 };

struct JournalHead {
  HeadKind kind = HeadKind::kOpen;
  std::uint32_t entries = 0;
  std::uint64_t serial = 0;  // of the group
  std::uint64_t body_bytes = 0;
  std::uint64_t body_sum = 0;
};

inline constexpr std::size_t kHeadBytes = 64;
inline constexpr std::uint64_t kFinishAt = 512;
inline constexpr std::uint64_t kBodyAt = 1024;

std::array<std::byte, kHeadBytes> EncodeHead(const JournalHead& head) noexcept;
/// What the bytes at a head's place are.
enum class HeadRead : std::uint8_t { kGood, kZeros, kForeign, kDamaged };
HeadRead DecodeHead(base::ByteSpan bytes, JournalHead& head) noexcept;

// --- The body: one entry per file, then records by entry and place. All are padded with zeros to
// whole stripes.

inline constexpr std::size_t kEntryBytes = 64;
void EncodeEntry(const JournalEntry& entry, base::MutableByteSpan out) noexcept;
/// False when the bytes are no entry.
bool DecodeEntry(base::ByteSpan bytes, JournalEntry& entry) noexcept;

enum class RecordKind : std::uint32_t {
  kImage = 1,  // old bytes of a range that is overwritten, and sums of the new ones
  kAdded = 2,  // sums of what is added behind the old end
};

/// Head of a record; the sums of its pieces follow, then for an image the old bytes.
struct RecordHead {
  RecordKind kind = RecordKind::kImage;
  std::uint32_t entry = 0;
  std::uint64_t offset = 0;  // in the file
  std::uint64_t size = 0;    // bytes of the file
};

inline constexpr std::size_t kRecordHeadBytes = 32;
inline constexpr std::size_t kSumBytes = 8;
/// Longest record, so that one buffer holds it.
inline constexpr std::size_t kMaxRecordBytes = std::size_t{64} << 10;

constexpr std::uint64_t PaddedToStripe(std::uint64_t bytes) noexcept {
  return (bytes + StripeSum::kStripeBytes - 1) / StripeSum::kStripeBytes * StripeSum::kStripeBytes;
}
/// Bytes of a record with its padding.
constexpr std::uint64_t RecordBytes(const RecordHead& head) noexcept {
  return PaddedToStripe(kRecordHeadBytes + PieceCount(head.offset, head.size) * kSumBytes +
                        (head.kind == RecordKind::kImage ? head.size : 0));
}
void EncodeRecordHead(const RecordHead& head, base::MutableByteSpan out) noexcept;
bool DecodeRecordHead(base::ByteSpan bytes, RecordHead& head) noexcept;

/// Where the journal of a file lies: `NAME-journal` beside it, the name shortened where a file
/// system would not take it. `main_path` with links followed.
std::string JournalPath(const std::string& main_path);

}  // namespace kelvorin::storage
