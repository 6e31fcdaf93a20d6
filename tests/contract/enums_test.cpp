#include "contract/enums.h"

#include <doctest/doctest.h>

#include <string>

using namespace kelvorin::contract;

TEST_CASE("kinds, their type words and their names") {
  constexpr std::string_view kWords[] = {"Access|",
                                         "Paradox3|Paradox 3.x",
                                         "Paradox4|Paradox 4.x",
                                         "Paradox5|Paradox 5.x",
                                         "DBase3|dBASE III",
                                         "DBase4|dBASE IV",
                                         "DBase5|dBASE 5.0",
                                         "FOXPRO20|FoxPro 20",
                                         "FOXPRO25|FoxPro 2.5",
                                         "FOXPRO26|FoxPro 2.6",
                                         "FOXPRO30|FoxPro 3.0",
                                         "ODBC|ODBC"};
  for (std::int16_t kind = -2; kind < 20; ++kind) {
    CAPTURE(kind);
    const auto word = ConnectTypeName(kind);
    REQUIRE(word.has_value() == (kind >= 3 && kind <= 14));  // else the caller keeps what it had
    if (word) {
      CHECK(std::string(TypeConnectName(kind)) + '|' + std::string(*word) == kWords[kind - 3]);
      CHECK(ParseTypeConnect(TypeConnectName(kind)) == kind);
    }
    CHECK(FileTypeFormatName(kind).empty() == (kind < 0 || kind > 14));
    if (kind >= 0 && kind <= 14) CHECK(ParseFileTypeFormat(FileTypeFormatName(kind)) == kind);
  }
  CHECK(FileTypeFormatName(7) == "TDBASE3");
  CHECK(ParseTypeConnect("dbase3") == 7);
  CHECK(ParseTypeConnect("12") == 12);
  for (const char* text : {"", "TDBASE3", "Paradox 3.x", "3x", "40000"}) {
    CAPTURE(text);
    CHECK_FALSE(ParseTypeConnect(text).has_value());
  }
}
