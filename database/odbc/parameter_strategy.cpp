#include "database/odbc/parameter_strategy.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace kelvorin::database::odbc {
namespace {

// Cells of a column are all as wide as its longest value; beyond this a list of VALUES is smaller.
constexpr std::size_t kWidestCell = 1024;
constexpr std::size_t kLongestWhole = 20;  // "-9223372036854775808"

// Below it the two statements around an array cost more than the array saves.
constexpr std::size_t kLeastRecords = 256;

SQLPOINTER Number(std::size_t value) noexcept {
  return reinterpret_cast<SQLPOINTER>(value);
}

}  // namespace

ParameterStrategy::ParameterStrategy(Session& session, const std::string& into,
                                     bool refuses_doubles, Limits limits, std::size_t field_count)
    : SqlStrategy(session, into, refuses_doubles, limits), columns_(field_count) {}

bool ParameterStrategy::Fill(const RecordBatch& batch, BatchRange range) {
  for (std::size_t field = 0; field < columns_.size(); ++field) {
    Column& column = columns_[field];
    std::size_t widest = 1;
    for (std::size_t i = range.first; i < range.end; ++i)
      widest =
          std::max(widest, batch.Kind(i, field) == CellKind::kWhole ? kLongestWhole
                                                                    : batch.Text(i, field).size());
    if (widest > kWidestCell) return false;
    column.cell_bytes = widest;
    column.cells.resize(widest * range.size());
    column.sizes.resize(range.size());
    char* cell = column.cells.data();
    for (std::size_t row = 0; row < range.size(); ++row, cell += widest) {
      const std::size_t i = range.first + row;
      const CellKind kind = batch.Kind(i, field);
      if (kind == CellKind::kWhole) {
        column.sizes[row] =
            std::to_chars(cell, cell + kLongestWhole, batch.Whole(i, field)).ptr - cell;
        continue;
      }
      const std::string_view text = batch.Text(i, field);
      std::memcpy(cell, text.data(), text.size());
      column.sizes[row] =
          kind == CellKind::kNull ? SQL_NULL_DATA : static_cast<SQLLEN>(text.size());
    }
  }
  return true;
}

void ParameterStrategy::Prepare() {
  if (prepared_) return;
  const std::string what = "the records cannot be posted";
  prepared_ = Statement(session().connection());
  transaction_ = Statement(session().connection());
  std::string sql = into() + "VALUES (?";
  for (std::size_t i = 1; i < columns_.size(); ++i) sql += ",?";
  sql += ')';
  SQLSetStmtAttr(prepared_.get(), SQL_ATTR_NOSCAN, Number(SQL_NOSCAN_OFF), 0);
  prepared_.Check(SQLPrepare(prepared_.get(), Chars(sql), static_cast<SQLINTEGER>(sql.size())),
                  what);
}

void ParameterStrategy::Bind(std::size_t records) {
  const std::string what = "the records cannot be posted";
  prepared_.Check(SQLSetStmtAttr(prepared_.get(), SQL_ATTR_PARAMSET_SIZE, Number(records), 0),
                  what);
  for (std::size_t field = 0; field < columns_.size(); ++field) {
    Column& column = columns_[field];
    prepared_.Check(
        SQLBindParameter(prepared_.get(), static_cast<SQLUSMALLINT>(field + 1), SQL_PARAM_INPUT,
                         SQL_C_CHAR, SQL_VARCHAR, column.cell_bytes, 0, column.cells.data(),
                         static_cast<SQLLEN>(column.cell_bytes), column.sizes.data()),
        what);
  }
}

void ParameterStrategy::RunTransaction(const char* sql) {
  transaction_.Check(transaction_.Send(sql), "the records cannot be posted");
}

PostFailure ParameterStrategy::Abandon(PostFailure failure) {
  if (failure.lost) {
    prepared_ = Statement();
    transaction_ = Statement();
  } else {
    transaction_.Send("ROLLBACK");
  }
  return failure;
}

// Where the driver cannot send an array at once it sends record by record, so the array has a
// transaction around it: a chunk is stored whole or not at all.
PostFailure ParameterStrategy::Send(const RecordBatch& batch, BatchRange range) {
  // In a packet each value has its length before it.
  const std::size_t packet = session().facts().most_packet_bytes;
  const bool fits =
      packet == 0 || 2 * (batch.Bytes(range) + 9 * range.size() * columns_.size()) < packet;
  if (range.size() < kLeastRecords || !fits || session().LostByNow() || !Fill(batch, range))
    return SqlStrategy::Send(batch, range);
  bool committing = false;  // what was sent before dies with the connection
  try {
    Prepare();
    Bind(range.size());
    RunTransaction("START TRANSACTION");
    const SQLRETURN result = prepared_.ExecutePrepared();
    if (!Succeeded(result) && result != SQL_NO_DATA) {
      PostFailure failure = FailureOf(prepared_);
      failure.unsent = failure.lost;
      AskWhere(range, failure);
      return Abandon(std::move(failure));
    }
    RequireServer();
    committing = true;
    RunTransaction("COMMIT");
    return {};
  } catch (const Error& error) {
    PostFailure failure = FailureOf(error);
    const Diagnosis diagnosis{failure.errors};
    session().Note(diagnosis);
    failure.lost = session().lost();
    failure.unsent = failure.lost && !committing;
    failure.try_again = diagnosis.Rollback();
    return Abandon(std::move(failure));
  }
}

void ParameterStrategy::ForgetStatements() {
  prepared_ = Statement();
  transaction_ = Statement();
  SqlStrategy::ForgetStatements();
}

}  // namespace kelvorin::database::odbc
