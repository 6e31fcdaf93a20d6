#include <doctest/doctest.h>

#include <cstdlib>

#include "values/locale_options.h"

using namespace kelvorin;
using namespace kelvorin::values;

TEST_CASE("conventions of a locale") {
  constexpr DateOrder kDmy = DateOrder::kDayMonthYear;
  constexpr DateOrder kMdy = DateOrder::kMonthDayYear;
  constexpr DateOrder kYmd = DateOrder::kYearMonthDay;
  struct Row {
    const char* locale;
    base::LocaleFacts facts;
    DateOrder order;
    char separator, decimal, thousands;
    const char* currency;
  };
  const Row kRows[] = {
      {"C", {".", "", "", "%m/%d/%y"}, kYmd, '-', '.', '\0', "$"},
      {"en_US", {".", ",", "$", "%m/%d/%Y"}, kMdy, '/', '.', ',', "$"},
      {"de_DE", {",", ".", "\xE2\x82\xAC", "%d.%m.%Y"}, kDmy, '.', ',', '.', "\xE2\x82\xAC"},
      {"cs_CZ", {",", "\xC2\xA0", "K\xC4\x8D", "%-d.%-m.%Y"}, kDmy, '.', ',', ' ', "K\xC4\x8D"},
      {"fr_FR", {",", "\xE2\x80\xAF", " EUR", "%d/%m/%Y"}, kDmy, '/', ',', ' ', "EUR"},
      {"de_CH", {".", "\xE2\x80\x99", "CHF", "%d.%m.%Y"}, kDmy, '.', '.', '\'', "CHF"},
      {"hu_HU", {",", ".", "Ft", "%Y. %m. %d."}, kYmd, '.', ',', '.', "Ft"},
      {"xx_D", {".", ",", "", "%D"}, kMdy, '/', '.', ',', "$"},
      {"xx_bad", {"..", "::", "", "%"}, kYmd, '-', '.', '\0', "$"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.locale);
    const FormatOptions options = OptionsFrom(row.facts);
    CHECK(options.date_order == row.order);
    CHECK(options.date_separator == row.separator);
    CHECK(options.decimal == row.decimal);
    CHECK(options.thousands == row.thousands);
    CHECK(options.currency == row.currency);
  }
  setenv("LC_ALL", "C", 1);
  CHECK(ValueFormat::FromLocale().options().date_order == kYmd);
}
