#include "database/odbc/array_strategy.h"

#include <array>

namespace kelvorin::database::odbc {
namespace {

constexpr auto kSpecial = [] {
  std::array<bool, 256> table{};
  for (const char c : {'"', '\\'}) table[static_cast<unsigned char>(c)] = true;
  return table;
}();

/// Text as the element of an array: in double quotes, with those and backslashes escaped.
void AppendElement(std::string_view text, std::string& out) {
  out += '"';
  const char* from = text.data();
  const char* const end = from + text.size();
  for (const char* at = from; at < end; ++at) {
    if (!kSpecial[static_cast<unsigned char>(*at)]) continue;
    out.append(from, at);
    out += '\\';
    from = at;
  }
  out.append(from, end);
  out += '"';
}

}  // namespace

ArrayStrategy::ArrayStrategy(Session& session, const std::string& into, bool refuses_doubles,
                             Limits limits, const std::vector<std::string>& element_types)
    : SqlStrategy(session, into, refuses_doubles, limits), columns_(element_types.size()) {
  // In the list of targets the arrays run side by side without a table in between.
  sql_ = this->into() + "SELECT ";
  for (std::size_t i = 0; i < element_types.size(); ++i)
    sql_ += (i == 0 ? "unnest(?::" : ",unnest(?::") + Utf8Name(element_types[i]) + "[])";
}

void ArrayStrategy::Fill(const RecordBatch& batch, BatchRange range) {
  for (std::size_t field = 0; field < columns_.size(); ++field) {
    std::string& array = columns_[field].array;
    array = "{";
    for (std::size_t i = range.first; i < range.end; ++i) {
      if (i != range.first) array += ',';
      switch (batch.Kind(i, field)) {
        case CellKind::kNull:
          array += "NULL";
          break;
        case CellKind::kPlain:
          array += batch.Text(i, field);
          break;
        case CellKind::kQuoted:
          AppendElement(batch.Text(i, field), array);
      }
    }
    array += '}';
    columns_[field].size = static_cast<SQLLEN>(array.size());
  }
}

void ArrayStrategy::PrepareAndBind() {
  const std::string what = "the records cannot be posted";
  if (!prepared_) {
    prepared_ = Statement(session().connection());
    SQLSetStmtAttr(prepared_.get(), SQL_ATTR_NOSCAN,
                   reinterpret_cast<SQLPOINTER>(SQLULEN{SQL_NOSCAN_OFF}), 0);
    prepared_.Check(SQLPrepare(prepared_.get(), Chars(sql_), static_cast<SQLINTEGER>(sql_.size())),
                    what);
  }
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    Column& column = columns_[i];
    prepared_.Check(
        SQLBindParameter(prepared_.get(), static_cast<SQLUSMALLINT>(i + 1), SQL_PARAM_INPUT,
                         SQL_C_CHAR, SQL_LONGVARCHAR, column.array.size(), 0, column.array.data(),
                         column.size, &column.size),
        what);
  }
}

PostFailure ArrayStrategy::Send(const RecordBatch& batch, BatchRange range) {
  if (range.size() == 1 || session().LostByNow()) return SqlStrategy::Send(batch, range);
  bool sent = false;
  try {
    Fill(batch, range);
    PrepareAndBind();
    RequireServer();
    sent = true;
    const SQLRETURN result = prepared_.ExecutePrepared();
    if (Succeeded(result) || result == SQL_NO_DATA) return {};
    PostFailure failure = FailureOf(prepared_);
    if (failure.lost) prepared_ = Statement();
    return failure;
  } catch (const Error& error) {
    PostFailure failure = FailureOf(error);
    session().Note(Diagnosis{failure.errors});
    failure.lost = session().lost();
    failure.unsent = failure.lost && !sent;
    prepared_ = Statement();
    return failure;
  }
}

void ArrayStrategy::ForgetStatements() {
  prepared_ = Statement();
  SqlStrategy::ForgetStatements();
}

}  // namespace kelvorin::database::odbc
