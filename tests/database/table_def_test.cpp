#include "database/table_def.h"

#include <doctest/doctest.h>

#include "base/code_page.h"

namespace kelvorin::database {
namespace {

TEST_CASE("the key of an index as one text, both ways") {
  struct Row {
    std::string text;
    std::vector<IndexField> columns;
    std::string written;
  };
  const Row rows[] = {
      {"", {}, ""},
      {"+A", {{"A", false}}, "+A"},
      {"+A;-B C", {{"A", false}, {"B C", true}}, "+A;-B C"},
      {"A;B", {{"A", false}, {"B", false}}, "+A;+B"},
      {";+A;;", {{"A", false}}, "+A"},
      {"+-A;-+B", {{"-A", false}, {"+B", true}}, "+-A;-+B"},
  };
  for (const Row& row : rows) {
    CAPTURE(row.text);
    IndexDef index;
    index.Columns = ParseIndexFields(row.text);
    CHECK((index.Columns == row.columns));
    CHECK(index.Fields() == row.written);
  }
}

TEST_CASE("fields and indexes are found without regard to case, letters beyond ASCII too") {
  const int before = base::AnsiPage().number();
  REQUIRE(base::SetAnsiPage(base::kUtf8Page).ok());
  TableDef table;
  for (const char* name : {"ID", "Stra\u00DFe", "\u00C4RZTE", "id"}) {
    table.Fields.emplace_back();
    table.Fields.back().Name = name;
  }
  CHECK(table.FindField("id") == 3);  // its own spelling before any other
  CHECK(table.FindField("Id") == 0);  // else the first of two
  CHECK(table.FindField("\u00E4rzte") == 2);
  CHECK(table.FindField("Strase") == -1);
  CHECK(table.FindField("") == -1);
  IndexDef primary;
  primary.Name = "PrimaryKey";
  primary.Aliases = {"CUSTOMER"};
  IndexDef customer;
  customer.Name = "Customer";
  table.Indexes = {primary};
  CHECK(table.FindIndex("customer") == &table.Indexes[0]);
  CHECK(table.FindIndex("") == nullptr);
  table.Indexes = {primary, customer};
  CHECK(table.FindIndex("customer") == &table.Indexes[1]);  // a name before an alias
  CHECK(table.FindIndex("PRIMARYKEY") == &table.Indexes[0]);
  REQUIRE(base::SetAnsiPage(before).ok());
}

}  // namespace
}  // namespace kelvorin::database
