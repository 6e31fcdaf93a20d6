// Key expressions: what they yield on a record, what is not understood, and the keys of the order
// GENERAL.

#include "database/xbase/key_expression.h"
#include "database/xbase/collation.h"
#include "database/xbase/new_table.h"
#include "tests/xbase/xbase_support.h"

#include <doctest/doctest.h>

#include <map>
#include <string>
#include <vector>

namespace kelvorin::tests {
namespace {

using namespace database::xbase;
using enum TypeCode;

// --- Expressions, on a record of NAME C(6) "Bo bB ", AMT N(7,2) -2.50, D 2004-02-29, OK L .T.

struct Evaluated {
  const char* expression;
  const char* text;  // the result; null for a number
  double number;
};
const Evaluated kEvaluated[] = {
    {"NAME", "Bo bB ", 0},
    {"upper(name)", "BO BB ", 0},
    {"X->NAME+'z'", "Bo bB z", 0},
    {"NAME-'z'", "Bo bBz ", 0},
    {"TRIM(NAME)+[!]", "Bo bB!", 0},
    {"SUBS(NAME,2,3)", "o b", 0},
    {"LEFT(NAME,2)+RIGHT(NAME,2)", "BoB ", 0},
    {"STR(AMT,7,2)+STR(12345,3)", "  -2.50***", 0},
    {"STR(AMT)", "        -3", 0},
    {"DTOS(D)+DTOC(D)", "2004022902/29/04", 0},
    {"DTOC(D,1)", "20040229", 0},
    {"IIF(AMT<0 .AND. .NOT. DELETED(),'neg','pos')", "neg", 0},
    {"PADL('7',3,'0')+PADR('a',3)+SPACE(1)+REPL('xy',2)", "007a   xyxy", 0},
    {"IIF('b' $ NAME, CHR(65), 'no')", "A", 0},
    {"AMT*2+1", nullptr, -4},
    {"-AMT", nullptr, 2.5},
    {"ROUND(AMT,0)+INT(AMT)+ABS(AMT)", nullptr, -2.5},
    {"D+1", nullptr, 2453066},
    {"D-STOD('20040101')", nullptr, 59},
    {"CTOD('02/28/2004')", nullptr, 2453064},
    {"YEAR(D)*10000+MONTH(D)*100+DAY(D)", nullptr, 20040229},
    {"VAL('12.5x')+ASC(NAME)+LEN(ALLTRIM(NAME))+AT('b',NAME)", nullptr, 12.5 + 66 + 5 + 4},
    {"RECNO()", nullptr, 7},
    {"IIF(NAME='Bo',1,0)+IIF(NAME=='Bo',10,0)+IIF('Bo'=NAME,100,0)", nullptr, 1},
    {"IIF(EMPTY(NAME).OR.AMT>=0,1,2)", nullptr, 2},
};
const char* const kNotUnderstood[][2] = {
    {"NAME+", "its end"},         {"NOBODY", "'NOBODY'"},     {"SOUNDEX(NAME)", "SOUNDEX"},
    {"NAME+AMT", "'+AMT'"},       {"UPPER(AMT)", "argument"}, {"(NAME", "its end"},
    {"STR(AMT,AMT)", "argument"}, {"NAME NAME", "'NAME'"},    {"'open", "'open"},
    {"SUBSTR(NAME)", "SUBSTR"},
};

struct OneRecord {
  OneRecord() {
    const TableDef def =
        MakeTable("T", {MakeField("NAME", kText, 6), MakeField("AMT", kNumeric, 7, 2),
                        MakeField("D", kDate), MakeField("OK", kBoolean)});
    const NewTable plan = PlanTable(def, Product::kDbase4);
    layout = ReadLayout(base::AsBytes(plan.header), "T");
  }
  TableLayout layout;
  const std::string row = " Bo bB   -2.5020040229T";
};

}  // namespace

TEST_CASE("key expressions yield what the products' own yield") {
  OneRecord record;
  for (const Evaluated& row : kEvaluated) {
    CAPTURE(std::string(row.expression));
    KeyExpression expression(row.expression, record.layout);
    KeyValue value;
    for (int again = 0; again < 2; ++again)
      expression.Evaluate(base::AsBytes(record.row), 7, value);
    if (row.text != nullptr) {
      CHECK(std::string(value.text) == row.text);
      CHECK(value.text.size() <= expression.text_bytes());
    } else {
      CHECK(value.number == doctest::Approx(row.number));
    }
  }
  for (const auto& row : kNotUnderstood) {
    CAPTURE(std::string(row[0]));
    std::string why;
    try {
      KeyExpression(row[0], record.layout);
    } catch (const Error& error) {
      why = error.status().message();
    }
    CHECK_MESSAGE(why.find(row[1]) != std::string::npos, why);
  }
}

TEST_CASE("GENERAL keys put letters first and accents behind") {
  const std::map<std::string, std::string> keys = {{"M\xFCller4 ", "6F786D6D66755A04"},
                                                   {"", ""},
                                                   {"a b", "601161"},
                                                   {"\xDF", "7676"},
                                                   {"\xE9t\xE9", "6677660101"}};
  for (const auto& [text, hex] : keys) {
    std::vector<std::byte> key(20);
    MakeGeneralKey(text, key);
    std::string shown;
    for (std::byte byte : key) {
      constexpr char kDigits[] = "0123456789ABCDEF";
      shown += kDigits[std::to_integer<unsigned>(byte) >> 4];
      shown += kDigits[std::to_integer<unsigned>(byte) & 15];
    }
    CHECK(shown == hex + std::string(40 - hex.size(), '0'));
  }
}

}  // namespace kelvorin::tests
