#pragma once
// A read-only record set on one table. It knows its place by number and touches the rows only when
// one is read, so opening a target, counting and going to the end cost no transfer; going back asks
// for the rows again. Used by this room's database alone.

#include <cstdint>
#include <optional>

#include "database/odbc/row_stream.h"
#include "database/recordset.h"
#include "database/stoppable.h"
#include "database/table_identity.h"

namespace kelvorin::database::odbc {

class Snapshot final : public database::Recordset,
                       public database::TableIdentity,
                       public database::Stoppable {
 public:
  Snapshot(database::Database& database, database::TableDef def, Session& session,
           TableEntry table);
  ~Snapshot() override;

  const std::string& Identity() const noexcept override { return identity_; }
  bool Shows(const TableIdentity& other) const override;
  void StopWhen(std::function<bool()> stop) override;

 private:
  bool DoMoveFirst() override;
  bool DoMoveLast() override;
  bool DoMoveNext() override;
  bool DoMovePrevious() override;
  bool DoMove(std::int64_t rows) override;
  std::int64_t DoRecordCount() override;
  void DoGetBookmark(std::string& out) override;
  bool DoSetBookmark(std::string_view bytes) override;
  void DoReadField(std::size_t field, values::Value& out) override;
  void DoClose() override;

  bool HasRows();
  /// Brings the stream onto a row; false when there are not so many.
  bool Reach(std::int64_t position);

  Session& session_;
  TableEntry table_;
  std::string identity_;
  std::optional<RowStream> stream_;  // made when a row is needed
  std::int64_t position_ = 0;        // of the current record, from 0
  std::optional<std::int64_t> count_;
  std::optional<bool> has_rows_;
  bool may_stop_ = false;  // the session asks on our behalf
};

}  // namespace kelvorin::database::odbc
