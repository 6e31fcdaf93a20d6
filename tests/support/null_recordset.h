#pragma once
// A table that takes every record and keeps none, for counting and measuring what stands before it.

#include <string>
#include <string_view>
#include <utility>

#include "database/recordset.h"

namespace kelvorin::tests {

class NullRecordset final : public database::Recordset {
 public:
  NullRecordset(database::Database& owner, database::TableDef def)
      : Recordset(owner, database::RecordsetType::kTable, std::move(def)) {
    OpenAtFirst();
  }

 private:
  bool DoMoveFirst() override { return false; }
  bool DoMoveLast() override { return false; }
  bool DoMoveNext() override { return false; }
  bool DoMovePrevious() override { return false; }
  std::int64_t DoRecordCount() override { return 0; }
  void DoGetBookmark(std::string&) override {}
  bool DoSetBookmark(std::string_view) override { return false; }
  void DoReadField(std::size_t, database::Value& out) override { out = database::Value::Null(); }
  Status DoWriteField(std::size_t, const database::Value&) override { return Status(); }
  void DoAddNew() override {}
  Status DoUpdate() override { return Status(); }
  void DoClose() override {}
};

}  // namespace kelvorin::tests
