#include "tests/odbc/driver_checks.h"

#include <doctest/doctest.h>
#include <malloc.h>

#include <fstream>
#include <vector>

#include "base/M_STRING.h"
#include "tests/odbc/posting_check.h"
#include "values/field_types.h"

#if defined(KELVORIN_CHECKED)
// The sanitizer keeps freed memory back by default, which would count as growth here.
extern "C" const char* __asan_default_options() {
  return "quarantine_size_mb=1:thread_local_quarantine_size_kb=64";
}
// PostgreSQL's driver forgets a result when its server goes while it prepares a statement.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:psqlodbcw.so";
}
#endif

namespace kelvorin::tests {
namespace {

using database::Database;
using database::Recordset;
using database::RecordsetType;
using values::TypeCode;
using values::Value;

std::unique_ptr<Recordset> Open(Database& database, std::string_view table) {
  auto opened = database.OpenRecordset(table, RecordsetType::kSnapshot);
  REQUIRE_MESSAGE(opened.ok(), std::string(opened.status().message()));
  return *std::move(opened);
}

std::string Text(Recordset& set, std::size_t field) {
  std::string text;
  bool is_null = false;
  REQUIRE(set.Fields(field).GetText(text, is_null).ok());
  return is_null ? "<null>" : text;
}

double ResidentMiB() {
  std::ifstream file("/proc/self/statm");
  double total = 0, resident = 0;
  file >> total >> resident;
  return resident * 4096 / (1 << 20);
}

}  // namespace

void Advance(Recordset& set) {
  const Status moved = set.MoveNext();
  REQUIRE_MESSAGE(moved.ok(), std::string(moved.message()));
}

void CheckLiterals(Database& database, std::string_view type) {
  Execute(database, "CREATE TABLE texts (id INTEGER PRIMARY KEY, t " + std::string(type) + ")");
  const std::vector<std::string> texts = {"",
                                          "O'Neil",
                                          "''",
                                          "'); DELETE FROM texts; --",
                                          R"(a\b)",
                                          R"(tail\)",
                                          R"(\' OR 1=1 --)",
                                          "?",
                                          "{fn now()}",
                                          "{d '2020-01-01'}",
                                          "a /* b */ # c",
                                          "$1 :x @y %z",
                                          "line 1\r\nline 2\t",
                                          "äÖ € 😀",
                                          " blanks ",
                                          std::string(70000, 'x') + "'",
                                          std::string(300000, '\\')};
  std::vector<std::vector<std::string>> records;
  for (const std::string& text : texts)
    records.push_back(
        {std::to_string(records.size() + 1), "'" + base::Replace(text, "'", "''") + "'"});
  PostGrouped(database, "texts", {"id", "t"}, records);
  const auto set = Open(database, "texts");
  std::size_t found = 0;
  for (; !set->Eof(); Advance(*set)) {
    const std::size_t at = static_cast<std::size_t>(std::stoi(Text(*set, 0))) - 1;
    REQUIRE(at < texts.size());
    CAPTURE(texts[at].substr(0, 40));
    CHECK((Text(*set, 1) == texts[at]));
    ++found;
  }
  CHECK(found == texts.size());
  CHECK(database.Execute(std::string("SELECT '\0'", 10), 64).status().code() ==
        Code::kInvalidArgument);
}

void CheckStatements(Database& database) {
  Execute(database, "CREATE TABLE counted (id INTEGER PRIMARY KEY, n INTEGER)");
  Execute(database, "INSERT INTO counted VALUES (1,10),(2,20),(3,20)");
  CHECK(*database.Execute("UPDATE counted SET n=30 WHERE n=20", 64) == 2);
  // A record that is found counts as changed although it held the value before.
  CHECK(*database.Execute("UPDATE counted SET n=30 WHERE id=2", 64) == 1);
  CHECK(*database.Execute("UPDATE counted SET n=30 WHERE id=9", 64) == 0);
  CHECK(*database.Execute("DELETE FROM counted WHERE id=9", 64) == 0);
  const auto refused = database.Execute("INSERT INTO counted VALUES (1,0)", 64);
  CHECK(refused.status().code() == Code::kDuplicateKey);
  REQUIRE(database.engine().Errors().size() == 1);
  CHECK(database.engine().Errors()[0].state.size() == 5);
  // The names' wild cards are letters like any other.
  Execute(database, "CREATE TABLE a_b (x INTEGER)");
  Execute(database, "CREATE TABLE axb (y INTEGER)");
  CHECK(database.FindTableDef("a_b")->Fields[0].Name == "x");
  CHECK(database.FindTableDef("axb")->Fields[0].Name == "y");

  database::TableDef odd;
  odd.Name = "Größe? \"of\"; the `king's` Table";
  const std::vector<std::string> names = {"Id",     "a b",  "x\"y", "Größe",
                                          "select", "it's", "t`k",  "paid?; x"};
  for (const std::string& name : names) odd.Fields.emplace_back().Name = name;
  odd.Fields[0].Type = TypeCode::kLong;
  odd.Indexes.resize(1);
  odd.Indexes[0].Columns = {{"Id", false}};
  odd.Indexes[0].Primary = true;
  REQUIRE(database.CreateTable(odd).ok());
  std::vector<std::vector<std::string>> records;
  for (int i = 1; i <= 100; ++i)
    records.push_back(
        {std::to_string(i == 90 ? 3 : i), "'1'", "'2'", "'3'", "'4'", "''", "NULL", "'a;b?'"});
  CHECK(PostGrouped(database, odd.Name, names, records).find("-90[") != std::string::npos);
  const auto def = database.FindTableDef(base::UpperAscii(odd.Name));
  REQUIRE(def.ok());
  CHECK(def->FindIndex(def->Indexes[0].Name)->Fields() == "+Id");
  CHECK(DumpTable(database, odd.Name).find("7|1|2|3|4||<null>|a;b?\n") != std::string::npos);
  CHECK(*database.Execute("DELETE FROM " + Quoted(database, odd.Name), 64) == 99);
  CHECK(database.DeleteTable(odd.Name).ok());
}

std::string ShowTable(Database& database, std::string_view table) {
  const auto def = database.FindTableDef(table);
  REQUIRE_MESSAGE(def.ok(), std::string(def.status().message()));
  std::string text;
  for (const auto& field : def->Fields)
    text += field.Name + ":" +
            std::string(values::FieldType(static_cast<std::int16_t>(field.Type))) + ":" +
            std::to_string(field.Size) + (field.AutoIncrement ? "*" : "") + "\n";
  for (const auto& index : def->Indexes)
    text += index.Name + "(" + index.Fields() + ")" + (index.Unique ? "!" : "") +
            (index.Primary ? "#" : "") + "\n";
  return text;
}

double GrowthWhileReading(Database& database, std::string_view table, std::int64_t rows) {
  malloc_trim(0);
  const double before = ResidentMiB();
  double most = 0;
  const auto set = Open(database, table);
  std::int64_t count = 0;
  for (; !set->Eof(); Advance(*set)) {
    Value value;
    for (std::size_t i = 0; i < set->FieldCount(); ++i)
      REQUIRE(set->Fields(i).GetValue(value).ok());
    if (++count % 5000 == 0) most = std::max(most, ResidentMiB() - before);
  }
  CHECK(count == rows);
  return most;
}

}  // namespace kelvorin::tests
