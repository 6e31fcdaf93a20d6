// Conformance: tables and fields by name, their listing, and the lifetime of what was opened.

#include <doctest/doctest.h>

#include "base/M_STRING.h"
#include "tests/conformance/fixture.h"

namespace kelvorin::tests {
namespace {

std::string ListOf(Database& database) {
  const auto tables = database.TableDefs();
  REQUIRE(Fault(tables.status()) == "");
  std::string names;
  for (const database::TableInfo& table : *tables)
    if ((table.Attributes & database::kAttrSystemObject) == 0)
      names += table.Name + (table.Attributes == 0 ? "\n" : " is no local table\n");
  return names;
}

void CheckTables(Fixture& fixture) {
  CHECK(ListOf(fixture.database()) == "");
  TableDef def;
  def.Name = "FIRST";
  def.Fields = {NumberField("ID"), TextField("NAME", 10)};
  fixture.Make(def);
  def.Name = "SECOND";
  def.Fields.push_back(TextField("MORE", 7));
  fixture.Make(def);
  CHECK(Number(fixture.database().CreateTable(def)) == Number(ErrorNumber::kTableExists));
  def.Name = "Second";  // the same name
  CHECK(Number(fixture.database().CreateTable(def)) == Number(ErrorNumber::kTableExists));
  fixture.Reopen();
  CHECK(ListOf(fixture.database()) == "FIRST\nSECOND\n");

  const auto found = fixture.database().FindTableDef("second");
  REQUIRE(Fault(found.status()) == "");
  CHECK(found->Name == "SECOND");
  CHECK(found->Updatable);
  REQUIRE(found->Fields.size() == 3);
  CHECK(found->Fields[2].Name == "MORE");
  CHECK(found->Fields[2].Type == TypeCode::kText);
  CHECK(found->Fields[2].Size == 7);

  const auto set = fixture.Open("Second");
  REQUIRE(Fault(Append(*set, {"1", "a", "b"})) == "");
  CHECK(Fault(set->Close()) == "");
  CHECK(Fault(fixture.database().DeleteTable("first")) == "");
  CHECK(fixture.database().DeleteTable("FIRST").code() == Code::kNotFound);
  fixture.Reopen();
  CHECK(ListOf(fixture.database()) == "SECOND\n");
  CHECK(fixture.Dump("SECOND") == "1|a|b\n");
  fixture.CheckSound();
}

void CheckFinding(Fixture& fixture) {
  const std::string table = fixture.MakePeople(1);
  fixture.Reopen();
  CHECK(("\n" + ListOf(fixture.database())).find("\n" + table + "\n") != std::string::npos);
  for (const auto type : {RecordsetType::kSnapshot, RecordsetType::kTable}) {
    if (type != RecordsetType::kSnapshot && fixture.backend.snapshots_only) break;
    const auto missing = fixture.database().OpenRecordset("NOWHERE", type);
    CHECK(Number(missing.status()) == Number(ErrorNumber::kTableNotFound));
    CHECK(missing.status().message().find("NOWHERE") != std::string_view::npos);
  }
  CHECK(fixture.database().FindTableDef("NOWHERE").status().code() == Code::kNotFound);
  const auto set = fixture.Open(table);
  CHECK(set->FieldCount() == 2);
  auto field = set->Fields("name");
  REQUIRE(Fault(field.status()) == "");
  std::string text;
  bool is_null = false;
  CHECK(Fault(field->GetText(text, is_null)) == "");
  CHECK(text == "name 1");
  REQUIRE(Fault(set->Close()) == "");
  CHECK(Fault(set->Close()) == "");  // harmless
  CHECK(Number(set->MoveNext()) == Number(ErrorNumber::kObjectInvalid));
}

void CheckClosing(Fixture& fixture) {
  const std::string table = fixture.MakePeople(1);
  {
    const auto set = fixture.Open(table);
    REQUIRE(Fault(Append(*set, {"2", "flushed"})) == "");
    CHECK(Fault(set->Flush()) == "");
    REQUIRE(Fault(Append(*set, {"3", "let go without Close"})) == "");
  }
  fixture.Reopen();
  CHECK(fixture.Dump(table) == "1|name 1\n2|flushed\n3|let go without Close\n");
  Database& database = fixture.database();
  CHECK(Fault(database.Close()) == "");
  CHECK(Fault(database.Close()) == "");  // harmless
  const int closed = Number(ErrorNumber::kObjectInvalid);
  CHECK(Number(database.TableDefs().status()) == closed);
  CHECK(Number(database.FindTableDef(table).status()) == closed);
  CHECK(Number(database.OpenRecordset(table, RecordsetType::kTable).status()) == closed);
  CHECK(Number(database.DeleteTable(table)) == closed);
}

}  // namespace

void CheckNames(Fixture& fixture) {
  SUBCASE("a table and its fields are found by name") {
    CheckFinding(fixture);
  }
  if (fixture.backend.snapshots_only) return;
  SUBCASE("tables and fields are found without regard to case") {
    CheckTables(fixture);
  }
  SUBCASE("what was stored is there after closing") {
    CheckClosing(fixture);
  }
}

}  // namespace kelvorin::tests
