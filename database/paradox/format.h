#pragma once
// The numbers of the table format: where things stand in a header and a block, the field types, and
// the plain records that the other files of this room share. docs/formats/paradox.md explains them
// and says where each was learnt.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "database/table_def.h"

namespace kelvorin::database::paradox {

/// Kind of a file, the byte at 04h.
enum class FileType : std::uint8_t {
  kKeyedTable = 0,
  kPrimaryIndex = 1,
  kUnkeyedTable = 2,
  kLooseField = 3,  // secondary index on one field, not maintained
  kFieldTree = 4,
  kField = 5,  // the same, maintained
  kLooseGroup = 6,
  kGroupTree = 7,
  kGroup = 8,
};

// Offsets in every header; numbers are little-endian.
inline constexpr std::size_t kRecordBytesAt = 0x00;  // u16
inline constexpr std::size_t kHeaderBytesAt = 0x02;  // u16
inline constexpr std::size_t kTypeAt = 0x04;         // u8
inline constexpr std::size_t kBlockKiBAt = 0x05;     // u8
inline constexpr std::size_t kRecordsAt = 0x06;      // u32
inline constexpr std::size_t kUsedAt = 0x0A;         // u16, blocks in the chain
inline constexpr std::size_t kBlocksAt = 0x0C;       // u16, blocks in the file
inline constexpr std::size_t kFirstAt = 0x0E;        // u16
inline constexpr std::size_t kLastAt = 0x10;         // u16
inline constexpr std::size_t kHandleAt = 0x12;       // u16
inline constexpr std::size_t kModifiedAt = 0x14;     // u8, not 0: not closed properly
inline constexpr std::size_t kIndexedFieldAt = 0x15;
inline constexpr std::size_t kRootAt = 0x1E;         // u16
inline constexpr std::size_t kLevelsAt = 0x20;       // u8
inline constexpr std::size_t kFieldsAt = 0x21;       // u16
inline constexpr std::size_t kKeyFieldsAt = 0x23;    // u16
inline constexpr std::size_t kOldKeyAt = 0x25;       // u32, encryption of old tables and trees
inline constexpr std::size_t kSortOrderAt = 0x29;    // u8
inline constexpr std::size_t kModified2At = 0x2A;    // u8
inline constexpr std::size_t kStampAt = 0x2C;        // u8
inline constexpr std::size_t kChangesAt = 0x2D;      // u8
inline constexpr std::size_t kStructureAt = 0x2E;    // u8
inline constexpr std::size_t kProtectedAt = 0x38;    // u8
inline constexpr std::size_t kVersionAt = 0x39;      // u8
inline constexpr std::size_t kBlocksAgainAt = 0x3A;  // u16
inline constexpr std::size_t kAuxPasswordsAt = 0x3D;
inline constexpr std::size_t kPlainMarkAt = 0x3E;  // u16
inline constexpr std::size_t kCounterAt = 0x49;    // u32, last automatic number, or sessions
inline constexpr std::size_t kFreeAt = 0x4D;       // u16
inline constexpr std::size_t kRealBytesAt = 0x51;  // u16
inline constexpr std::size_t kFlagsAt = 0x55;      // u8
inline constexpr std::size_t kNewMarkAt = 0x56;    // u8
inline constexpr std::size_t kFixedBytes = 0x58;
// Of tables and secondary indexes from version 5 on.
inline constexpr std::size_t kVersionTwiceAt = 0x58;  // u16, u16
inline constexpr std::size_t kNewKeyAt = 0x5C;        // u32, encryption
inline constexpr std::size_t kChangedWhenAt = 0x60;   // u32
inline constexpr std::size_t kNextFieldAt = 0x64;     // u16
inline constexpr std::size_t kNumbersAt = 0x66;       // u16, offset less 58h
inline constexpr std::size_t kLabelAt = 0x68;         // u16, offset less 58h
inline constexpr std::size_t kCodePageAt = 0x6A;      // u16
inline constexpr std::size_t kWord6CAt = 0x6C;        // u16
inline constexpr std::size_t kSortNameAt = 0x6E;      // u16, offset less 58h
inline constexpr std::size_t kNewFixedBytes = 0x78;

inline constexpr std::uint32_t kSeeNewKey = 0xFF00FF00;  // at 25h: the key stands at 5Ch
inline constexpr std::uint16_t kPlainMark = 0x0F1F;
inline constexpr std::uint8_t kStampOfIndex = 0xFF;
inline constexpr std::uint16_t kDescendingBit = 0x8000;  // of a field number of an index
inline constexpr std::uint8_t kFlagIgnoreCase = 0x01;
inline constexpr std::uint8_t kFlagDescending = 0x10;
inline constexpr std::uint8_t kFlagUnique = 0x20;

inline constexpr std::uint8_t kVersion30 = 3;
inline constexpr std::uint8_t kVersion35 = 4;
inline constexpr std::uint8_t kVersion4 = 9;
inline constexpr std::uint8_t kVersion5 = 11;
inline constexpr std::uint8_t kVersion7 = 12;
inline constexpr std::uint8_t kFirstNewVersion = 5;  // the first with a second fixed part

inline constexpr std::size_t kNameBytes = 79;
inline constexpr std::size_t kNameBytes7 = 261;
inline constexpr std::size_t kMaxFieldName = 25;
inline constexpr std::size_t kMaxFields = 255;
inline constexpr std::size_t kMaxKeyFields = 16;
inline constexpr std::uint32_t kMaxBlocks = 0xFFFF;
inline constexpr std::size_t kBlockHead = 6;  // next, previous, bytes of the records but one
inline constexpr std::size_t kTreeWords = 6;  // behind the key of a tree's entry
inline constexpr std::size_t kHintBytes = 2;
inline constexpr std::size_t kReferenceBytes = 10;  // behind the leader of a blob field

enum class FieldKind : std::uint8_t {
  kAlpha = 0x01,
  kDate = 0x02,
  kShort = 0x03,
  kLong = 0x04,
  kMoney = 0x05,
  kNumber = 0x06,
  kLogical = 0x09,
  kMemo = 0x0C,
  kBinary = 0x0D,
  kFormattedMemo = 0x0E,
  kOle = 0x0F,
  kGraphic = 0x10,
  kTime = 0x14,
  kTimestamp = 0x15,
  kAutoIncrement = 0x16,
  kBcd = 0x17,
  kBytes = 0x18,
};

constexpr bool IsBlob(FieldKind kind) noexcept {
  return kind >= FieldKind::kMemo && kind <= FieldKind::kGraphic;
}

/// One field of a record.
struct Column {
  std::string name;  // in the ANSI page
  FieldKind kind = FieldKind::kAlpha;
  std::uint16_t offset = 0;  // in the record
  std::uint16_t bytes = 0;   // in the record; of a blob with its reference
  std::uint8_t decimals = 0;
  std::uint16_t number = 0;  // stable identity, where the format keeps one; else position from 1

  std::size_t leader() const noexcept { return bytes - kReferenceBytes; }
};

/// How many bytes a field of a kind takes when its kind alone says so, 0 where the size is its own;
/// -1 for a code that is no kind.
int FixedBytes(std::uint8_t kind_code) noexcept;

/// Kind, width and decimals of a column in words that `ReadNativeWords` understands; that one says
/// false, and may have changed the column, when they are of another driver.
std::string NativeWords(const Column& column);
bool ReadNativeWords(std::string_view words, Column& column);

/// What the database interface says about a column.
FieldDef FaceOf(const Column& column);

/// What changes from group to group in a header.
struct Counts {
  std::uint32_t records = 0;
  std::uint16_t used = 0;
  std::uint16_t blocks = 0;
  std::uint16_t first = 0;
  std::uint16_t last = 0;
  std::uint16_t free = 0;
  std::uint16_t root = 0;
  std::uint8_t levels = 0;
  bool operator==(const Counts&) const = default;
};

}  // namespace kelvorin::database::paradox
