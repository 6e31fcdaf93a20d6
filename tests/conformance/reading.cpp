// Conformance of tables that only others fill: what a snapshot reads, and how far it can go.

#include <doctest/doctest.h>

#include "database/api/sql_text.h"
#include "database/values/value_format.h"
#include "tests/conformance/fixture.h"

namespace kelvorin::tests {
namespace {

void CheckTypes(Fixture& fixture) {
  for (const TypeCase& type : fixture.backend.types) {
    CAPTURE(static_cast<int>(type.declared));
    TableDef def;
    def.Fields = {NumberField("ID"), TextField("VALUE", type.size), TextField("BEHIND", 10)};
    def.Fields[1].Type = type.declared;
    def.Fields[1].Decimals = type.decimals;
    std::vector<Texts> records = {{"0", "<null>", "behind"}};
    std::string expected = "0|" + type.null_text + "|behind\n";
    for (const std::string& text : type.texts) {
      const std::string id = std::to_string(records.size());
      records.push_back({id, text, "behind"});
      expected +=
          id + "|" + (text.empty() && !fixture.backend.empty_text ? "<null>" : text) + "|behind\n";
    }
    const std::string table = fixture.MakeFilled(def, records);
    CHECK(fixture.Dump(table) == expected);
    CHECK(fixture.Open(table)->Fields(1).Type() == type.stored);
  }
}

// Texts around the sizes of the blocks in which drivers fetch.
void CheckLengths(Fixture& fixture) {
  TableDef def;
  def.Fields = {NumberField("ID"), TextField("NOTE", 0), TextField("BEHIND", 10)};
  def.Fields[1].Type = TypeCode::kMemo;
  std::vector<Texts> records;
  for (const std::size_t length : {1u, 255u, 256u, 1023u, 1024u, 1025u, 65535u, 65536u, 200'000u})
    if (length <= fixture.backend.longest_memo)
      records.push_back({std::to_string(length), std::string(length - 1, 'x') + "y", "behind"});
  const auto set = fixture.Open(fixture.MakeFilled(def, records));
  for (const Texts& record : records) {
    CAPTURE(record[0]);
    const bool same = fixture.TextOf(*set, 1) == record[1];
    CHECK(same);
    CHECK(fixture.TextOf(*set, 2) == "behind");
    CHECK(fixture.TextOf(*set, 0) == record[0]);  // in any order, and again
    REQUIRE(Fault(set->MoveNext()) == "");
  }
  CHECK(set->Eof());
}

void CheckFarMoves(Fixture& fixture) {
  const int count = static_cast<int>(fixture.backend.many_records);
  const auto set = fixture.Open(fixture.MakePeople(count));
  const auto id = [&](int n) { return fixture.TextOf(*set, 0) == std::to_string(n); };
  // As a run does it: count, go to its first record, read to the end.
  REQUIRE(Fault(set->MoveLast()) == "");
  CHECK(id(count));
  REQUIRE(Fault(set->MoveFirst()) == "");
  CHECK(set->RecordCount().value_or(-1) == count);
  REQUIRE(Fault(set->Move(count / 2)) == "");
  int wrong = 0;
  for (int n = count / 2 + 1; n <= count; ++n) {
    wrong += id(n) ? 0 : 1;
    REQUIRE(Fault(set->MoveNext()) == "");
  }
  CHECK(wrong == 0);
  CHECK(set->Eof());
  REQUIRE(Fault(set->MovePrevious()) == "");
  CHECK(id(count));
  REQUIRE(Fault(set->Move(-(count - 1))) == "");
  CHECK(id(1));
  database::Bookmark first;
  REQUIRE(Fault(set->GetBookmark(first)) == "");
  REQUIRE(Fault(set->Move(count - 1)) == "");
  CHECK(id(count));
  REQUIRE(Fault(set->SetBookmark(first)) == "");
  CHECK(id(1));
  REQUIRE(Fault(set->MoveFirst()) == "");
  CHECK(id(1));
}

void CheckTablesOfOthers(Fixture& fixture) {
  const std::string table = fixture.MakePeople(1);
  fixture.Reopen();
  const auto tables = fixture.database().TableDefs();
  REQUIRE(Fault(tables.status()) == "");
  int listed = 0;
  for (const database::TableInfo& info : *tables)
    listed += info.Name == table && info.Attributes == 0 ? 1 : 0;
  CHECK(listed == 1);
  const auto missing = fixture.database().OpenRecordset("NOWHERE", RecordsetType::kSnapshot);
  CHECK(Number(missing.status()) == Number(ErrorNumber::kTableNotFound));
  CHECK(missing.status().message().find("NOWHERE") != std::string_view::npos);
  CHECK(fixture.database().FindTableDef("NOWHERE").status().code() == Code::kNotFound);
  const auto set = fixture.Open(table);
  CHECK(set->FieldCount() == 2);
  CHECK(Fault(set->Fields("name").status()) == "");
  REQUIRE(Fault(set->Close()) == "");
  CHECK(Fault(set->Close()) == "");
  CHECK(Number(set->MoveNext()) == Number(ErrorNumber::kObjectInvalid));
}

}  // namespace

Status InsertByStatement(Database& database, const TableDef& table, const Texts& texts) {
  std::string names;
  std::string literals;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if (texts[i] == "<null>") continue;
    if (!names.empty()) {
      names += ',';
      literals += ',';
    }
    KV_TRY(database::AppendIdentifier(table.Fields[i].Name, database.Dialect(), names));
    values::Value value;
    std::string scratch;
    const TypeCode type = table.Fields[i].Type;
    KV_TRY(values::ValueFormat::Neutral().Parse(texts[i], type, value, scratch));
    KV_TRY(database::AppendLiteral(value, type, database.Dialect(), literals));
  }
  std::string sql = "INSERT INTO ";
  KV_TRY(database::AppendIdentifier(table.Name, database.Dialect(), sql));
  sql.append(" (").append(names).append(") VALUES (").append(literals).append(")");
  auto changed = database.Execute(sql, database::kSqlPassThrough);
  return std::move(changed).status();
}

void CheckReading(Fixture& fixture) {
  SUBCASE("every type of field") {
    CheckTypes(fixture);
  }
  SUBCASE("texts of every length") {
    CheckLengths(fixture);
  }
  SUBCASE("far moves") {
    CheckFarMoves(fixture);
  }
  SUBCASE("tables and fields by name") {
    CheckTablesOfOthers(fixture);
  }
}

}  // namespace kelvorin::tests
