#pragma once
// The cursor over one table: along the chain of its blocks (which is the order of the primary key),
// or in the order of an index, and the writing through it. Made by the database of this room.

#include <memory>
#include <string>
#include <vector>

#include "database/folder/pending_value.h"
#include "database/paradox/table.h"
#include "database/recordset.h"
#include "database/table_identity.h"

namespace kelvorin::database::paradox {

class ParadoxRecordset final : public Recordset, public TableIdentity {
 public:
  ParadoxRecordset(Database& owner, RecordsetType type, TableDef described,
                   std::shared_ptr<Table> table);

  /// The file, which all names of it share.
  const std::string& Identity() const noexcept override { return table_->path(); }

 private:
  /// What reading and assigning a field need to know, looked up once.
  struct FieldPlan {
    const Column* column = nullptr;
    values::KindSet natural;  // stored without conversion
    bool blob = false;
  };

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
  Status DoWriteField(std::size_t field, const Value& value) override;
  void DoAddNew() override;
  void DoEdit() override;
  Status DoUpdate() override;
  void DoCancelUpdate() override;
  void DoDelete() override;
  void DoFlush() override;
  void DoClose() override;

  bool Take(Place at);
  bool TakeEntry(Place entry);
  bool TakeByKey(const std::byte* key);
  Place RecordOfEntry(base::ByteSpan entry);
  bool Found(Place in_order) { return index_ ? TakeEntry(in_order) : Take(in_order); }
  void RememberOrder();
  void Refresh();
  RecordFile& Order() { return index_ != nullptr ? index_->file() : table_->data(); }
  static FieldPlan PlanFor(const Column& column) noexcept;
  [[noreturn]] void ThrowUnreadable(std::size_t field, const std::string& why);
  void ReadLong(std::size_t field, base::ByteSpan row, bool editing, Value& out);
  void ReadBlob(std::size_t field, base::ByteSpan row, Value& out);
  void BlobValue(std::size_t field, const std::string& raw, Value& out);
  Status WriteBlob(std::size_t field, const Value& value);
  Status EncodeKeys(std::span<const Value> keys, std::size_t& count);
  Place SeekByScan(std::size_t count);
  void BeginEdit();

  std::shared_ptr<Table> table_;
  std::vector<FieldPlan> plans_;  // per field
  SecondaryIndex* index_ = nullptr;
  Trace trace_;                   // where the current record stands
  Place entry_;                   // where its entry in the index stands
  std::vector<std::byte> row_;    // the current record
  std::vector<std::byte> order_;  // key by which the set goes on from the current record
  std::uint64_t row_changes_ = 0;
  std::uint64_t place_moves_ = 0;  // the table's when `trace_` was taken
  std::uint64_t walk_moves_ = 0;   // when the set landed, its next step by place is good
  bool primary_ = false;           // the primary index is the current one
  std::vector<std::byte> edit_row_;
  std::vector<std::string> texts_;           // per field: what its value points to
  std::vector<std::string> raws_;            // per blob field: the value as stored
  std::vector<folder::PendingValue> blobs_;  // per field; empty when the table has no blob fields
  std::vector<BlobChange> changes_;
  std::vector<std::byte> key_, key_row_;
};

}  // namespace kelvorin::database::paradox
