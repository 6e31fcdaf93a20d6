#pragma once
// What a database says about its tables: plain records for tables, fields and indexes, used both to
// describe what exists and to ask for something new. Made by drivers, read by everybody above.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "values/field_types.h"
#include "values/resolution.h"

namespace kelvorin::database {

using values::TypeCode;

// Bits of TableDef::Attributes.
inline constexpr std::uint32_t kAttrSystemObject = 0x80000002;  // either bit marks a system table
inline constexpr std::uint32_t kAttrLinkedOdbc = 0x20000000;
inline constexpr std::uint32_t kAttrLinkedJet = 0x40000000;

struct FieldDef {
  std::string Name;
  TypeCode Type = TypeCode::kText;
  /// Declared size: Text and Binary in characters or bytes as the format counts them, numbers their
  /// storage width, Memo and LongBinary 0.
  std::int32_t Size = 0;
  std::int32_t Decimals = 0;  // digits behind the point where a format declares them
  /// Of a number kept in decimal form: the places it has, as the format counts them (dBASE counts
  /// sign and point, others digits alone). In a request: what the user wants, whatever `Size` says.
  /// 0 where none are declared.
  std::int32_t Digits = 0;
  bool Required = false;        // Null is refused
  bool AllowZeroLength = true;  // text of length zero is told apart from Null and accepted
  bool AutoIncrement = false;
  bool TakesTruth = false;   // a number whose declaration says truth value: reads such words, too
  std::string DefaultValue;  // text of the default, empty for none
  /// How finely the field keeps what it is given; filled by the driver that describes the table.
  /// Where it says "by type" the type and `Decimals` decide, so a driver fills in only what
  /// differs: a number kept as decimal digits, a date without a time of day, a truth value without
  /// Null.
  values::Resolution Keeps;
  /// The driver's own words for type and width. A table made by the same driver gets just that
  /// where its version has it; every other driver goes by the members above. Empty for none.
  std::string Native;
  /// What the database's own program wants of values, as an expression of its own; shown, never
  /// checked. Empty for none.
  std::string ValidationRule;
  bool operator==(const FieldDef&) const = default;
};

struct IndexField {
  std::string Name;
  bool Descending = false;
  bool operator==(const IndexField&) const = default;
};

struct IndexDef {
  std::string Name;
  /// Fields in key order. Empty for an index whose key is an expression: it is kept up to date but
  /// `Seek` cannot use it.
  std::vector<IndexField> Columns;
  std::string Expression;  // key expression where the format has one
  bool Unique = false;
  bool Primary = false;
  bool Required = false;  // key fields refuse Null
  bool IgnoreNulls = false;
  std::vector<std::string> Aliases;  // other names that find the index

  /// The key as one text: names separated by ";", each preceded by "+" (ascending) or "-".
  std::string Fields() const;
  bool operator==(const IndexDef&) const = default;
};

/// Name and kind of a table; what a listing needs, without opening the table.
struct TableInfo {
  std::string Name;
  std::uint32_t Attributes = 0;  // 0: a local, ordinary table
  bool operator==(const TableInfo&) const = default;
};

struct TableDef {
  std::string Name;
  std::uint32_t Attributes = 0;
  std::string Connect;           // of a linked table: where it lives
  std::string SourceTableName;   // of a linked table: its name there
  std::vector<FieldDef> Fields;  // in table order
  std::vector<IndexDef> Indexes;
  bool Updatable = true;
  std::string WhyReadOnly;  // what stands in the way, when not Updatable

  /// Position of a field by name, spelled so, else without regard to case (first match), or -1.
  /// Letters beyond ASCII are compared as those of the ANSI page.
  int FindField(std::string_view name) const noexcept;
  /// Index by name without regard to case, else by one of its aliases, or null.
  const IndexDef* FindIndex(std::string_view name) const noexcept;
};

/// Reads a key text ("+A;-B") into columns; a name without a sign is ascending.
std::vector<IndexField> ParseIndexFields(std::string_view fields);

}  // namespace kelvorin::database
