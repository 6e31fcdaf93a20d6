#include "database/sql_text.h"

#include <doctest/doctest.h>

#include <cmath>
#include <limits>

#include "values/value_format.h"

namespace kelvorin::database {
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
  dialect.boolean_as_digit = false;
  return dialect;
}
SqlDialect Escapes() {
  SqlDialect dialect;
  dialect.identifier_quote = "";
  dialect.date_prefix = "{d '";
  dialect.time_prefix = "{t '";
  dialect.timestamp_prefix = "{ts '";
  dialect.literal_suffix = "'}";
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
    bool qualified;
    std::string ansi;
    std::string backtick;
    std::string unquoted;  // empty: refused
  };
  const Row rows[] = {
      {"order", false, "\"order\"", "`order`", "order"},
      {"a b", false, "\"a b\"", "`a b`", ""},
      {"a\"b`c", false, "\"a\"\"b`c\"", "`a\"b``c`", ""},
      {"t; DROP TABLE x", false, "\"t; DROP TABLE x\"", "`t; DROP TABLE x`", ""},
      {"a\\", false, "\"a\\\"", "`a\\`", ""},
      {"s.t", false, "\"s.t\"", "`s.t`", ""},
      {"s.t", true, "\"s\".\"t\"", "`s`.`t`", "s.t"},
      {"s.a.t", true, "\"s\".\"a\".\"t\"", "`s`.`a`.`t`", "s.a.t"},
      {"\u00C4rzte_2$", false, "\"\u00C4rzte_2$\"", "`\u00C4rzte_2$`", "\u00C4rzte_2$"},
      {"", false, "", "", ""},
      {"s.", true, "", "", ""},
      {".t", true, "", "", ""},
  };
  for (const Row& row : rows) {
    CAPTURE(row.name);
    const auto written = [&](const SqlDialect& dialect) {
      std::string out = "x";
      const bool ok = AppendIdentifier(row.name, dialect, out, row.qualified).ok();
      CHECK(ok == (out != "x"));
      return out.substr(1);
    };
    CHECK(written(Ansi()) == row.ansi);
    CHECK(written(Backslash()) == row.backtick);
    CHECK(written(Escapes()) == row.unquoted);
  }
  std::string out;
  CHECK_FALSE(AppendIdentifier(std::string_view("a\0b", 3), Ansi(), out).ok());
}

TEST_CASE("literals of fields, from text as an import has it") {
  struct Row {
    TypeCode type;
    std::string text;
    std::string ansi;
    std::string backslash;
    std::string escapes;
  };
  const Row rows[] = {
      {TypeCode::kText, "", "''", "''", "''"},
      {TypeCode::kMemo, "it's \\", "'it''s \\'", "'it''s \\\\'", "'it''s \\'"},
      {TypeCode::kLong, "", "NULL", "NULL", "NULL"},
      {TypeCode::kLong, " -12 ", "-12", "-12", "-12"},
      {TypeCode::kBigInt, "-9223372036854775808", "-9223372036854775808", "-9223372036854775808",
       "-9223372036854775808"},
      {TypeCode::kCurrency, "$1.50", "1.5", "1.5", "1.5"},
      {TypeCode::kDecimal, "0012345678901234567890.10", "12345678901234567890.1",
       "12345678901234567890.1", "12345678901234567890.1"},
      {TypeCode::kBoolean, "Yes", "1", "TRUE", "1"},
      {TypeCode::kBoolean, "0", "0", "FALSE", "0"},
      {TypeCode::kDate, "2024-02-29", "'2024-02-29'", "'2024-02-29'", "{d '2024-02-29'}"},
      {TypeCode::kDate, "0999-01-02 03:04:05", "'0999-01-02 03:04:05'", "'0999-01-02 03:04:05'",
       "{ts '0999-01-02 03:04:05'}"},
      {TypeCode::kTimeStamp, "2024-02-29", "'2024-02-29 00:00:00'", "'2024-02-29 00:00:00'",
       "{ts '2024-02-29 00:00:00'}"},
      {TypeCode::kTimeStamp, "2024-02-29 01:02:03.004", "'2024-02-29 01:02:03.004'",
       "'2024-02-29 01:02:03.004'", "{ts '2024-02-29 01:02:03.004'}"},
      {TypeCode::kTime, "1:02 PM", "'13:02:00'", "'13:02:00'", "{t '13:02:00'}"},
      {TypeCode::kDate, "1899-12-30", "'1899-12-30'", "'1899-12-30'", "{d '1899-12-30'}"},
      {TypeCode::kDate, "10:30:00", "'1899-12-30 10:30:00'", "'1899-12-30 10:30:00'",
       "{ts '1899-12-30 10:30:00'}"},
      {TypeCode::kGuid, "00112233-4455-6677-8899-aabbccddeeff",
       "'{00112233-4455-6677-8899-AABBCCDDEEFF}'", "'{00112233-4455-6677-8899-AABBCCDDEEFF}'",
       "'{00112233-4455-6677-8899-AABBCCDDEEFF}'"},
  };
  for (const Row& row : rows) {
    CAPTURE(row.text);
    Value value;
    std::string scratch;
    REQUIRE(values::ValueFormat::Neutral().Parse(row.text, row.type, value, scratch).ok());
    const auto written = [&](const SqlDialect& dialect) {
      std::string out;
      CHECK(AppendLiteral(value, row.type, dialect, out).ok());
      return out;
    };
    CHECK(written(Ansi()) == row.ansi);
    CHECK(written(Backslash()) == row.backslash);
    CHECK(written(Escapes()) == row.escapes);
  }
}

TEST_CASE("values that do not belong to their field are refused whole") {
  struct Row {
    std::string name;
    TypeCode type;
    Value value;
  };
  const Row rows[] = {
      {"text in a number", TypeCode::kLong, Value::Text("1); DELETE FROM t; --")},
      {"text in a date", TypeCode::kDate, Value::Text("2024-01-01")},
      {"number in a text", TypeCode::kText, Value::Integer(5)},
      {"number in a date", TypeCode::kDate, Value::Integer(45000)},
      {"Boolean in a number", TypeCode::kLong, Value::Boolean(true)},
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
    std::string out = "kept";
    const Status status = AppendLiteral(row.value, row.type, Ansi(), out);
    CHECK(status.code() == Code::kConversion);
    CHECK(status.number() == 3421);
    CHECK(out == "kept");
  }
}

}  // namespace
}  // namespace kelvorin::database
