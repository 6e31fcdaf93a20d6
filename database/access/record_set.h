#pragma once
// The cursor over one Access table, in storage order or in the order of an index, and the writing
// through it. Made by the database of this room.

#include <memory>
#include <string>
#include <vector>

#include "database/access/catalog.h"
#include "database/access/table.h"
#include "database/recordset.h"

namespace kelvorin::database::access {

class AccessRecordset final : public Recordset {
 public:
  AccessRecordset(Database& owner, RecordsetType type, TableDef described,
                  std::shared_ptr<DatabaseFile> file, std::shared_ptr<Table> table,
                  const std::vector<FieldProperties>& properties);

 private:
  bool DoMoveFirst() override;
  bool DoMoveLast() override;
  bool DoMoveNext() override;
  bool DoMovePrevious() override;
  std::int64_t DoRecordCount() override;
  void DoGetBookmark(std::string& out) override;
  bool DoSetBookmark(std::string_view bytes) override;
  void DoSetIndex(const IndexDef* index) override;
  bool DoSeek(SeekComparison comparison, std::span<const Value> keys) override;
  void DoReadField(std::size_t field, Value& out) override;
  void ReadValue(std::size_t field, values::Value& out);
  Status DoWriteField(std::size_t field, const Value& value) override;
  void DoAddNew() override;
  void DoEdit() override;
  Status DoUpdate() override;
  void DoCancelUpdate() override {}
  void DoDelete() override;
  void DoFlush() override;
  void DoClose() override;

  bool LandOnRow(RowId row);
  bool LandOnEntry(bool found);
  /// The current row as it is now.
  void Refresh();
  /// The current row's entry in the current index.
  void MakeEntry();
  Status ApplyDefaults();

  std::shared_ptr<DatabaseFile> file_;  // shared with other openings of the file
  std::shared_ptr<Table> table_;        // and of the table
  RowId at_;
  RowImage image_;
  std::uint64_t image_changes_ = 0;
  const PhysicalIndex* index_ = nullptr;
  std::string entry_;
  std::string found_;
  Table::Key key_;  // that is sought or made
  std::string behind_;
  std::vector<ColumnValue> loaded_;
  IndexTree::Place place_;
  std::vector<ColumnValue> pending_;
  ColumnValue incoming_;
  std::vector<std::string> texts_;  // what values of each field point to
  std::string contents_;
  std::vector<DefaultPlan> defaults_;
};

}  // namespace kelvorin::database::access
