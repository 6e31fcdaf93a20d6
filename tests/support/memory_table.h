#pragma once
// The tables of the in-memory database: rows that own their values, and indexes that are kept in
// order. Used by memory_database.cpp alone; knows nothing of record sets.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "base/status.h"
#include "database/recordset.h"
#include "database/table_def.h"
#include "values/value.h"

namespace kelvorin::tests {

/// A value together with the memory that its text lives in.
class Cell {
 public:
  Cell() = default;
  explicit Cell(const values::Value& value) : value_(value), text_(value.text) {}
  /// The value; its text lives as long as the cell and is not changed.
  values::Value View() const noexcept {
    values::Value view = value_;
    view.text = text_;
    return view;
  }
  bool IsNull() const noexcept { return value_.IsNull(); }

 private:
  values::Value value_;  // its `text` is never used
  std::string text_;
};

/// The value as the field stores it. Fails with kConversion or kTooLong; `out` is then unchanged.
Status MakeCell(const database::TableDef& table, const database::FieldDef& field,
                const values::Value& value, Cell& out);
/// Null before everything, then by value; texts byte by byte. Both of one field.
int Compare(const Cell& a, const Cell& b) noexcept;
/// "<null>", else the neutral text of the value.
std::string TextOf(const Cell& cell);

struct Row {
  std::vector<Cell> cells;
  bool deleted = false;
};

class MemoryTable {
 public:
  explicit MemoryTable(database::TableDef def);

  const database::TableDef& def() const noexcept { return def_; }
  /// In the order of storing; deleted rows keep their place and their values.
  const std::vector<Row>& rows() const noexcept { return rows_; }
  /// Position of an index of `def()`.
  std::size_t IndexNumber(const database::IndexDef& index) const noexcept;

  /// Stores a new row. `assigned` tells the fields that somebody set; the others get their
  /// automatic number or their default.
  Status Insert(Row row, const std::vector<bool>& assigned);
  Status Replace(std::size_t row_no, Row row);
  void Delete(std::size_t row_no);

  /// Row numbers in the order of an index.
  const std::vector<std::size_t>& Order(std::size_t index_no) const { return orders_[index_no]; }
  /// First place in the index behind (or at, with `at`) the given row's key and number.
  std::size_t PlaceOf(std::size_t index_no, std::size_t row_no, bool behind) const;
  /// First place whose leading key fields are not less than `keys`, or greater with `behind`.
  std::size_t PlaceOf(std::size_t index_no, std::span<const Cell> keys, bool behind) const;

 private:
  struct Key {
    std::vector<std::size_t> fields;
    std::vector<bool> descending;
  };
  int CompareRows(const Key& key, const Row& a, const Row& b) const;
  Status CheckIndexes(const Row& row, const Row* replaced) const;
  void Enter(std::size_t row_no);
  void Remove(std::size_t row_no);

  database::TableDef def_;
  std::vector<Row> rows_;
  std::vector<Key> keys_;                         // one for each index of def_
  std::vector<std::vector<std::size_t>> orders_;  // the same
  std::int64_t last_number_ = 0;                  // automatic number given out last
};

}  // namespace kelvorin::tests
