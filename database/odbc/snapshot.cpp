#include "database/odbc/snapshot.h"

#include "base/M_STRING.h"
#include "database/odbc/views.h"

namespace kelvorin::database::odbc {

Snapshot::Snapshot(database::Database& database, database::TableDef def, Session& session,
                   TableEntry table)
    : Recordset(database, database::RecordsetType::kSnapshot, std::move(def)),
      session_(session),
      table_(std::move(table)),
      identity_(IdentityOf(session, table_)) {
  OpenAtFirst();
}

Snapshot::~Snapshot() {
  if (may_stop_) session_.StopWhen({});
}

void Snapshot::StopWhen(std::function<bool()> stop) {
  may_stop_ = true;
  if (stream_) stream_->StopWhen(stop);
  session_.StopWhen(std::move(stop));
}

bool Snapshot::Shows(const TableIdentity& other) const {
  if (TableIdentity::Shows(other)) return true;
  const auto* table = dynamic_cast<const Snapshot*>(&other);
  return table != nullptr && table->session_.Identity() == session_.Identity() &&
         ReadsFrom(session_, table_, table->table_);
}

bool Snapshot::HasRows() {
  if (has_rows_) return *has_rows_;
  session_.RequireConnection();
  const std::string what = "cannot read table '" + table_.shown + "'";
  Statement statement(session_.connection());
  std::string sql = "SELECT 1 FROM " + SqlName(session_, table_);
  const Server server = session_.facts().server;
  if (server == Server::kSqlite || server == Server::kPostgres) {
    sql += " LIMIT 1";
  } else {  // the driver writes the limit itself where the server has one
    SQLSetStmtAttr(statement.get(), SQL_ATTR_MAX_ROWS, reinterpret_cast<SQLPOINTER>(SQLULEN{1}), 0);
  }
  statement.Execute(sql, what);
  has_rows_ = statement.Fetch(what);
  return *has_rows_;
}

bool Snapshot::Reach(std::int64_t position) {
  if (count_ && position >= *count_ && stream_ && stream_->ended()) return false;
  if (!stream_ || stream_->ended() || stream_->rows_passed() > position + 1) {
    if (!stream_) stream_.emplace(session_, table_, Def().Fields);
    stream_->Restart();
  }
  while (stream_->rows_passed() <= position) {
    if (!stream_->Next()) {
      count_ = stream_->rows_passed();
      return false;
    }
  }
  return true;
}

bool Snapshot::DoMoveFirst() {
  position_ = 0;
  return HasRows();
}

bool Snapshot::DoMoveLast() {
  const std::int64_t count = DoRecordCount();
  position_ = count - 1;
  return count > 0;
}

bool Snapshot::DoMoveNext() {
  return Reach(++position_);
}

bool Snapshot::DoMovePrevious() {
  if (position_ == 0) return false;
  --position_;
  return true;
}

bool Snapshot::DoMove(std::int64_t rows) {
  if (rows < 0 && position_ < -rows) return false;
  position_ += rows;
  return rows < 0 || Reach(position_);
}

std::int64_t Snapshot::DoRecordCount() {
  if (!count_) {
    session_.RequireConnection();
    const auto rows =
        QueryRows(session_.connection(), "SELECT COUNT(*) FROM " + SqlName(session_, table_),
                  "cannot count the records of table '" + table_.shown + "'");
    count_ = rows.empty() ? 0 : base::ParseInteger(rows.front().front());
  }
  return *count_;
}

void Snapshot::DoGetBookmark(std::string& out) {
  base::AppendDecimal(position_, out);
}

bool Snapshot::DoSetBookmark(std::string_view bytes) {
  const std::int64_t position = base::ParseInteger(bytes);
  if (!Reach(position)) return false;
  position_ = position;
  return true;
}

void Snapshot::DoReadField(std::size_t field, values::Value& out) {
  if (!Reach(position_))
    database::Throw(Code::kNoCurrentRecord, database::ErrorNumber::kRecordDeleted,
                    "record " + std::to_string(position_ + 1) + " of table '" + table_.shown +
                        "' is no longer there");
  stream_->Read(field, out);
}

void Snapshot::DoClose() {
  stream_.reset();
}

}  // namespace kelvorin::database::odbc
