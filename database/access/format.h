#pragma once
// What differs between the versions of Access database files, as data, and the few things all
// versions share: row pointers, page types, the cipher of headers and encoded pages. Used by every
// file of this room. Reads and writes nothing itself.
//
// Offsets are bytes from the start of the structure they belong to; numbers in files are
// little-endian unless a name says otherwise.

#include <cstdint>
#include <string>
#include <string_view>

#include "base/bytes.h"

namespace kelvorin::database::access {

/// Version byte 0x14 of the header page. Jet 3 is Access 97, Jet 4 Access 2000 to 2003, ACE the
/// .accdb files since 2007.
enum class Version : std::uint8_t { kJet3 = 0, kJet4 = 1, kAce12 = 2, kAce14 = 3, kAceLater = 4 };

struct Layout {
  std::uint32_t page_bytes;
  std::uint32_t max_pages;
  // Header page.
  std::uint16_t masked_bytes;    // from 0x18 on, under the fixed key stream
  std::uint16_t password_bytes;  // at 0x42
  std::uint16_t commit_slots_at;
  // Data pages.
  std::uint16_t slot_count_at;
  std::uint16_t slots_at;
  std::uint16_t max_row_bytes;
  // Long values.
  std::uint16_t inline_bytes;    // longest one that is kept in its row
  std::uint16_t long_row_bytes;  // longest row on a page of long values
  std::uint16_t map_row_bytes;   // a new usage map
  // Index pages.
  std::uint16_t index_previous_at;  // next page and tail child follow, 4 bytes each
  std::uint16_t prefix_at;
  std::uint16_t level_at;
  std::uint16_t bitmap_at;
  std::uint16_t entries_at;
  // Table definitions: fixed part.
  std::uint16_t rows_at;  // the last automatic number follows
  std::uint16_t kind_at;
  std::uint16_t columns_ever_at;  // variable columns ever, columns now, logical, physical indexes,
                                  // the two map pointers follow
  std::uint16_t fixed_part_bytes;
  // Table definitions: lists.
  std::uint16_t index_count_bytes;
  std::uint16_t column_bytes;
  std::uint16_t physical_bytes;
  std::uint16_t logical_bytes;
  // Rows: width of the column count and of the numbers in the trailer.
  std::uint16_t row_number_bytes;
  bool wide;  // Jet 4 and later

  std::uint16_t index_next_at() const noexcept {
    return static_cast<std::uint16_t>(index_previous_at + 4);
  }
  std::uint16_t index_tail_at() const noexcept {
    return static_cast<std::uint16_t>(index_previous_at + 8);
  }
  std::uint32_t entry_area() const noexcept { return page_bytes - entries_at; }
  /// Pages that one bitmap page of a usage map covers.
  std::uint32_t map_page_span() const noexcept { return (page_bytes - 4) * 8; }
};

const Layout& LayoutOf(Version version) noexcept;

/// Place of a row: page and slot. 0 is nowhere (page 0 holds no rows).
struct RowId {
  std::uint32_t value = 0;
  static RowId Of(std::uint32_t page, std::uint32_t slot) noexcept { return {page << 8 | slot}; }
  std::uint32_t page() const noexcept { return value >> 8; }
  std::uint32_t slot() const noexcept { return value & 0xFF; }
  explicit operator bool() const noexcept { return value != 0; }
  auto operator<=>(const RowId&) const = default;  // NOLINT: takes the 0 in it for a null pointer
};

// First byte of a page.
inline constexpr std::uint8_t kDataPage = 0x01;
inline constexpr std::uint8_t kDefinitionPage = 0x02;
inline constexpr std::uint8_t kIndexNode = 0x03;
inline constexpr std::uint8_t kIndexLeaf = 0x04;
inline constexpr std::uint8_t kMapPage = 0x05;
inline constexpr std::uint8_t kFreedDefinition = 0x08;
inline constexpr std::uint8_t kFreedData = 0x09;

// Owner field of data pages that belong to no table.
inline constexpr std::uint32_t kOwnerAt = 4;
inline constexpr std::uint32_t kLongValueOwner = 0x4C56414C;  // the bytes "LVAL"

inline constexpr std::uint32_t kNoPage = 0xFFFFFFFF;
inline constexpr std::uint32_t kGlobalMapPage = 1;
inline constexpr std::uint32_t kObjectsTable = 2;  // definition page of MSysObjects
inline constexpr std::uint32_t kAcesTable = 3;
inline constexpr std::uint32_t kQueriesTable = 4;
inline constexpr std::uint32_t kRelationshipsTable = 5;

// Header page.
inline constexpr std::uint32_t kVersionAt = 0x14;
inline constexpr std::uint32_t kMaskedAt = 0x18;

/// Ciphers `bytes` in place with the RC4 stream of a 4-byte key; twice is once back.
void Cipher(std::uint32_t key, base::MutableByteSpan bytes) noexcept;
/// The key of the header's fixed stream.
inline constexpr std::uint32_t kHeaderKey = 0x6B39DAC7;

/// The code of a column's type in the file.
enum class ColumnType : std::uint8_t {
  kBoolean = 1,
  kByte = 2,
  kInteger = 3,
  kLong = 4,
  kCurrency = 5,
  kSingle = 6,
  kDouble = 7,
  kDate = 8,
  kBinary = 9,
  kText = 10,
  kOle = 11,
  kMemo = 12,
  kGuid = 15,
  kDecimal = 16,
  kRaw = 17,
  kComplex = 18,
  kBigInt = 19,
  kExtendedDate = 20,
};

constexpr bool IsLongValue(ColumnType type) noexcept {
  return type == ColumnType::kOle || type == ColumnType::kMemo;
}
/// Width of a fixed value in bytes, 0 for types of varying length.
std::uint16_t StorageBytes(ColumnType type) noexcept;

}  // namespace kelvorin::database::access
