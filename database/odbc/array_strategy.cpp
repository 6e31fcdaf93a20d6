#include "database/odbc/array_strategy.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>

namespace kelvorin::database::odbc {
namespace {

constexpr std::size_t kLongestWhole = 20;  // "-9223372036854775808"

/// Whether one of the eight characters is `c`.
constexpr bool Has(std::uint64_t eight, char c) noexcept {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  const std::uint64_t other = eight ^ (kOnes * static_cast<unsigned char>(c));  // 0 where it is
  return ((other - kOnes) & ~other & (0x80 * kOnes)) != 0;
}

/// Text as the element of an array: in double quotes, with those and backslashes escaped. There is
/// room for twice the text and the quotes; returns the end.
char* PutElement(std::string_view text, char* out) noexcept {
  *out++ = '"';
  const char* at = text.data();
  const char* const end = at + text.size();
  for (std::uint64_t eight; end - at >= 8; at += 8, out += 8) {
    std::memcpy(&eight, at, 8);
    if (Has(eight, '"') || Has(eight, '\\')) break;
    std::memcpy(out, &eight, 8);
  }
  for (; at != end; ++at) {
    if (*at == '"' || *at == '\\') *out++ = '\\';
    *out++ = *at;
  }
  *out++ = '"';
  return out;
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
  constexpr std::string_view kNull = "NULL";
  for (std::size_t field = 0; field < columns_.size(); ++field) {
    std::size_t most = 2;
    for (std::size_t i = range.first; i < range.end; ++i)
      most += 3 + std::max(kLongestWhole, 2 * batch.Text(i, field).size());
    std::vector<char>& array = columns_[field].array;
    if (array.size() < most) array.resize(most);
    char* out = array.data();
    for (std::size_t i = range.first; i < range.end; ++i) {
      *out++ = i == range.first ? '{' : ',';
      const std::string_view text = batch.Text(i, field);
      switch (batch.Kind(i, field)) {
        case CellKind::kNull:
          out = std::copy(kNull.begin(), kNull.end(), out);
          break;
        case CellKind::kWhole:
          out = std::to_chars(out, out + kLongestWhole, batch.Whole(i, field)).ptr;
          break;
        case CellKind::kPlain:
          out = std::copy(text.begin(), text.end(), out);
          break;
        case CellKind::kQuoted:
          out = PutElement(text, out);
      }
    }
    *out++ = '}';
    columns_[field].size = out - array.data();
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
                         SQL_C_CHAR, SQL_LONGVARCHAR, static_cast<SQLULEN>(column.size), 0,
                         column.array.data(), column.size, &column.size),
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
