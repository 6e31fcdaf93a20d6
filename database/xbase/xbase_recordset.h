#pragma once
// The cursor over one dBASE or FoxPro table. Records come in the order of their numbers or of an
// index; deleted ones are passed over. A bookmark is the record number. Made by the database of
// this room.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "database/folder/pending_value.h"
#include "database/recordset.h"
#include "database/table_identity.h"
#include "database/xbase/table.h"

namespace kelvorin::database::xbase {

class XbaseRecordset final : public Recordset, public TableIdentity {
 public:
  XbaseRecordset(Database& database, RecordsetType type, TableDef def,
                 std::shared_ptr<Table> table);

  /// The file, which all names of it share.
  const std::string& Identity() const noexcept override { return table_->path(); }

 private:
  /// What reading and assigning a field need to know, looked up once.
  struct FieldPlan {
    const Column* column = nullptr;
    values::KindSet natural;  // stored without conversion
    bool in_memo_file = false;
  };

  bool DoMoveFirst() override;
  bool DoMoveLast() override;
  bool DoMoveNext() override;
  bool DoMovePrevious() override;
  bool DoMove(std::int64_t rows) override;
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
  void DoCancelUpdate() override;
  void DoDelete() override;
  void DoFlush() override;
  void DoClose() override;

  std::uint32_t Last() const noexcept;
  bool ForwardFrom(std::uint32_t record);
  bool BackwardFrom(std::uint32_t record);
  bool Take(std::uint32_t record);
  bool StepInOrder(bool forward);
  bool LandInOrder(bool found, bool forward);
  void StandOnRecord();
  void TellNotes();
  bool MakeSeekKey(SeekComparison comparison, std::span<const Value> keys);
  void RefreshRow();
  static FieldPlan PlanFor(const Column& column) noexcept;
  [[noreturn]] void ThrowUnreadable(std::size_t field, const std::string& why);
  void ReadMemo(std::size_t field, base::ByteSpan row, Value& out);
  void MemoValue(std::size_t field, const std::string& raw, Value& out);
  Status WriteMemo(std::size_t field, const Value& value);
  void BeginEdit();

  std::shared_ptr<Table> table_;
  std::vector<FieldPlan> plans_;     // per field
  std::uint32_t snapshot_last_ = 0;  // records there were when a snapshot was opened
  std::uint32_t record_ = 0;         // number of the current record
  std::vector<std::byte> row_;       // the current record
  std::uint64_t row_changes_ = 0;    // the table's changes when `row_` was read
  std::vector<std::byte> edit_row_;  // the record being added or edited
  std::vector<std::byte> blank_row_;
  std::vector<std::string> texts_;           // per field: what its value points to
  std::vector<std::string> raws_;            // per memo field: the value as stored
  std::vector<folder::PendingValue> memos_;  // per field; empty when the table has no memo fields
  std::vector<MemoChange> changes_;
  Tag* tag_ = nullptr;  // that the records come in the order of
  IndexTree::Place place_;
  std::vector<std::byte> seek_row_;  // a record that holds nothing but the key sought
  std::vector<std::byte> seek_low_;  // the least entry that has it, or its front
  std::vector<std::byte> seek_high_;
};

}  // namespace kelvorin::database::xbase
