// Code pages and case pairs over any bytes: what cannot be represented is counted, whole texts
// return as they were, cutting never leaves half a character. Input: a page and a text.

#include <algorithm>
#include <cstdint>

#include "base/case_map.h"
#include "base/code_page.h"
#include "base/code_page_tables.h"
#include "fuzz/require.h"

using namespace kelvorin::base;
using kelvorin::fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data) + 2, size - 2);
  const auto tables = PageTables();
  const CodePage& page = *FindCodePage(tables[data[0] % tables.size()].number);
  const CodePage& utf8 = *FindCodePage(kUtf8Page);
  const Converter to_utf8(page, utf8);
  const Converter from_utf8(utf8, page);

  std::string there;
  std::string back;
  Require(to_utf8.Append(text, there) == 0, "UTF-8 has every character");
  Require(from_utf8.Append(there, back) == 0 && back == text, "the bytes return");

  for (const int number : {kUtf8Page, page.number()}) {
    Require(SetAnsiPage(number).ok(), "the page is known");
    const std::size_t count = CountCharacters(text);
    const std::string_view front = CutToCharacters(text, data[1]);
    Require(text.starts_with(front), "a cut is a front");
    Require(CountCharacters(front) == std::min<std::size_t>(count, data[1]), "cut to the count");
    std::string narrow;
    Require(Converter(AnsiPage(), page).Append(text, narrow) <= count, "lost are characters");
    Require(narrow.size() == count, "one byte for each character");
    std::string upper;
    std::string lower;
    std::string again;
    AppendUpper(text, upper);
    AppendLower(text, lower);
    AppendUpper(upper, again);
    Require(again == upper, "upper case stays upper case");
    Require(CountCharacters(upper) == count && CountCharacters(lower) == count,
            "case keeps the number of characters");
  }
  return 0;
}
