#pragma once
// Table definitions: what the chain of definition pages says about a table's columns, indexes and
// page sets, read into plain records and written from them. Knows nothing of rows.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "database/access/page_channel.h"
#include "database/access/text_codec.h"

namespace kelvorin::database::access {

// Column flags.
inline constexpr std::uint8_t kColumnFixed = 0x01;
inline constexpr std::uint8_t kColumnUsual = 0x02;
inline constexpr std::uint8_t kColumnCounter = 0x04;
inline constexpr std::uint8_t kColumnSystem = 0x10;
inline constexpr std::uint8_t kColumnSid = 0x20;
inline constexpr std::uint8_t kColumnAutoGuid = 0x40;
// Extended column flags.
inline constexpr std::uint8_t kColumnCompressed = 0x01;
inline constexpr std::uint8_t kColumnCalculated = 0xC0;
// Index flags.
inline constexpr std::uint8_t kIndexUnique = 0x01;
inline constexpr std::uint8_t kIndexIgnoreNulls = 0x02;
inline constexpr std::uint8_t kIndexRequired = 0x08;
inline constexpr std::uint8_t kIndexAlways = 0x80;  // Jet 4
// Kinds of table.
inline constexpr std::uint8_t kUserTable = 0x4E;
inline constexpr std::uint8_t kSystemTable = 0x53;

inline constexpr std::size_t kMaxIndexColumns = 10;
inline constexpr std::size_t kMaxColumns = 255;
inline constexpr std::size_t kMaxNameCharacters = 64;

/// How texts are ordered in an index.
enum class TextOrder : std::uint8_t { kUnknown, kGeneral97, kGeneralLegacy, kGeneral };

struct Column {
  std::string name;  // ANSI page
  ColumnType type = ColumnType::kText;
  std::uint8_t flags = kColumnUsual;
  std::uint8_t extended_flags = 0;
  std::uint16_t number = 0;         // bit in the null mask
  std::uint16_t variable_slot = 0;  // of columns of varying length
  std::uint16_t ordinal = 0;
  std::uint16_t lcid = 1033;
  std::uint8_t sort_version = 0;
  std::uint8_t precision = 0;  // of decimals
  std::uint8_t scale = 0;
  std::uint16_t fixed_at = 0;  // from the start of the fixed area
  std::uint16_t length = 0;    // bytes
  TextOrder order = TextOrder::kUnknown;
  RowId owned_map;  // of long values; nowhere when the column is not listed
  RowId free_map;   // nowhere in old files

  bool fixed() const noexcept { return (flags & kColumnFixed) != 0; }
  bool calculated() const noexcept { return (extended_flags & kColumnCalculated) != 0; }
  /// Its value is its bit in the null mask.
  bool is_bit() const noexcept { return type == ColumnType::kBoolean && !calculated(); }
  bool counter() const noexcept { return (flags & (kColumnCounter | kColumnAutoGuid)) != 0; }
  bool compressed() const noexcept { return (extended_flags & kColumnCompressed) != 0; }
};

struct KeyColumn {
  std::size_t column = 0;  // position in TableDefinition::columns
  bool ascending = true;
};

/// A tree of keys. Several named indexes may share one.
struct PhysicalIndex {
  std::vector<KeyColumn> columns;
  RowId map;
  std::uint32_t root = 0;
  std::uint8_t flags = 0;
  bool usable = true;  // false when a column of it does not exist

  bool unique() const noexcept { return (flags & kIndexUnique) != 0; }
  bool ignore_nulls() const noexcept { return (flags & kIndexIgnoreNulls) != 0; }
  bool required() const noexcept { return (flags & kIndexRequired) != 0; }
};

enum class IndexKind : std::uint8_t { kNormal = 0, kPrimary = 1, kRelation = 2 };

/// A named index, or one side of an enforced relation.
struct LogicalIndex {
  std::string name;
  std::uint32_t number = 0;
  std::uint32_t physical = 0;  // position in TableDefinition::indexes
  IndexKind kind = IndexKind::kNormal;
  std::uint8_t role = 0;  // 1 this table is referenced, 2 it references
  std::uint32_t other_number = 0xFFFFFFFF;
  std::uint32_t other_table = 0;  // definition page
  std::uint8_t cascade_updates = 0;
  std::uint8_t cascade_deletes = 0;
};

struct TableDefinition {
  std::vector<std::uint32_t> chain;  // pages; the first one names the table
  std::uint32_t length = 0;          // bytes, the first page's header included
  std::uint32_t rows = 0;            // when it was read
  std::uint32_t last_number = 0;     // automatic number given out last
  std::uint8_t kind = kUserTable;
  std::uint16_t columns_ever = 0;
  std::uint16_t variable_ever = 0;
  RowId owned_map;
  RowId free_map;
  std::vector<Column> columns;  // in display order
  std::vector<PhysicalIndex> indexes;
  std::vector<LogicalIndex> names;
  // Where lists end in the byte string, for adding to them.
  std::uint32_t physical_end = 0;
  std::uint32_t logical_end = 0;
  std::uint32_t names_end = 0;

  std::uint32_t page() const noexcept { return chain.front(); }
  /// Position of a column by number, or nothing.
  std::optional<std::size_t> FindNumber(std::uint16_t number) const noexcept;
  /// Position of a column by name without regard to case, or nothing.
  std::optional<std::size_t> FindColumn(std::string_view name) const;
};

/// What a column that names no text order of its own has.
struct DefaultOrder {
  std::uint16_t lcid = 1033;
  std::uint8_t version = 0;
};

/// Reads the definition that begins on `page`. `kCorrupt` names the page.
TableDefinition ReadDefinition(PageChannel& channel, TextCodec& text, DefaultOrder order,
                               std::uint32_t page);
/// The whole definition as one byte string. `chain` receives its pages.
std::vector<std::byte> ReadChain(PageChannel& channel, std::uint32_t first,
                                 std::vector<std::uint32_t>& chain);
/// An index's entries in the lists of physical and logical indexes, and a name.
std::vector<std::byte> SerializePhysical(const Layout& layout, const TableDefinition& table,
                                         const PhysicalIndex& index);
std::vector<std::byte> SerializeLogical(const Layout& layout, const LogicalIndex& index);
std::vector<std::byte> SerializeName(const Layout& layout, TextCodec& text, std::string_view name);

/// The definition as one byte string, from the first page's header to the closing mark; the pages
/// are not counted in.
std::vector<std::byte> SerializeDefinition(const Layout& layout, TextCodec& text, int code_page,
                                           const TableDefinition& table);
/// Position, in the first page, of the count of distinct keys of a physical index.
std::size_t DistinctCountAt(const Layout& layout, std::size_t index) noexcept;

TextOrder OrderOf(bool wide, std::uint16_t lcid, std::uint8_t version, DefaultOrder other) noexcept;

}  // namespace kelvorin::database::access
