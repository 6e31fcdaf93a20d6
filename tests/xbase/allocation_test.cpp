// Counts what appending and reading allocate: pages of the cache, and nothing per record or field.

#include <doctest/doctest.h>

#include "base/code_page.h"
#include "tests/support/allocations.h"
#include "tests/support/temp_folder.h"
#include "tests/xbase/xbase_support.h"

namespace kelvorin::tests {

TEST_CASE("appending and reading allocate nothing per record") {
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  constexpr int kRecords = 10'000;
  const TempFolder temp;
  Folder folder(temp.path(), "FoxPro 2.6");
  const TableDef def = MakeTable(
      "T", {MakeField("NAME", TypeCode::kText, 40), MakeField("AMT", TypeCode::kNumeric, 12, 2),
            MakeField("BORN", TypeCode::kDate), MakeField("NOTE", TypeCode::kMemo)});
  folder.Make(def);
  const Row row = {"a name longer than fifteen, \u00E9", "-1234.5", "2000-02-29",
                   "a note longer than fifteen letters, \u00E9"};
  auto set = folder.Open("T");
  CHECK(AllocationsIn(kRecords, [&](int) { REQUIRE(Append(*set, row).ok()); }) <
        kRecords / 10);  // pages of the cache
  REQUIRE(set->MoveFirst().ok());
  std::string text;
  bool null = false;
  CHECK(AllocationsIn(kRecords, [&](int) {
          for (std::size_t field = 0; field < row.size(); ++field)
            REQUIRE(set->Fields(field).GetText(text, null).ok());
          REQUIRE(set->MoveNext().ok());
        }) == 0);
  CHECK(text == row.back());
}

}  // namespace kelvorin::tests
