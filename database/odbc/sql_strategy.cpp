#include "database/odbc/sql_strategy.h"

#include <utility>

#include "base/M_STRING.h"
#include "database/engine.h"

namespace kelvorin::database::odbc {
namespace {

// A failed question costs what sending so few records again does.
constexpr std::size_t kLeastAsked = 6;
// What a packet holds beside the statement.
constexpr std::size_t kPacketRest = 16;

}  // namespace

std::string InsertText(const Session& session, const TableEntry& table,
                       const std::vector<std::string>& fields) {
  std::string sql = "INSERT INTO " + SqlName(session, table) + " (";
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (i != 0) sql += ',';
    AppendName(fields[i], session.facts().dialect, sql);
  }
  return sql + ") ";
}

SqlStrategy::SqlStrategy(Session& session, const std::string& into, bool refuses_doubles,
                         Limits limits)
    : session_(session),
      into_(Utf8Name(into)),
      refuses_doubles_(refuses_doubles),
      limits_(limits),
      tells_where_(session.facts().server == Server::kMariaDb) {}

SqlStrategy::~SqlStrategy() {
  EndTransaction();
}

void SqlStrategy::EndTransaction() noexcept {
  if (!std::exchange(in_transaction_, false) || !session_.connection().open()) return;
  session_.connection().Rollback();
  try {
    session_.connection().SetAutocommit(true);
  } catch (...) {
    // a connection that is gone
  }
}

PostFailure SqlStrategy::FailureOf(const Statement& statement) {
  Diagnosis diagnosis = Diagnose(SQL_HANDLE_STMT, statement.get());
  session_.Note(diagnosis);
  PostFailure failure;
  failure.lost = session_.lost();
  failure.try_again = diagnosis.Rollback();
  const database::PendingError& first = diagnosis.errors.front();
  failure.status = database::MakeStatus(CodeOf(first), database::ErrorNumber::kOdbcCallFailed,
                                        first.description);
  failure.errors = std::move(diagnosis.errors);
  if (session_.connection().stopped()) failure.status = Status(Code::kStopped, "cancelled");
  return failure;
}

PostFailure SqlStrategy::FailureOf(const Error& error) {
  PostFailure failure;
  failure.status = error.status();
  const auto* driver = dynamic_cast<const database::DriverError*>(&error);
  if (driver != nullptr) failure.errors = driver->details();
  if (failure.errors.empty()) failure.errors = ErrorsOf(error.status());
  return failure;
}

PostFailure SqlStrategy::Send(const RecordBatch& batch, BatchRange range) {
  WriteValues(batch, range);
  PostFailure failure = SendText(sql_);
  AskWhere(range, failure);
  if (range.size() == 1) AskForTable(batch.fields(), failure);
  return failure;
}

// All servers look at names and rights when they explain a statement, and run nothing of it.
void SqlStrategy::AskForTable(std::size_t fields, PostFailure& failure) {
  if (!failure.failed() || failure.lost || failure.undone || failure.cancelled()) return;
  const database::PendingError& why = failure.errors.front();
  const bool of_statement =
      why.state.starts_with("42") || (why.state == "HY000" && why.number == 1);
  if (!of_statement || session_.facts().server == Server::kOther) return;
  std::string sql = "EXPLAIN " + into_ + "VALUES (NULL";
  for (std::size_t i = 1; i < fields; ++i) sql += ",NULL";
  sql += ')';
  try {
    Statement question(session_.connection());
    if (Succeeded(question.Send(sql))) return;
    const Diagnosis said = Diagnose(SQL_HANDLE_STMT, question.get());
    session_.Note(said);
    const database::PendingError& same = said.errors.front();
    // Of an unknown column servers also say where in the statement it stands.
    const auto of_column = [](const database::PendingError& error) {
      return error.description.find("column") != std::string::npos;
    };
    failure.no_table = same.state == why.state && same.number == why.number &&
                       (same.description == why.description || (of_column(same) && of_column(why)));
  } catch (const Error&) {
    // the failure stays the record's own
  }
}

// Known from MariaDB 10.7 on; an older one refuses the question and is not asked again.
void SqlStrategy::AskWhere(BatchRange range, PostFailure& failure) {
  const bool asked = failure.failed() && !failure.lost && !failure.errors.front().state.empty();
  if (!tells_where_ || !asked || range.size() < kLeastAsked) return;
  try {
    const auto rows = QueryRows(session_.connection(),
                                "BEGIN NOT ATOMIC GET DIAGNOSTICS CONDITION 1 @kelvorin_row = "
                                "ROW_NUMBER; SELECT @kelvorin_row; END",
                                "the bad record cannot be found");
    const std::int64_t row = rows.empty() ? 0 : base::ParseInteger(rows.front().front());
    if (row >= 1 && row <= static_cast<std::int64_t>(range.size()))
      failure.stopped_at = range.first + static_cast<std::size_t>(row) - 1;
  } catch (const Error&) {
    tells_where_ = false;
  }
}

PostFailure SqlStrategy::SendText(std::string_view sql, std::int64_t* changed) {
  try {
    if (session_.connection().stopped()) {
      PostFailure failure;
      failure.status = Status(Code::kStopped, "cancelled");
      return failure;
    }
    if (session_.LostByNow()) {
      ForgetStatements();
      session_.RequireConnection();
    }
    // A longer one would cost the connection, and with it the neighbours of its record.
    const std::size_t most = session_.facts().most_packet_bytes;
    if (most != 0 && sql.size() + kPacketRest > most) {
      PostFailure failure;
      failure.status = database::MakeStatus(
          Code::kTooLong, database::ErrorNumber::kOdbcCallFailed,
          "the statement has " + std::to_string(sql.size()) + " bytes, and the server takes " +
              std::to_string(most) + " at most (max_allowed_packet)");
      failure.errors = ErrorsOf(failure.status);
      return failure;
    }
    if (!statement_) statement_ = Statement(session_.connection());
    const SQLRETURN result = statement_.Send(sql);
    if (Succeeded(result) || result == SQL_NO_DATA) {
      if (changed != nullptr) *changed = result == SQL_NO_DATA ? 0 : statement_.RowCount();
      return {};
    }
    PostFailure failure = FailureOf(statement_);
    if (failure.lost) ForgetStatements();
    failure.undone = !failure.lost && in_transaction_ && !TransactionLives();
    return failure;
  } catch (const Error& error) {
    // No statement to be had: the connection is gone before anything was sent.
    PostFailure failure = FailureOf(error);
    session_.Note(Diagnosis{failure.errors});
    failure.lost = failure.unsent = session_.lost();
    ForgetStatements();
    return failure;
  }
}

void SqlStrategy::RequireServer() {
  if (session_.LostByNow())
    ThrowDiagnosis("the records cannot be posted",
                   Diagnosis{{{0, "08S01", "the connection to the server was lost"}}});
}

bool SqlStrategy::TransactionLives() noexcept {
  try {
    Statement probe(session_.connection());
    if (!Succeeded(probe.Send("BEGIN")) &&
        Diagnose(SQL_HANDLE_STMT, probe.get())
                .errors.front()
                .description.find("within a transaction") != std::string::npos)
      return true;
  } catch (const Error&) {
    // whatever it is, nothing of it may stay
  }
  EndTransaction();
  return false;
}

PostFailure SqlStrategy::Begin() {
  try {
    session_.connection().SetAutocommit(false);
    in_transaction_ = true;
    return {};
  } catch (const Error& error) {
    return FailureOf(error);
  }
}

PostFailure SqlStrategy::Commit() {
  PostFailure failure;
  in_transaction_ = false;
  try {
    session_.connection().Commit();
  } catch (const Error& error) {
    failure = FailureOf(error);
    session_.Note(Diagnosis{failure.errors});
    failure.lost = session_.lost();
    if (session_.connection().stopped()) failure.status = Status(Code::kStopped, "cancelled");
    session_.connection().Rollback();
  }
  try {
    session_.connection().SetAutocommit(true);
  } catch (const Error&) {
    // a lost connection; what was sent has its outcome already
  }
  return failure;
}

bool SqlStrategy::Reconnect() {
  ForgetStatements();
  return session_.Reconnect();
}

void SqlStrategy::WriteValues(const RecordBatch& batch, BatchRange range) {
  sql_ = into_;
  sql_ += "VALUES ";
  for (std::size_t i = range.first; i < range.end; ++i) {
    if (i != range.first) sql_ += ',';
    batch.AppendList(i, session_.facts().dialect, sql_);
  }
}

}  // namespace kelvorin::database::odbc
