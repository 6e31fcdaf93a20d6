#pragma once
// One table: its definition, its rows, its indexes and the relations it takes part in, changed
// together. A record is stored, changed or deleted with everything that goes with it, or not at
// all. Values come and go in stored form; knows nothing of record sets.

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/status.h"
#include "database/access/database_file.h"
#include "database/access/index_tree.h"
#include "database/access/row_store.h"
#include "database/access/table_definition.h"

namespace kelvorin::database::access {

class Table {
 public:
  Table(DatabaseFile& file, std::uint32_t page, std::string name);
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  const std::string& name() const noexcept { return name_; }
  void set_name(std::string_view name) { name_ = name; }
  const TableDefinition& definition() const noexcept { return definition_; }
  DatabaseFile& file() noexcept { return file_; }
  RowStore& rows() noexcept { return rows_; }
  IndexTree Tree(const PhysicalIndex& index) {
    return {file_.channel(), file_.allocator(), index, definition_.page()};
  }
  /// What keeps the table from being written, empty for nothing.
  const std::string& why_read_only() const noexcept { return why_read_only_; }
  /// Whether keys of the index can be computed, so that it can be searched.
  static bool Searchable(const TableDefinition& table, const PhysicalIndex& index) noexcept;

  /// Stored values of a row, parallel to the columns: long values as they stand in the row.
  void Load(const RowImage& row, std::vector<ColumnValue>& out) const;
  /// Calls `visit(place, values)` for every row in storage order, until it answers false.
  template <typename Visit>
  void ForEachRow(Visit visit) {
    RowImage image;
    std::vector<ColumnValue> values;
    for (RowId at = rows_.Next({}); at; at = rows_.Next(at)) {
      if (!rows_.Read(at, image)) continue;
      Load(image, values);
      if (!visit(at, std::as_const(values))) return;
    }
  }
  /// Key of an index for the given values; long values must be placed or contents.
  struct Key {
    std::string bytes;
    bool any_null = false;
    bool all_null = true;
  };
  void MakeKey(const PhysicalIndex& index, const std::vector<ColumnValue>& values, Key& out);

  /// Stores a record; counters that are not assigned get their next number, in `values` too. What
  /// can be expected to fail is returned (kDuplicateKey, kRequired, kIntegrity, kTooLong).
  Status Insert(std::vector<ColumnValue>& values, RowId& out);
  /// Gives the assigned columns of a row their new values.
  Status Update(RowId row, const std::vector<ColumnValue>& assigned);
  Status Delete(RowId row);

  /// The two halves of `Insert`, for whoever changes several tables together: the checks, and the
  /// storing, which has to be inside a bracket.
  Status Check(std::vector<ColumnValue>& values);
  Status Put(std::vector<ColumnValue>& values, RowId& out);
  /// `Delete` without its checks, inside a bracket.
  void Remove(RowId row);

  /// For filling: the same entry for rows that are stored already.
  void EnterIndex(const PhysicalIndex& index, RowId row, const std::vector<ColumnValue>& values);
  /// Numbers at random instead of the next one.
  void set_random_counters(bool random) noexcept { random_counters_ = random; }

 private:
  friend class RelationCheck;
  struct Change {  // of one index
    Key before;
    Key after;
    bool changed = false;
  };
  std::string FindObstacle() const;
  Status CheckKey(const PhysicalIndex& index, const Key& key, RowId self);
  void AssignCounters(std::vector<ColumnValue>& values);
  void RaiseCounter(const std::vector<ColumnValue>& values);
  Status PlaceRow(std::vector<ColumnValue>& values, const std::vector<bool>& place,
                  std::vector<std::byte>& row);
  void Enter(std::size_t index, const Key& key, RowId row);
  std::string KeyText(const PhysicalIndex& index) const;

  DatabaseFile& file_;
  std::string name_;
  TableDefinition definition_;
  RowStore rows_;
  std::string why_read_only_;
  bool random_counters_ = false;
  // Reused from record to record.
  std::vector<Change> changes_;
  std::vector<std::byte> row_;
  std::vector<bool> place_;  // long values that are to get a place
  std::vector<ColumnValue> current_;
  std::vector<ColumnValue> updated_;
  RowImage image_;
  std::string entry_;
  std::string contents_;
  std::vector<std::string> long_contents_;  // of the record that is being placed, by column
};

}  // namespace kelvorin::database::access
