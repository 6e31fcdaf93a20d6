#include "base/code_page.h"

#include <doctest/doctest.h>

#include "base/case_map.h"
#include "base/code_page_tables.h"

using namespace kelvorin::base;

namespace {

std::string AllBytes() {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  return all;
}

struct Converted {
  std::string text;
  std::size_t lost;
  bool operator==(const Converted&) const = default;
};

Converted Convert(int from, int to, std::string_view in) {
  Converted result{"", 0};
  result.lost = Converter(*FindCodePage(from), *FindCodePage(to)).Append(in, result.text);
  return result;
}

std::string Case(void (*append)(std::string_view, std::string&), std::string_view text) {
  std::string out;
  append(text, out);
  return out;
}

}  // namespace

TEST_CASE("every byte of every page returns from UTF-8 as it was") {
  for (const PageTable& table : PageTables()) {
    CAPTURE(table.number);
    const Converted there = Convert(table.number, kUtf8Page, AllBytes());
    CHECK(there.lost == 0);
    CHECK(Convert(kUtf8Page, table.number, there.text) == Converted{AllBytes(), 0});
    CHECK(Convert(table.number, table.number, AllBytes()) == Converted{AllBytes(), 0});
  }
}

TEST_CASE("characters stand where their pages have them") {
  struct Row {
    int page;
    const char* bytes;
    const char* utf8;
  };
  const Row kRows[] = {
      {437, "\x80\x82\xE1\xEE\xC9", "Çéßε╔"},
      {850, "\x9B\xD5\xE9", "øıÚ"},
      {852, "\xA5\x88\x9F", "ąłč"},
      {866, "\x80\xAF\xF1", "Апё"},
      {1250, "\xB3\xE8\x8A", "łčŠ"},
      {1251, "\xC0\xFF\xB8", "Аяё"},
      {1252, "\x80\xE9\x9C\xFF", "€éœÿ"},
      {1253, "\xC1\xE1\xB5", "Αα\xC2\xB5"},
      {1254, "\xDD\xFD\xF0", "İığ"},
      {10000, "\x8E\xDE\xDF", "éﬁﬂ"},
      {737, "\x80\x98", "Αα"},
      {857, "\x8D\x98\xA7", "ıİğ"},
      {620, "\x86\x92\xA7\x95", "ąłżĆ"},
      {895, "\x87\xA9\x96\x8C", "čřůľ"},
      {28605, "\xA4\xBD", "€œ"},
      {20866, "\xC1\xF1", "аЯ"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.page);
    CHECK(Convert(row.page, kUtf8Page, row.bytes) == Converted{row.utf8, 0});
  }
  CHECK(FindCodePage(932) == nullptr);
}

TEST_CASE("what a page lacks becomes similar or a question mark, and is counted") {
  CHECK(Convert(kUtf8Page, 866, "café “Ж” 中") == Converted{"cafe \"\x86\" ?", 4});
  CHECK(Convert(kUtf8Page, 1252, "Łódź Ａ ─│") == Converted{"L\363dz A -\246", 5});
  CHECK(Convert(kUtf8Page, 437, "ấ│") == Converted{"a\xB3", 1});
  CHECK(Convert(1250, 1252, "\xE8\x41") == Converted{"cA", 1});
  CHECK(Convert(850, 1252, "\x82\x80") == Converted{"\xE9\xC7", 0});
}

TEST_CASE("bytes that are no UTF-8 are lost one by one and harm nobody") {
  struct Row {
    std::string in;
    Converted out;
  };
  const Row kRows[] = {
      {"a\x80z", {"a?z", 1}},
      {"\xC3", {"?", 1}},
      {"\xC3(", {"?(", 1}},
      {"\xE2\x82", {"?", 1}},
      {"\xC0\xAF\xE0\x80", {"????", 4}},  // not the shortest form
      {"\xED\xA0\x80", {"???", 3}},       // a surrogate
      {"\xF4\x90\x80\x80", {"????", 4}},  // beyond the last character
      {"\xF0\x9F\x98\x80!", {"?!", 1}},   // well formed, not in the page
      {"\xE2\x82\xAC\xFF", {"\x80?", 1}},
  };
  for (const Row& row : kRows) CHECK(Convert(kUtf8Page, 1252, row.in) == row.out);
}

TEST_CASE("characters are counted and cut whole") {
  REQUIRE(SetAnsiPage(kUtf8Page).ok());
  CHECK(CountCharacters("añ€😀\xFFz") == 6);
  CHECK(CutToCharacters("añ€😀z", 3) == "añ€");
  CHECK(CutToCharacters("añ€", 2) == "añ");
  CHECK(CutToCharacters("ñ", 1) == "ñ");
  CHECK(CutToCharacters("abc", 0).empty());
  CHECK(CutToCharacters(std::string(300, 'x') + "é", 255).size() == 255);
  REQUIRE(SetAnsiPage(1252).ok());
  CHECK(CountCharacters("ñ") == 2);
  CHECK(CutToCharacters("\xE9\xE8\xE7", 2) == "\xE9\xE8");
  REQUIRE(SetAnsiPage(kUtf8Page).ok());
}

TEST_CASE("the pages of the process") {
  CHECK(SetAnsiPage(932).code() == kelvorin::Code::kNotSupported);
  REQUIRE(SetAnsiPage(1251).ok());
  CHECK(OemPage().number() == 866);
  REQUIRE(SetAnsiPage(1253).ok());
  CHECK(OemPage().number() == 737);  // follows until somebody chooses
  REQUIRE(SetOemPage(437).ok());
  REQUIRE(SetAnsiPage(1251).ok());
  CHECK(OemPage().number() == 437);
  REQUIRE(SetAnsiPage(1252).ok());
  std::string out = "x";
  CHECK(OemToAnsiText("\x82t\x82", out) == 0);
  CHECK(out == "x\xE9t\xE9");
  REQUIRE(SetAnsiPage(kUtf8Page).ok());
  CHECK(OemToAnsiText("\x82", out) == 0);
  CHECK(out == "x\xE9t\xE9é");
  AppendUtf8(0xD800, out);  // half of a pair is no character
  CHECK(out.ends_with("é\xEF\xBF\xBD"));

  CHECK(PageOfCharset("UTF-8") == kUtf8Page);
  CHECK(PageOfCharset("ANSI_X3.4-1968") == kUtf8Page);
  CHECK(PageOfCharset("ISO-8859-1") == 1252);
  CHECK(PageOfCharset("iso88592") == 28592);
  CHECK(PageOfCharset("CP1251") == 1251);
  CHECK(PageOfCharset("EUC-JP") == 1252);
  CHECK(OemPageBeside(kUtf8Page, "C") == 437);
  CHECK(OemPageBeside(1252, "en_US.ISO-8859-1") == 437);
  CHECK(OemPageBeside(kUtf8Page, "de_CH.UTF-8@euro") == 850);
  CHECK(OemPageBeside(kUtf8Page, "pl_PL.UTF-8") == 852);
  CHECK(OemPageBeside(1253, "C") == 737);
}

TEST_CASE("upper and lower case") {
  struct Row {
    int page;
    const char* text;
    const char* upper;
    const char* lower;
  };
  const Row kRows[] = {
      {65001, "Straße 9", "STRAßE 9", "straße 9"},
      {65001, "ñÑ éÉ ÿŸ", "ÑÑ ÉÉ ŸŸ", "ññ éé ÿÿ"},
      {65001, "Жж Σςσ", "ЖЖ ΣΣΣ", "жж σςσ"},
      {65001, "ıİ ſ ⱥȺ", "Iİ S ȺȺ", "ıi ſ ⱥⱥ"},
      {65001, "ǆǅǄ 𐐨𐐀", "ǄǄǄ 𐐀𐐀", "ǆǆǆ 𐐨𐐨"},
      {65001, "a\377b\303", "A\377B\303", "a\377b\303"},
      {1252, "\xE9\xFF\xB5\xDF\xF7", "\xC9\x9F\xB5\xDF\xF7", "\xE9\xFF\xB5\xDF\xF7"},
      {1251, "\xC0\xE0\xB8", "\xC0\xC0\xA8", "\xE0\xE0\xB8"},
      {437, "\x81\x9A\xE4", "\x9A\x9A\xE4", "\x81\x81\xE5"},
  };
  for (const Row& row : kRows) {
    REQUIRE(SetAnsiPage(row.page).ok());
    CAPTURE(std::string(row.text));
    CHECK(Case(AppendUpper, row.text) == row.upper);
    CHECK(Case(AppendLower, row.text) == row.lower);
  }
  REQUIRE(SetAnsiPage(kUtf8Page).ok());
  CHECK(EqualAnyCase("Ärger.DBF", "äRGER.dbf"));
  CHECK_FALSE(EqualAnyCase("Ärger", "Arger"));
}

TEST_CASE("the case tables hold Unicode's pairs and no others") {
  int upper = 0;
  int lower = 0;
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    upper += UpperCharacter(c) != c ? 1 : 0;
    lower += LowerCharacter(c) != c ? 1 : 0;
  }
  CHECK(upper == 1450);  // as many as the data file of Unicode 15 has
  CHECK(lower == 1433);
}
