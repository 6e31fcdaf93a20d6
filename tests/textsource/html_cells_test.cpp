#include "textsource/html_cells.h"

#include <doctest/doctest.h>

#include "base/code_page.h"
#include "tests/textsource/slow_twin.h"

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
