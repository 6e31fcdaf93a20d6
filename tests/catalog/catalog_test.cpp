// Connect strings, what a file name chooses, and which tables and fields are offered.

#include <doctest/doctest.h>

#include "catalog/connections.h"
#include "catalog/source_kinds.h"
#include "catalog/tables.h"
#include "database/connect_string.h"
#include "tests/engine/run_rig.h"

namespace kelvorin::tests {

using catalog::FileNameChange;

TEST_CASE("Connect strings are built key by key, and no value can add one") {
  contract::Properties p;
  p.DSN = "Sales";
  p.UserName = "ann";
  p.Password = "pw";
  const auto text = [&](std::int16_t kind, std::string_view kept = "kept") {
    return catalog::TargetConnectString(catalog::AddressFromProperties(p, kind, kept));
  };
  CHECK(text(14) == "ODBC;DSN=Sales;UID=ann;PWD=pw;");
  CHECK(text(3) == ";pwd=pw;");
  CHECK(text(4) == "Paradox 3.x;pwd=pw;");
  CHECK(text(10) == "FoxPro 20;pwd=pw;");
  CHECK(text(2) == "kept;pwd=pw;");
  p.DataBaseName = "stock";
  CHECK(text(14) == "ODBC;DSN=Sales;UID=ann;PWD=pw;Database=stock;");
  for (const char* hostile : {"a;DSN=evil", "x};UID=root", "{y", " z ", "a;b}c{d"}) {
    CAPTURE(hostile);
    p.DSN = p.UserName = p.Password = p.DataBaseName = hostile;
    const auto odbc = database::ConnectString::Parse(text(14));
    CHECK(odbc.pairs().size() == 4);
    for (const auto& [key, value] : odbc.pairs()) CHECK(value == hostile);
    CHECK(database::ConnectString::Parse(text(7)).password() == hostile);
  }
}

TEST_CASE("Kinds of sources have a family, and files the newest kind of theirs") {
  using catalog::Family;
  CHECK(catalog::FamilyOfFile("/a.db/x.Dbf") == Family::kXbase);
  CHECK(catalog::FamilyOfFile("x.db") == Family::kParadox);
  CHECK(catalog::FamilyOfFile("x.dbfs") == Family::kText);
  CHECK(catalog::NewestKind(Family::kXbase) == 13);
  CHECK(catalog::NewestKind(Family::kParadox) == 6);
  const TempFolder folder;
  WriteWhole(folder.File("cust.dbf"), "");
  catalog::Source source;
  source.SourceDBName = folder.path();
  source.file_name = "CUST";
  CHECK(catalog::SourceFilePath(contract::kDbase3, source) == folder.File("cust.dbf"));
  CHECK(catalog::SourceFilePath(contract::kParadox5, source) == folder.File("CUST.DB"));
  CHECK(catalog::FileFilterIndex(16) == 6);
  CHECK(catalog::FileFilterIndex(22) == 7);
  CHECK(catalog::IsSameTableFamily(7, 13));
  CHECK_FALSE(catalog::IsSameTableFamily(4, 7));
  CHECK_FALSE(catalog::IsSameTableFamily(0, 1));
}

TEST_CASE("A file name chooses the kind of source") {
  const TempFolder folder;
  for (const char* name : {"CUST.DBF", "Order.db", "list.csv"}) WriteWhole(folder.File(name), "x");
  struct Row {
    const char* name;  // in the folder
    std::int32_t kind;
    bool applying;
    FileNameChange change;
    std::int32_t new_kind;
    const char* connect;
  };
  const Row kRows[] = {
      {"CUST.DBF", 7, false, FileNameChange::kTableFile, 13, "FoxPro 3.0"},
      {"cust.dbf", 0, true, FileNameChange::kTableFile, 13, "FoxPro 3.0"},
      {"Order.db", 4, false, FileNameChange::kTableFile, 6, "Paradox 5.x"},
      {"list.csv", 7, false, FileNameChange::kTextFile, 0, ""},
      {"list.csv", 1, true, FileNameChange::kTextFile, 1, ""},
      {"none.dbf", 7, false, FileNameChange::kMissing, 7, ""},
      {"CUST.DBF", 3, false, FileNameChange::kIgnored, 3, ""},
      {"CUST.DBF", 14, false, FileNameChange::kIgnored, 14, ""},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    catalog::Source source;
    std::int32_t kind = row.kind;
    CHECK(catalog::ApplyFileName(folder.File(row.name), row.applying, kind, source) == row.change);
    CHECK(kind == row.new_kind);
    CHECK(source.SourceConnectString == row.connect);
    const bool table = row.change == FileNameChange::kTableFile;
    CHECK(source.SourceDBName == (table ? folder.path() : ""));
    if (table) CHECK(source.file_name == row.name);
    CHECK(source.exists == (table || row.change == FileNameChange::kTextFile));
  }
}

TEST_CASE("Sources are listed more freely than targets") {
  RunRig rig;
  const auto add = [&](const char* name, std::uint32_t attributes) {
    database::TableDef table = TableOf(name, {Text("A")});
    table.Attributes = attributes;
    rig.memory.AddTable("shop", table);
  };
  add("Linked", database::kAttrLinkedJet);
  add("MSys", 0x80000000);
  add("Hidden", 0);
  add("Orders", 0);
  rig.host.hidden = {"Hidden"};
  const auto sources = catalog::ListSourceTables(*rig.target.database);
  REQUIRE(sources.ok());
  CHECK(*sources == std::vector<std::string>{"Goods", "Linked", "Hidden", "Orders"});
  std::string name = "Orders";
  CHECK(catalog::SelectSourceTable(*sources, name) == 3);
  name = "orders";  // a source table is chosen by its exact name
  CHECK(catalog::SelectSourceTable(*sources, name) == 0);
  CHECK(name == "Goods");
  CHECK(catalog::SelectSourceTable({}, name) == -1);
  CHECK(name.empty());

  contract::Properties& p = rig.host.properties();
  auto targets = catalog::FillTargetTables(*rig.target.database, p, rig.host);
  REQUIRE(targets.ok());
  CHECK(targets->names == std::vector<std::string>{"Goods", "Orders"});
  CHECK(targets->table_name == "Goods");
  CHECK(p.MultiTable);
  p.tableName = "ORDERS";
  CHECK(catalog::FillTargetTables(*rig.target.database, p, rig.host)->table_name == "Orders");
  p.MultiTable = false;
  CHECK(catalog::FillTargetTables(*rig.target.database, p, rig.host)->fixed);

  const auto linked = catalog::OpenTableRecordset(*rig.target.database, "Linked", 3, rig.platform);
  REQUIRE(linked.ok());
  CHECK((*linked)->Type() == database::RecordsetType::kDynaset);
}

TEST_CASE("The field table holds the first 251 fields that the host lets pass") {
  std::vector<database::FieldDef> fields;
  for (int i = 0; i < 300; ++i) fields.push_back(Text("F" + std::to_string(i), 40000));
  RunRig rig(TableOf("Goods", fields));
  rig.host.hidden = {"F0", "F5"};
  rig.Holds({});
  REQUIRE(rig.target.fields.size() == 251);
  CHECK(rig.target.fields[4].Name == "F6");
  CHECK(rig.target.fields[4].position == 6);
  CHECK(rig.target.fields[4].Size == 32767);
  CHECK(rig.setting.FieldMap[250].Name == "F252");
  CHECK(rig.host.fields_asked == 600);
}

}  // namespace kelvorin::tests
