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
  explicit MemoryTable(database::TableDef def) : def_(std::move(def)) {}

  const database::TableDef& def() const noexcept { return def_; }
  /// In the order of storing; deleted rows keep their place and their values.
  const std::vector<Row>& rows() const noexcept { return rows_; }

  /// A unique or primary index refuses a key that is there already, a primary one also Null.
  Status Insert(Row row);
  Status Replace(std::size_t row_no, Row row);
  void Delete(std::size_t row_no) { rows_[row_no].deleted = true; }

  /// Numbers of live rows in the order of an index, equal keys in that of storing.
  std::vector<std::size_t> Order(const database::IndexDef& index) const;
  /// How the key of a row stands to another one's, or to that of the leading fields alone.
  int CompareKeys(const database::IndexDef& index, const Row& row,
                  std::span<const Cell> keys) const;
  std::vector<Cell> KeyOf(const database::IndexDef& index, const Row& row) const;

 private:
  Status CheckIndexes(const Row& row, const Row* replaced) const;

  database::TableDef def_;
  std::vector<Row> rows_;
};

}  // namespace kelvorin::tests
