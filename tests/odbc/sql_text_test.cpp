#include "database/odbc/record_batch.h"

#include <doctest/doctest.h>

#include <cmath>
#include <limits>

#include "values/value_format.h"

namespace kelvorin::database::odbc {
namespace {

using values::TypeCode;
using values::Value;

SqlDialect Ansi() {
  return {};
}
SqlDialect Backslash() {
  SqlDialect dialect;
  dialect.identifier_quote = "`";
  dialect.backslash_escapes = true;
  return dialect;
}
SqlDialect Unquoted() {
  SqlDialect dialect;
  dialect.identifier_quote = "";
  return dialect;
}

// A server's own reading of a quoted text: what it stands for, or nothing when it ends early.
std::string ReadQuoted(const std::string& literal, char quote, bool backslash) {
  std::string text;
  for (std::size_t i = 1; i + 1 < literal.size(); ++i) {
    if (literal[i] == quote || (backslash && literal[i] == '\\')) {
      if (i + 2 >= literal.size() || (literal[i] == quote && literal[i + 1] != quote))
        return "broke out";
      ++i;
    }
    text += literal[i];
  }
  return literal.front() == quote && literal.back() == quote ? text : "not quoted";
}

TEST_CASE("a text literal ends where its text ends") {
  for (const std::string text :
       {"", "O'Neil", "'", "''", "\\", "\\'", "'\\", "tail\\", "a\\\\b", "'); DELETE FROM t; --",
        "\\'; DROP TABLE t; /*", "line\r\nfeed", "\"`", "? :x $1 {fn now()} #", "\xE4'\xFF"}) {
    CAPTURE(text);
    for (const SqlDialect& dialect : {Ansi(), Backslash()}) {
      std::string out;
      REQUIRE(AppendTextLiteral(text, dialect, out).ok());
      CHECK(ReadQuoted(out, '\'', dialect.backslash_escapes) == text);
    }
  }
  std::string out = "kept";
  CHECK(AppendTextLiteral(std::string("a\0b", 3), Ansi(), out).code() == Code::kConversion);
  CHECK(out == "kept");
}

TEST_CASE("names are quoted by the dialect, or refused") {
  struct Row {
    std::string name;
    std::string ansi;
    std::string backtick;
    std::string unquoted;  // empty: refused
  };
  const Row rows[] = {
      {"order", "\"order\"", "`order`", "order"},
      {"a b", "\"a b\"", "`a b`", ""},
      {"a\"b`c", "\"a\"\"b`c\"", "`a\"b``c`", ""},
      {"t; DROP TABLE x", "\"t; DROP TABLE x\"", "`t; DROP TABLE x`", ""},
      {"a\\", "\"a\\\"", "`a\\`", ""},
      {"s.t", "\"s.t\"", "`s.t`", ""},
      {"\u00C4rzte_2$", "\"\u00C4rzte_2$\"", "`\u00C4rzte_2$`", "\u00C4rzte_2$"},
      {"", "", "", ""},
  };
  for (const Row& row : rows) {
    CAPTURE(row.name);
    const auto written = [&](const SqlDialect& dialect) {
      std::string out = "x";
      const bool ok = AppendIdentifier(row.name, dialect, out).ok();
      CHECK(ok == (out != "x"));
      return out.substr(1);
    };
    CHECK(written(Ansi()) == row.ansi);
    CHECK(written(Backslash()) == row.backtick);
    CHECK(written(Unquoted()) == row.unquoted);
  }
  std::string out;
  CHECK_FALSE(AppendIdentifier(std::string_view("a\0b", 3), Ansi(), out).ok());
}

TEST_CASE("values as a server reads them, from text as an import has it") {
  struct Row {
    TypeCode type;
    std::string text;
    std::string sent;  // in quotes where it stands so
  };
  const Row rows[] = {
      {TypeCode::kText, "", "''"},
      {TypeCode::kMemo, "it's \\", "'it''s \\'"},
      {TypeCode::kLong, "", "NULL"},
      {TypeCode::kLong, " -12 ", "-12"},
      {TypeCode::kBigInt, "-9223372036854775808", "-9223372036854775808"},
      {TypeCode::kCurrency, "$1.50", "1.5"},
      {TypeCode::kDecimal, "0012345678901234567890.10", "12345678901234567890.1"},
      {TypeCode::kBoolean, "Yes", "1"},
      {TypeCode::kBoolean, "0", "0"},
      {TypeCode::kDate, "2024-02-29", "'2024-02-29'"},
      {TypeCode::kDate, "0999-01-02 03:04:05", "'0999-01-02 03:04:05'"},
      {TypeCode::kTimeStamp, "2024-02-29", "'2024-02-29 00:00:00'"},
      {TypeCode::kTimeStamp, "2024-02-29 01:02:03.004", "'2024-02-29 01:02:03.004'"},
      {TypeCode::kTime, "1:02 PM", "'13:02:00'"},
      {TypeCode::kDate, "1899-12-30", "'1899-12-30'"},
      {TypeCode::kDate, "10:30:00", "'1899-12-30 10:30:00'"},
      {TypeCode::kGuid, "00112233-4455-6677-8899-aabbccddeeff",
       "'{00112233-4455-6677-8899-AABBCCDDEEFF}'"},
  };
  for (const Row& row : rows) {
    CAPTURE(row.text);
    Value value;
    std::string scratch, list;
    REQUIRE(values::ValueFormat::Neutral().Parse(row.text, row.type, value, scratch).ok());
    RecordBatch batch({TypeCode::kLong, row.type});
    const Value record[] = {Value::Integer(1), value};
    REQUIRE(batch.Add(7, record).ok());
    REQUIRE(batch.Add(8, record).ok());
    batch.AppendList(1, Ansi(), list);
    CHECK(list == "(1," + row.sent + ")");
  }
}

TEST_CASE("values that no server reads are refused whole") {
  struct Row {
    std::string name;
    TypeCode type;
    Value value;
  };
  const Row rows[] = {
      {"bytes", TypeCode::kBinary, Value::Bytes("ab")},
      {"not a number", TypeCode::kDouble, Value::Double(std::nan(""))},
      {"infinite", TypeCode::kDouble, Value::Double(std::numeric_limits<double>::infinity())},
      {"digits that are none", TypeCode::kDecimal, Value::Double(1, "1); DELETE FROM t; (0")},
      {"digits with a comment", TypeCode::kDecimal, Value::Double(1, "1--2")},
      {"day after the last", TypeCode::kDate, Value::Date({2'958'466, 0})},
      {"day far out", TypeCode::kDate, Value::Date({std::numeric_limits<std::int32_t>::max(), 0})},
      {"day before the first", TypeCode::kTimeStamp, Value::Date({-693'594, 0})},
      {"time beyond the day", TypeCode::kTime, Value::Date({0, 86'400'000})},
      {"time with a date", TypeCode::kTime, Value::Date({1, 0})},
      {"zero byte", TypeCode::kText, Value::Text(std::string_view("a\0", 2))},
  };
  for (const Row& row : rows) {
    CAPTURE(row.name);
    RecordBatch batch({TypeCode::kText, row.type});
    const Value record[] = {Value::Text("kept out"), row.value};
    const Status status = batch.Add(1, record);
    CHECK(status.code() == Code::kConversion);
    CHECK(status.number() == 3421);
    const Value good[] = {Value::Text("a"), Value::Null()};
    REQUIRE(batch.Add(2, good).ok());
    std::string list;
    batch.AppendList(0, Ansi(), list);
    CHECK(list == "('a',NULL)");
  }
}

}  // namespace
}  // namespace kelvorin::database::odbc
