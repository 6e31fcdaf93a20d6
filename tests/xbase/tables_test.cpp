// Making tables and changing them: what stands in the files afterwards.

#include "base/code_page.h"
#include "tests/support/temp_folder.h"
#include "tests/xbase/xbase_support.h"

#include <doctest/doctest.h>

namespace kelvorin::tests {
namespace {

using enum TypeCode;

struct Kind {
  const char* connect;
  unsigned char version;
  const char* memo_extension;
};
const Kind kKinds[] = {
    {"dBASE III", 0x83, "DBT"},  {"dBASE IV", 0x8B, "DBT"},   {"dBASE 5.0", 0x8B, "DBT"},
    {"FoxPro 20", 0xF5, "FPT"},  {"FoxPro 2.5", 0xF5, "FPT"}, {"FoxPro 2.6", 0xF5, "FPT"},
    {"FoxPro 3.0", 0x30, "FPT"},
};

}  // namespace

TEST_CASE("a table of each kind keeps what is appended, changed and deleted") {
  for (const Kind& kind : kKinds) {
    CAPTURE(std::string(kind.connect));
    TempFolder temp;
    Folder folder(temp.path(), kind.connect);
    const TableDef def =
        MakeTable("CUST", {MakeField("Name", kText, 20), MakeField("Amount", kNumeric, 10, 2),
                           MakeField("Born", kDate), MakeField("Active", kBoolean),
                           MakeField("Visits", kLong), MakeField("Ratio", kDouble),
                           MakeField("Notes", kMemo)});
    const Status made = folder->CreateTable(def);
    CHECK_MESSAGE(made.ok(), made.message());
    CHECK(static_cast<unsigned char>(ReadWhole(temp.File("CUST.DBF"))[0]) == kind.version);
    const std::vector<Row> rows = {
        {"Ann", "12.50", "1999-12-31", "True", "7", "0.25", "first"},
        {"", "<null>", "<null>", "<null>", "<null>", "<null>", "<null>"},
        {"Bob", "-999999.99", "2000-02-29", "False", "-7", "-3.5", std::string(3000, 'x')},
    };
    {
      auto set = folder.Open("cust");
      for (const Row& row : rows) {
        const Status added = folder.Append(*set, row);
        CHECK_MESSAGE(added.ok(), added.message());
      }
      CHECK(set->Close().ok());
    }
    std::vector<Row> expected = rows;
    expected[0][1] = "12.5";
    CHECK(Show(folder.ReadAll("CUST.DBF")) == Show(expected));
    {
      auto set = folder.Open("CUST");
      CHECK(folder.Change(*set, 6, "a much longer note " + std::string(900, 'n')).ok());
      CHECK(folder.Change(*set, 1, "0.005").ok());
      CHECK(set->MoveNext().ok());
      CHECK(set->Delete().ok());
      CHECK(set->RecordCount().value_or(0) == 2);
      CHECK(set->Close().ok());
    }
    expected[0][6] = "a much longer note " + std::string(900, 'n');
    expected[0][1] = "0.01";
    expected.erase(expected.begin() + 1);
    CHECK(Show(folder.ReadAll("CUST")) == Show(expected));
    const auto problems = folder->Inspect();
    REQUIRE(problems.ok());
    CHECK_MESSAGE(problems->empty(), Show(*problems));
    const std::string file = ReadWhole(temp.File("CUST.DBF"));
    CHECK(file.back() == '\x1A');
    CHECK(file[4] == 3);
  }
}

}  // namespace kelvorin::tests
