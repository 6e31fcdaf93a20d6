#include <doctest/doctest.h>

#include <initializer_list>
#include <string>
#include <utility>

#include "tests/values/show.h"
#include "values/value_format.h"

using namespace kelvorin;
using namespace kelvorin::values;
using tests::Show;
using enum DateOrder;

namespace {

/// Each text with the date that it means, year first; then texts that are no dates in this order.
void CheckRows(DateOrder order, const std::string& words,
               std::initializer_list<std::pair<const char*, const char*>> rows,
               std::initializer_list<const char*> refused) {
  const ValueFormat format({.date_order = order});
  for (const auto& [text, expected] : rows) {
    CAPTURE(text);
    CHECK(Show(format, text, TypeCode::kDate) == std::string(expected));
  }
  for (const char* text : refused) {
    CAPTURE(text);
    CHECK(Show(format, text, TypeCode::kDate) == "!is no date in the order " + words);
  }
}

}  // namespace

TEST_CASE("days of the calendar") {
  const std::pair<CivilDate, int> kRows[] = {
      {{1899, 12, 30}, 0},   {{1899, 12, 29}, -1}, {{1900, 3, 1}, 61},       {{2000, 2, 29}, 36585},
      {{1970, 1, 1}, 25569}, {{1, 1, 1}, -693593}, {{9999, 12, 31}, 2958465}};
  for (const auto& [date, day] : kRows) {
    CHECK(ToDay(date) == day);
    CHECK(FromDay(day) == date);
  }
  int wrong = 0;
  for (int day = -693593; day <= 2958465; ++day) {
    const CivilDate date = FromDay(day);
    if (!IsValidDate(date) || ToDay(date) != day) ++wrong;
  }
  CHECK(wrong == 0);
  for (const CivilDate date :
       {CivilDate{1900, 2, 29}, {2023, 2, 29}, {2023, 4, 31}, {2023, 13, 1}, {0, 1, 1}})
    CHECK_FALSE(IsValidDate(date));
}

TEST_CASE("dates in their order") {
  CheckRows(kDayMonthYear, "day/month/year",
            {{"2020-01-31", "2020-01-31"},
             {"2020/01/31", "2020-01-31"},
             {"2020-01-31T10:05:06", "2020-01-31 10:05:06"},
             {"2020-1-3T10:05:06.123000", "2020-01-03 10:05:06.123"},
             {"2020-01-31T10:05:06.1239", "2020-01-31 10:05:06.123"},
             {"2020-01-31T10:05:06Z", "2020-01-31 10:05:06"},
             {"2020-01-01 00:30:00.5+02:00", "2019-12-31 22:30:00.500"},
             {"2020-02-28T23:30-0100", "2020-02-29 00:30:00"},
             {"2020-01-31 10:05+05", "2020-01-31 05:05:00"},
             {"2020-Sep-15", "2020-09-15"},
             {"13/1/2020", "2020-01-13"},
             {"13-01-20", "2020-01-13"},
             {"13. 1. 2020", "2020-01-13"},
             {"13 1 2020", "2020-01-13"},
             {"13 1 20 8:30 pm", "2020-01-13 20:30:00"},
             {"1/1/30", "1930-01-01"},
             {"1/1/29", "2029-01-01"},
             {"12:00 AM", "00:00:00"},
             {"23:59:59.999", "23:59:59.999"},
             {"1899-12-30", "00:00:00"}},
            {"1/13/2020",
             "30/2/2020",
             "1/2-2020",
             "1/2",
             "1/2/020",
             "1/2/20200",
             "1/2/2020x",
             "1/2/2020T10:00",
             "1/2/2020 25:00",
             "1/2/2020 13:00 PM",
             "0:30 AM",
             "10:60",
             "10:05:60",
             "43831",
             "2020-02-30",
             "2020-01-31T10:05Zx",
             "2020-01-31 10:05+2",
             "2020-01-31 10:05+02:0",
             "0001-01-01 00:00+01",
             "10:05Z",
             "13/1/2020 10:05Z",
             "2020-01-31 10:05+99"});
  CheckRows(kMonthDayYear, "month/day/year",
            {{"1/13/2020", "2020-01-13"},
             {"2020-01-31", "2020-01-31"},
             {"15 Jan 2020", "2020-01-15"},
             {"15-JAN-99", "1999-01-15"}},
            {"13/1/2020"});
  CheckRows(kYearMonthDay, "year-month-day",
            {{"29/1/2", "2029-01-02"},
             {"20-Jan-15", "2020-01-15"},
             {"15-Jan-2020", "2020-01-15"},
             {"January 15, 2020 9:05 AM", "2020-01-15 09:05:00"}},
            {"sept 15, 2020", "31/12/2020", "20200131"});
  CHECK(Show(ValueFormat(), "10:05", TypeCode::kTime) == "10:05:00");
  CHECK(Show(ValueFormat(), "2020-01-31 10:05", TypeCode::kTime) ==
        "!is no time of day of the form hh:mm:ss");
}

TEST_CASE("dates are written so that they read back") {
  const std::pair<FormatOptions, const char*> kRows[] = {
      {{.date_order = kDayMonthYear, .date_separator = '/'}, "31/01/2020 10:00:00"},
      {{.date_order = kMonthDayYear, .date_separator = '.'}, "01.31.2020 10:00:00"},
      {{.date_order = kDayMonthYear, .date_separator = ':'}, "31-01-2020 10:00:00"},
      {{.date_order = kYearMonthDay, .date_separator = '/'}, "2020-01-31 10:00:00"}};
  for (const auto& [options, expected] : kRows) {
    std::string text;
    ValueFormat(options).Append(Value::Date({ToDay({2020, 1, 31}), 36'000'000}), text);
    CHECK(text == std::string(expected));
  }
}

TEST_CASE("a fraction of a second that milliseconds do not hold is told") {
  const std::pair<const char*, bool> kRows[] = {{"2000-01-01 10:00:00.123", false},
                                                {"2000-01-01 10:00:00.1230000", false},
                                                {"2000-01-01 10:00:00.1234", true},
                                                {"2000-01-01 10:00:00.0000001", true}};
  for (const auto& [text, narrowed] : kRows) {
    CAPTURE(text);
    Value value;
    std::string scratch;
    REQUIRE(ValueFormat::Neutral().Parse(text, TypeCode::kDate, value, scratch).ok());
    CHECK(value.narrowed == narrowed);
  }
}
