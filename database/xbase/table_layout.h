#pragma once
// How the records of one table file are built: its header and field descriptors, read from an
// existing file. Everything in a layout has been checked against the file's header, so that the
// field codec may rely on it. Offsets and sizes in bytes.
//
//   file   | header (header_bytes)        | record 1 | record 2 | ... | 0x1A |
//   header | 32 bytes | 32 per field | 0x0D | FoxPro 3: 263 bytes more |
//   record | 0x20 live or 0x2A deleted | field | field | ... |

#include <cstdint>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "database/table_def.h"
#include "database/xbase/version.h"

namespace kelvorin::database::xbase {

// Header. Version 0x02 has a smaller one, see table_layout.cpp.
inline constexpr std::size_t kHeaderFixedBytes = 32;
inline constexpr std::size_t kDateAt = 1;          // year - 1900, month, day of the last change
inline constexpr std::size_t kRecordCountAt = 4;   // u32
inline constexpr std::size_t kHeaderBytesAt = 8;   // u16
inline constexpr std::size_t kRecordBytesAt = 10;  // u16
inline constexpr std::size_t kTransactionAt = 14;  // 1: a dBASE IV transaction was not finished
inline constexpr std::size_t kEncryptedAt = 15;    // 1: dBASE IV encrypted
inline constexpr std::size_t kTableFlagsAt = 28;
inline constexpr std::size_t kCodePageAt = 29;

inline constexpr std::uint8_t kFlagHasIndex = 0x01;
inline constexpr std::uint8_t kFlagHasMemo = 0x02;  // FoxPro 3.0 and later

// Field descriptor.
inline constexpr std::size_t kDescriptorBytes = 32;
inline constexpr std::size_t kNameBytes = 11;  // zero-padded, at most 10 used
inline constexpr std::size_t kLetterAt = 11;
inline constexpr std::size_t kOffsetAt = 12;  // u32, FoxPro only
inline constexpr std::size_t kLengthAt = 16;
inline constexpr std::size_t kDecimalsAt = 17;
inline constexpr std::size_t kFieldFlagsAt = 18;  // FoxPro 3.0 and later
inline constexpr std::size_t kNextNumberAt = 19;  // u32, the next automatic number
inline constexpr std::size_t kNumberStepAt = 23;  // u8
inline constexpr std::size_t kIsKeyAt = 31;       // dBASE IV: 1 when a tag's key is this very field
inline constexpr std::byte kDescriptorsEnd{0x0D};

inline constexpr std::uint8_t kFieldHidden = 0x01;
inline constexpr std::uint8_t kFieldNullable = 0x02;
inline constexpr std::uint8_t kFieldBinary = 0x04;
inline constexpr std::uint8_t kFieldAutoIncrement = 0x08;

/// Behind the field descriptors of FoxPro 3.0: the path of the container that owns the table.
inline constexpr std::size_t kBacklinkBytes = 263;

inline constexpr std::byte kLive{0x20};
inline constexpr std::byte kDeleted{0x2A};
inline constexpr std::byte kEndOfTable{0x1A};

/// One visible field.
struct Column {
  std::string name;  // as stored, in the table's code page
  char letter = 'C';
  std::uint8_t decimals = 0;
  std::uint8_t flags = 0;           // FoxPro 3.0 and later, else 0
  std::uint16_t bytes = 0;          // width in the record
  std::uint32_t offset = 0;         // in the record, deletion byte included
  std::uint32_t descriptor_at = 0;  // in the file
  int null_bit = -1;                // bit of the null flags that says Null, -1 when there is none
  int short_bit = -1;               // bit that says "shorter than its width" (V and Q)
  TypeCode type = TypeCode::kText;

  bool binary() const noexcept { return (flags & kFieldBinary) != 0; }
  bool auto_increment() const noexcept { return (flags & kFieldAutoIncrement) != 0; }
  bool operator==(const Column&) const = default;
};

struct TableLayout {
  const Version* version = nullptr;
  std::uint32_t header_bytes = 0;  // offset of the first record
  std::uint32_t record_bytes = 0;  // distance between records
  std::uint32_t record_count = 0;  // as the header claims
  std::uint8_t table_flags = 0;
  std::uint8_t code_page_mark = 0;
  bool transaction_open = false;
  std::vector<Column> columns;
  std::uint32_t null_flags_at = 0;     // in the record
  std::uint32_t null_flags_bytes = 0;  // 0 when the table has none
  int null_bits = 0;                   // that its fields ask for
  std::uint32_t fields_bytes = 0;      // deletion byte and all fields, hidden ones too

  bool HasMemoFields() const noexcept;
};

/// Whether values of the column live in the memo file.
bool InMemoFile(const Column& column) noexcept;

/// Number of bytes at the front of a table file that `ReadLayout` needs, told by its first 32 (or
/// fewer, if the file is shorter). Throws when they are no header of this family, or one that is
/// refused.
std::size_t HeaderSize(base::ByteSpan front, const std::string& file);

/// Reads a header; `header` holds at least `HeaderSize` bytes. `file` is for messages. Throws
/// base::Error (`kCorrupt`, `kNotSupported`) when it contradicts itself.
TableLayout ReadLayout(base::ByteSpan header, const std::string& file);

/// The columns' part of a definition as the interface shows it; names converted by the caller.
FieldDef FaceOf(const Column& column);

/// Letter, width and decimals of a column as `FieldDef::Native` holds them, and back. False for the
/// words of another driver.
std::string NativeWords(const Column& column);
bool ReadNativeWords(std::string_view words, char& letter, std::uint16_t& bytes,
                     std::uint8_t& decimals);

}  // namespace kelvorin::database::xbase
