#include "textsource/field_splitter.h"

#include <doctest/doctest.h>

#include "base/code_page.h"
#include "tests/textsource/slow_twin.h"

using namespace kelvorin;
using namespace kelvorin::tests;
using textsource::BreakList;
using textsource::FieldValues;
using textsource::SplitRules;

namespace {

Fields Split(const SplitRules& rules, std::string record) {
  FieldValues values;
  record += rules.delimiter();  // belongs to the next record
  const Status status = rules.Split(std::span<char>(record).first(record.size() - 1), values);
  Fields fields;
  for (std::size_t i = 0; i < values.count(); ++i) fields.emplace_back(values[i]);
  if (!status.ok()) fields.emplace_back("!");
  return fields;
}

BreakList Breaks(const std::vector<unsigned>& positions) {
  BreakList list;
  for (const unsigned p : positions) {
    REQUIRE(list.AddFixedBreak(static_cast<std::uint16_t>(p)).ok());
  }
  return list;
}

}  // namespace

TEST_CASE("delimited records") {
  struct Row {
    std::string name;
    const char* separators;
    char delimiter;
    const char* record;
    Fields fields;
  };
  const Row kRows[] = {
      {"quoted separator, empty fields", ",", '"', R"("a,b",c,,)", {"a,b", "c", "", ""}},
      {"quote opens in mid-field", ",", '"', R"(a"b,c"d)", {"ab,cd"}},
      {"doubled delimiter inside", ",", '"', R"("a""b",c)", {"a\"b", "c"}},
      {"doubled delimiter and separator", ",", '"', R"("a"",b",c)", {"a\",b", "c"}},
      {"doubled delimiter alone is an empty quoted text", ",", '"', R"("",x)", {"", "x"}},
      {"three delimiters stay open", ",", '"', R"(""",x)", {"\",x"}},
      {"four delimiters are one", ",", '"', R"("""",x)", {"\"", "x"}},
      {"doubled outside opens and closes", ",", '"', R"(a"",b)", {"a", "b"}},
      {"never closed", ",", '"', R"(a,"b,c)", {"a", "b,c"}},
      {"no delimiter", ",", '\0', R"("a,b")", {"\"a", "b\""}},
      {"single quotes", ",", '\'', R"('a,b',"c,d")", {"a,b", "\"c", "d\""}},
      {"blanks stay", ",", '"', R"( a , "b" )", {" a ", " b "}},
      {"several separators", ",\t", '"', "a,b\tc;d", {"a", "b", "c;d"}},
      {"delimiter that is a separator ends fields", ",\"", '"', R"(a"b,c)", {"a", "b", "c"}},
      {"no separators", "", '"', R"(a,"b")", {"a,b"}},
      {"empty record", ",", '"', "", {""}},
      {"characters above 127", "\xA7", '\xAB', "a\xA7\xAB\xA7\xAB?", {"a", "\xA7?"}},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    const auto rules = SplitRules::Delimited(row.separators, row.delimiter);
    CHECK(Show(Split(rules, row.record)) == Show(row.fields));
    CHECK(Show(SlowDelimited(row.record, row.separators, row.delimiter)) == Show(row.fields));
  }
}

TEST_CASE("HTML rows") {
  struct Row {
    std::string name;
    const char* record;
    Fields fields;
  };
  const Row kRows[] = {
      {"the row's own closing tag ends a field", "<tr><td>a</td><td>b</td></tr>", {"a", "b", ""}},
      {"text before a tag is discarded", "<td>a<b>c</b></td>", {"c", ""}},
      {"closing tag at the very start ends none", "</tr><td>a</td>", {"a"}},
      {"closing tag at the second position", "x</tr>", {"x"}},
      {"text after the last tag is no field", "<td>a</td>b", {"a"}},
      {"> outside a tag is data", "a>b</td>", {"a>b"}},
      {"< inside a tag is dropped", "<td <i>a</td>", {"a"}},
      {"tag that never ends", "<td>a</td", {"a"}},
      {"bare < at the end", "<td>a<", {}},
      {"no tags", "a,b", {}},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    CHECK(Show(Split(SplitRules::HtmlTags(), row.record)) == Show(row.fields));
    CHECK(Show(SlowHtml(row.record)) == Show(row.fields));
  }
}

TEST_CASE("a separator of several bytes is taken whole, and no delimiter is no character") {
  REQUIRE(kelvorin::base::SetAnsiPage(kelvorin::base::kUtf8Page).ok());
  CHECK(Split(SplitRules::Delimited("\u00A7", '"'), "a\u00A7\"b\u00A7\"\u00A7\u00A9") ==
        Fields{"a", "b\u00A7", "\u00A9"});
  FieldValues values;
  char record[] = {'a', '\0', 'b', ',', '\0', 'c'};
  REQUIRE(SplitRules::Delimited(",", '\0').Split(record, values).ok());
  REQUIRE(values.count() == 2);
  CHECK(values[0] == std::string_view("a\0b", 3));
  CHECK(values[1] == std::string_view("\0c", 2));
}

TEST_CASE("fixed columns") {
  const auto fields = [](const std::vector<unsigned>& breaks, const char* record) {
    return Show(Split(SplitRules::Fixed(Breaks(breaks)), record));
  };
  CHECK(fields({3, 7}, "ABCDEFGHIJ") == "[ABC][DEFG]");
  CHECK(fields({7, 3}, "ABCDEFGHIJ") == "[ABC][DEFG]");
  CHECK(fields({3, 7, 65534}, "ABCDE") == "[ABC][DE][]");
  CHECK(fields({0, 2}, "AB") == "[][AB]");
  CHECK(fields({}, "AB").empty());
}

TEST_CASE("field 252 is out of range and the first 251 are filled") {
  FieldValues values;
  for (const std::size_t separators : {250, 251, 300}) {
    CAPTURE(separators);
    std::string commas(separators, ',');
    std::string cells;
    for (std::size_t i = 0; i <= separators; ++i) cells += "<td>x</td>";
    const bool fits = separators == 250;
    const Status delimited = SplitRules::Delimited(",", '"').Split(commas, values);
    CHECK(delimited.code() == (fits ? Code::kOk : Code::kOutOfRange));
    CHECK(values.count() == 251);
    const Status html = SplitRules::HtmlTags().Split(cells, values);
    CHECK(html.code() == (fits ? Code::kOk : Code::kOutOfRange));
    CHECK(values.count() == 251);
    CHECK(values[250] == "x");
  }
  std::string record = "a";
  REQUIRE(SplitRules::Delimited(",", '"').Split(record, values).ok());
  CHECK(values[1].empty());  // nothing of an earlier record is left
}

TEST_CASE("the break list keeps holes until it is compacted") {
  BreakList list = Breaks({30, 10, 20});
  CHECK(list.FixedBreakExist(10) == 1);
  CHECK(list.FixedBreakExist(11) == base::kNoBreak);
  CHECK(list.FixedBreakExistButNoSelf(10, 1) == -1);
  CHECK(list.FixedBreakExistButNoSelf(10, 0) == 1);
  REQUIRE(list.AddFixedBreak(20).ok());  // there already
  CHECK(list.count() == 3);
  list.DeleteFixedBreak(10);
  list.DeleteFixedBreak(99);
  CHECK(list.count() == 3);
  CHECK(list[1] == base::kNoBreak);
  REQUIRE(list.AddFixedBreak(10).ok());
  CHECK(list.count() == 4);  // the hole is not reused
  CHECK(list.CompactArray() == 3);
  CHECK(list.count() == 4);
  list.SetCount(3);
  list.QuickSort(0, 2);
  CHECK(list == Breaks({10, 20, 30}));
}

TEST_CASE("a full break list is compacted before it refuses") {
  BreakList list;
  for (std::uint16_t p = 0; p < 251; ++p) REQUIRE(list.AddFixedBreak(p).ok());
  CHECK(list.AddFixedBreak(300).code() == Code::kOutOfRange);
  CHECK(list.count() == 251);
  list.DeleteFixedBreak(0);
  list.DeleteFixedBreak(7);
  REQUIRE(list.AddFixedBreak(300).ok());
  CHECK(list.count() == 250);
  CHECK(list[249] == 300);
  CHECK(list[0] == 1);
}
