#include "textsource/html_cells.h"

#include <doctest/doctest.h>

#include "base/M_Misc.h"
#include "base/code_page.h"
#include "tests/support/temp_folder.h"
#include "tests/textsource/slow_twin.h"
#include "textsource/record_reader.h"

using namespace kelvorin;
using namespace kelvorin::tests;
using namespace kelvorin::textsource;

namespace {

Fields Cells(std::string row) {
  FieldValues values;
  CHECK(SplitRules::HtmlCells().Split(row, values).ok());
  Fields fields;
  for (std::size_t i = 0; i < values.count(); ++i) fields.emplace_back(values[i]);
  return fields;
}

}  // namespace

TEST_CASE("cells of a row as a browser shows them") {
  struct Row {
    const char* row;
    Fields cells;
  };
  const Row kRows[] = {
      {"<tr><td>a</td><TH>b</TH></tr>", {"a", "b"}},
      {"<tr>x<td>a<td>b</tr>", {"a", "b"}},
      {"<tr><td></td><td>&nbsp;</td></tr>", {"", ""}},
      {"<td title=\"a>b\" x='>'>a</td>", {"a"}},
      {"<td>a\r\n  b\tc </td>", {"a b c"}},
      {"<td><b>a</b><i>b</i> c<br>d</td>", {"ab c d"}},
      {"<td>K&ouml;ln &amp; Bonn &lt;&#65;&#x42;&gt;</td>", {"K\xC3\xB6ln & Bonn <AB>"}},
      {"<td>a &foo; & b &#xD800; &#; a<b 1 < 2</td>", {"a &foo; & b &#xD800; &#; a"}},
      {"<td>1 < 2 <!-- <td>x</td> --> 3</td>", {"1 < 2 3"}},
      {"<td>a<table>", {"a"}},
      {"", {}},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.row);
    CHECK(Show(Cells(row.row)) == Show(row.cells));
  }
  REQUIRE(base::SetAnsiPage(1252).ok());
  const Fields western = Cells("<td>&ouml;&alpha;</td>");
  REQUIRE(base::SetAnsiPage(65001).ok());
  CHECK(western[0] == "\xF6&alpha;");  // what the page lacks stays as it is written
}

TEST_CASE("a row without an end is looked for as far as the next one, not to the block's end") {
  TempFolder folder;
  const auto nanoseconds = [&](const char* row) {
    std::string text;
    while (text.size() < 600'000) text += row;
    WriteWhole(folder.File("t"), text);
    RecordFormat format;
    format.html_rows = true;
    auto reader = RecordReader::Open(folder.File("t"), format);
    REQUIRE(reader.ok());
    const std::int64_t start = base::CpuNanoseconds();
    std::span<char> record;
    while (!reader->AtEnd()) REQUIRE(reader->ReadRecord(record).ok());
    return base::CpuNanoseconds() - start;
  };
  const std::int64_t ended = nanoseconds("<tr><td>1</td></tr>");
  CHECK(nanoseconds("<tr><td>1</td><b>") < 20 * ended);  // else a thousand times as many
}
