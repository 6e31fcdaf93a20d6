#include <doctest/doctest.h>

#include <array>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>

#include "tests/values/show.h"
#include "values/decimal_digits.h"
#include "values/value_format.h"

using namespace kelvorin;
using namespace kelvorin::values;
using tests::Show;
using enum TypeCode;

namespace {

/// Each text with what it reads as.
using Rows = std::initializer_list<std::pair<const char*, const char*>>;

void CheckRows(TypeCode type, Rows rows, const ValueFormat& format = ValueFormat::Neutral()) {
  for (const auto& [text, expected] : rows) {
    CAPTURE(text);
    CHECK(Show(format, text, type) == std::string(expected));
  }
}

/// Texts that are no numbers at all.
void CheckRefused(TypeCode type, std::initializer_list<const char*> texts,
                  const ValueFormat& format = ValueFormat::Neutral()) {
  for (const char* text : texts) {
    CAPTURE(text);
    CHECK(Show(format, text, type) == "!is no number");
  }
}

}  // namespace

TEST_CASE("whole numbers") {
  CheckRows(kLong, {{"12", "12"},
                    {"  -7\t", "-7"},
                    {"12.00", "12"},
                    {"1.", "1"},
                    {"1,234,567", "1234567"},
                    {"", "Null"},
                    {" \t ", "Null"},
                    {"12.5", "!has a fraction, which a field of type Long cannot hold"},
                    {"2147483647", "2147483647"},
                    {"-2147483649", "!is out of range for type Long (-2147483648 to 2147483647)"}});
  CheckRefused(kLong, {"1e3", "12x", "1 2", "-", "+-1", ".", ",123", "12,34", "1234,567",
                       "1,234567", "1,,234", "$5"});
  CheckRows(kByte, {{"255", "255"},
                    {"256", "!is out of range for type Byte (0 to 255)"},
                    {"-1", "!is out of range for type Byte (0 to 255)"}});
  CheckRows(kInteger, {{"-32768", "-32768"},
                       {"32768", "!is out of range for type Integer (-32768 to 32767)"}});
  constexpr const char* kOut =
      "!is out of range for type BigInt (-9223372036854775808 to 9223372036854775807)";
  CheckRows(kBigInt, {{"9223372036854775807", "9223372036854775807"},
                      {"-9223372036854775808", "-9223372036854775808"},
                      {"9223372036854775808", kOut},
                      {"99999999999999999999999", kOut}});
}

TEST_CASE("numbers with a fraction keep their digits") {
  constexpr const char* kOut = "!is out of range for type Double";
  CheckRows(kDouble, {{"1.50", "1.5 [1.50]"},
                      {".5", "0.5 [0.5]"},
                      {"5.", "5 [5]"},
                      {"+12,345.50", "12345.5 [12345.50]"},
                      {"-0", "-0 [0]"},
                      {"0.1", "0.10000000000000001 [0.1]"},
                      {"1e3", "1000 [1000]"},
                      {"9007199254740993", "9007199254740992 [9007199254740993]"},
                      {"-1.25E-2", "-0.012500000000000001 [-0.0125]"},
                      {"0.05e2", "5 [5]"},
                      {"0e999", "0 [0]"},
                      {"1e300", "1.0000000000000001e+300 []"},
                      {"1e309", kOut},
                      {"1e-400", kOut},
                      {"1e99999999999", kOut},
                      {"1e4294967297", kOut}});
  CheckRefused(kDouble, {"1e", "inf", "0x10", "1.2.3", "1.234,5"});
  CheckRows(kSingle,
            {{"0.1", "0.10000000149011612 [0.1]"},
             {"16777217", "16777216 [16777217]"},
             {"3.4028235e38", "3.4028234663852886e+38 [340282350000000000000000000000000000000]"},
             {"3.5e38", "!is out of range for type Single"},
             {"1e-60", "!is out of range for type Single"}});
  CheckRows(kDecimal, {{"12345678901234567890.12345678901234567890",
                        "1.2345678901234567e+19 [12345678901234567890.12345678901234567890]"},
                       {"0012.30", "12.300000000000001 [12.30]"}});
  CheckRefused(kDecimal, {"1e3"});
}

TEST_CASE("money is exact") {
  constexpr const char* kOut =
      "!is out of range for type Currency (-922337203685477.5808 to 922337203685477.5807)";
  CheckRows(kCurrency, {{"$1,234.5", "1234.5"},
                        {"$-5", "-5"},
                        {"5 $", "5"},
                        {"0.00005", "0.0001"},
                        {"-0.00005", "-0.0001"},
                        {"0.00004999999", "!is too small for type Currency: it would become 0"},
                        {"1.00015", "1.0002"},
                        {"922337203685477.5807", "922337203685477.5807"},
                        {"-922337203685477.5808", "-922337203685477.5808"},
                        {"922337203685477.58075", kOut},
                        {"1844674407370956", kOut}});
  CheckRefused(kCurrency, {"$5$", "$", "1e2"});
}

TEST_CASE("other conventions of writing numbers") {
  const ValueFormat points({.decimal = ',', .thousands = '.', .currency = "\xE2\x82\xAC"});
  CheckRows(kDouble, {{"1.234,50", "1234.5 [1234.50]"}, {"-2,5", "-2.5 [-2.5]"}}, points);
  CheckRefused(kDouble, {"2.5"}, points);
  CheckRows(kCurrency, {{"1.234,5 \xE2\x82\xAC", "1234.5"}}, points);
  const ValueFormat blanks({.decimal = ',', .thousands = ' '});
  CheckRows(kLong,
            {{"1 234 567", "1234567"}, {"7\302\240000", "7000"}, {"7\342\200\257000", "7000"}},
            blanks);
  CheckRefused(kLong, {"1  234"}, blanks);
  // Signs that could not be told apart give way.
  CHECK(ValueFormat({.decimal = ',', .thousands = ','}).options().thousands == '\0');
  CHECK(ValueFormat({.decimal = '5'}).options().decimal == '.');
}

TEST_CASE("numbers to text") {
  const ValueFormat format({.decimal = ','});
  std::string scratch;
  const std::pair<Value, const char*> kRows[] = {
      {Value::Double(1e22), "10000000000000000000000"},
      {Value::Double(-0.1), "-0,1"},
      {Value::Double(1.5e-9), "0,0000000015"},
      {Value::Double(1.25e300), "1,25E300"},
      {Value::Double(1.5, "1.500"), "1,5"},
      {Value::Double(2, "2.000"), "2"},
      {Value::Currency(-5), "-0,0005"},
      {Value::Currency(123400), "12,34"},
      {Value::Currency(INT64_MIN), "-922337203685477,5808"},
      {SingleValue(0.1f, scratch), "0,1"}};
  for (const auto& [value, expected] : kRows) {
    std::string text;
    format.Append(value, text);
    CHECK(text == std::string(expected));
  }
}

TEST_CASE("plain digits of numbers, and what is left of them rounded") {
  std::array<char, kMaxPlainDouble> room;
  CHECK(std::string(PlainText(1.005, room)) == "1.005");
  CHECK(std::string(PlainText(-2.5e-7, room)) == "-0.00000025");
  CHECK(std::string(PlainCurrency(INT64_MIN, room)) == "-922337203685477.5808");
  struct Row {
    const char* plain;
    std::size_t decimals, room;
    const char* rounded;
  };
  for (const Row& row :
       {Row{"1.005", 2, 9, "1.01"}, Row{"-99.995", 2, 9, "-100.00"}, Row{"-0.004", 2, 9, ".00"},
        Row{"007.5", 0, 9, "8."}, Row{"-0.5", 0, 2, "-1."}, Row{"12", 3, 9, "12."},
        Row{"999.9", 0, 4, "1000."}, Row{"999.9", 0, 3, "no room"}}) {
    CAPTURE(row.plain);
    RoundedDigits parts;
    const bool fits = RoundDigits(row.plain, row.decimals, std::span(room).first(row.room), parts);
    std::string shown = fits ? "" : "no room";
    if (parts.negative) shown += '-';
    if (fits) shown.append(parts.whole).append(".").append(parts.fraction);
    CHECK(shown == row.rounded);
  }
}
