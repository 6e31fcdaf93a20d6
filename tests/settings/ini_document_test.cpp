#include "settings/ini_document.h"

#include <doctest/doctest.h>

#include <string>
#include <vector>

using namespace kelvorin::settings;

namespace {

std::string Join(const IniDocument& document, std::string_view section) {
  std::string text;
  for (const IniEntry& entry : document.Entries(section))
    text += std::string(entry.key) + '=' + std::string(entry.value) + '|';
  return text;
}

}  // namespace

TEST_CASE("what a line says") {
  struct Row {
    const char* name;
    const char* text;
    const char* section;
    std::string entries;
  };
  const Row kRows[] = {
      {"sections and keys in any case and between blanks", " [ J\xC3\x96 ] \n X = 1 ", "j\xC3\xB6",
       "X=1|"},
      {"one pair of quotes is taken off", "[a]\nx=\" 1 \"\ny='q'\nz=\"\"w\"\"\nv=\"\n", "a",
       "x= 1 |y=q|z=\"w\"|v=\"|"},
      {"values may hold the sign and semicolons", "[a]\nx=1=2;3\n", "a", "x=1=2;3|"},
      {"comments, junk and lines without a key", "[a]\n;x=1\njunk\n=1\n# y\nz=\n", "a", "z=|"},
      {"sections of equal name count as one", "[a]\nx=1\n[b]\ny=2\n[A]\nz=3\n", "a", "x=1|z=3|"},
      {"a comment behind a header", "[a] ; b=c\nx=1\n", "a", "x=1|"},
      {"a bracket in a name", "[a]b]\nx=1\n", "a]b", "x=1|"},
      {"a key that was named in brackets", "[settings]\n[x]=\ny=\n", "settings", "[x]=|y=|"},
      {"a mark of UTF-8 in front", "\xEF\xBB\xBF[a]\nx=1", "a", "x=1|"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    CHECK(Join(IniDocument(row.text), row.section) == row.entries);
  }
  CHECK(IniDocument("[a]\nx=1\nX=2\n").Value("A", " x ") == "1");
}

TEST_CASE("changes touch only their line") {
  const std::string text = "; top\r\n[a]\r\n; of a\r\n X = 1 \r\n\r\n; before b\r\n[b]\r\ny=2";
  struct Row {
    void (*change)(IniDocument&);
    std::string from;  // this part of the text becomes the other
    std::string to;
  };
  const Row kRows[] = {
      {[](IniDocument& d) { d.SetValue("A", "x", "22"); }, "X = 1 ", "X = 22 "},
      {[](IniDocument& d) { d.SetValue("a", "z", ""); }, "X = 1 \r\n", "X = 1 \r\nz=\r\n"},
      {[](IniDocument& d) { d.SetValue("b", "z", "3"); }, "y=2", "y=2\r\nz=3\r\n"},
      {[](IniDocument& d) { d.SetValue("c", "z", " 3"); }, "y=2", "y=2\r\n\r\n[c]\r\nz=\" 3\"\r\n"},
      {[](IniDocument& d) { d.SetValue("b", "y", "3\r\n[c]\nx=1"); }, "y=2", "y=3"},
      {[](IniDocument& d) { d.DeleteKey("a", "x"); }, " X = 1 \r\n", ""},
      // Comments outlive their section.
      {[](IniDocument& d) { d.DeleteSection(" a "); }, "[a]\r\n; of a\r\n X = 1 \r\n",
       "; of a\r\n"},
      {[](IniDocument& d) {
         d.ReplaceSection("a", std::vector<IniEntry>{{"p", "1"}, {"q", ""}});
       },
       " X = 1 \r\n", "p=1\r\nq=\r\n"},
      {[](IniDocument& d) {
         d.ReplaceSection("B", std::vector<IniEntry>{{"p", "'1'"}});
       },
       "y=2", "p=\"'1'\"\r\n"},
      {[](IniDocument& d) {
         d.DeleteSection("z"), d.DeleteKey("b", "z"), d.SetValue("b", " ", "v");
       },
       "", ""},
  };
  for (const Row& row : kRows) {
    std::string expected = text;
    expected.replace(text.find(row.from), row.from.size(), row.to);
    IniDocument document(text);
    row.change(document);
    CHECK(document.Text() == expected);
  }
  const std::pair<const char*, const char*> kReplaced[] = {
      {"[a]\nx=1\n[b]\n[A]\nx=2\njunk\n; c\n", "[a]\nx=3\n[b]\n; c\n"},
      {"[a]\n; c\n\n[b]\n", "[a]\nx=3\n; c\n\n[b]\n"},
      {"\xEF\xBB\xBF[a]\n", "\xEF\xBB\xBF[a]\nx=3\n"},
      {"[a]", "[a]\nx=3\n"}};
  for (const auto& [before, after] : kReplaced) {
    IniDocument document(before);
    document.ReplaceSection("a", std::vector<IniEntry>{{"x", "3"}});
    CHECK(document.Text() == std::string(after));
  }
}
