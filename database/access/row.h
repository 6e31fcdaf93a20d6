#pragma once
// One row: where each column's stored value lies in its bytes, and the bytes of a row made from
// stored values. Knows nothing of pages, nor of what a value means.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "database/access/table_definition.h"

namespace kelvorin::database::access {

/// A copy of a row's bytes with its trailer understood. Spans live until the next `Assign`.
class RowImage {
 public:
  /// Empty text when all is well, else what is wrong with the row.
  std::string_view Assign(const Layout& layout, const TableDefinition& table, base::ByteSpan bytes);

  /// A bit column's value; false also where the row is older than the column.
  bool Bit(const Column& column) const noexcept {
    return column.number < columns_ &&
           (base::Load8(bytes_, mask_at_ + column.number / 8u) >> (column.number % 8) & 1) != 0;
  }
  /// The stored bytes of any other column, nothing for Null. `damaged` is set, and nothing
  /// returned, when they lie outside the row.
  std::optional<base::ByteSpan> Get(const Column& column, bool& damaged) const noexcept;

 private:
  std::vector<std::byte> bytes_;
  std::vector<std::uint16_t> offsets_;  // of the variable slots, and the end of the last one
  std::size_t mask_at_ = 0;
  std::uint32_t columns_ = 0;
  std::uint32_t fixed_from_ = 0;
};

/// A value on its way into a row, in stored form; a long value's is its whole contents until it
/// gets its place.
struct ColumnValue {
  bool assigned = false;
  bool null = true;
  bool placed = false;  // of a long value: `bytes` is already what stands in the row
  std::string bytes;    // of a bit column: one byte, 0 or 1
};

/// Puts a row together. `values` is parallel to the table's columns. Returns the row's size in
/// bytes; `out` is cleared first.
std::size_t BuildRow(const Layout& layout, const TableDefinition& table,
                     const std::vector<ColumnValue>& values, std::vector<std::byte>& out);

}  // namespace kelvorin::database::access
