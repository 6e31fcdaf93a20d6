// Where each record goes: appending, updating in order and by key, statements for a server.

#include <doctest/doctest.h>

#include "base/M_STRING.h"
#include "tests/engine/run_rig.h"

namespace kelvorin::tests {

using values::TypeCode;

namespace {

database::TableDef Pairs(bool unique = false) {
  database::TableDef table =
      TableOf({Field("Key", TypeCode::kText, 10), Field("Value", TypeCode::kLong, 4)});
  database::IndexDef index;
  index.Name = "ByKey";
  index.Columns = {{"Key"}};
  index.Unique = unique;
  table.Indexes = {index};
  return table;
}

// The modes as settings write them.
enum class Mode { kAppend, kInOrder, kInOrderThenAppend, kKey, kKeyThenAppend };

void SetMode(settings::ImportSetting& setting, Mode mode) {
  const bool by_key = mode == Mode::kKey || mode == Mode::kKeyThenAppend;
  setting.AppendRecords = mode == Mode::kAppend;
  setting.UpdateIndex = setting.KeyLookUp = by_key;
  setting.IndexName = by_key ? "ByKey" : "";
  setting.AppendIfEof = mode == Mode::kInOrderThenAppend || mode == Mode::kKeyThenAppend;
}

std::string Joined(const RunRig& rig) {
  std::string text;
  for (const auto& row : rig.memory.Rows("shop", "Goods"))
    text += (text.empty() ? "" : " ") + row[0] + "=" + row[1];
  return text;
}

}  // namespace

TEST_CASE("Every write mode puts records where it should") {
  struct Row {
    const char* name;
    Mode mode;
    const char* target;  // keys of the rows that stand there; the value is 0
    const char* text;
    bool empty_target;
    const char* rows;
    const char* counts;
  };
  const Row kRows[] = {
      {"append", Mode::kAppend, "a b", "c,1\r\na,2\r\n", false, "a=0 b=0 c=1 a=2", "2 2 0 0"},
      {"append to an emptied table", Mode::kAppend, "a b", "c,1\r\n", true, "c=1", "1 1 0 0"},
      {"empty an empty table", Mode::kAppend, "", "c,1\r\n", true, "c=1", "1 1 0 0"},
      {"in order, fewer than the target", Mode::kInOrder, "a b c", "x,1\r\ny,2\r\n", false,
       "x=1 y=2 c=0", "2 2 0 0"},
      {"in order, more than the target", Mode::kInOrder, "a b", "x,1\r\ny,2\r\nz,3\r\n", false,
       "x=1 y=2", "2 2 0 0"},
      {"in order on an empty target", Mode::kInOrder, "", "x,1\r\n", false, "", "0 0 0 0"},
      {"in order on an emptied target", Mode::kInOrder, "a", "x,1\r\n", true, "", "0 0 0 0"},
      {"in order, then past the end", Mode::kInOrderThenAppend, "a", "x,1\r\ny,2\r\nz,3\r\n", false,
       "x=1 y=2 z=3", "3 3 0 0"},
      {"past the end of an empty target", Mode::kInOrderThenAppend, "", "x,1\r\ny,2\r\n", false,
       "x=1 y=2", "2 2 0 0"},
      {"in order, a bad value leaves its target record to the next", Mode::kInOrder, "a b",
       "x,bad\r\ny,2\r\n", false, "y=2 b=0", "2 1 1 0"},
      {"by key", Mode::kKey, "a b c", "c,3\r\na,1\r\n", false, "a=1 b=0 c=3", "2 2 0 0"},
      {"by key, some missing", Mode::kKey, "a b", "x,1\r\nb,2\r\ny,3\r\na,4\r\n", false, "a=4 b=2",
       "4 2 0 2"},
      {"by key in an empty target", Mode::kKey, "", "x,1\r\n", false, "", "1 0 0 1"},
      {"by key, the same twice", Mode::kKey, "a", "a,1\r\na,2\r\n", false, "a=2", "2 2 0 0"},
      {"by key, missing ones appended with their keys", Mode::kKeyThenAppend, "a",
       "b,1\r\na,2\r\nb,3\r\n", false, "a=2 b=3", "3 3 0 0"},
      {"by key, all missing", Mode::kKeyThenAppend, "", "b,1\r\nc,2\r\n", false, "b=1 c=2",
       "2 2 0 0"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig(Pairs());
    for (const char* key = row.target; *key != '\0'; ++key)
      if (*key != ' ') rig.AddGoods({std::string(1, *key), "0"});
    rig.OpenTarget();
    rig.Text(row.text);
    rig.Map({0, 1});
    SetMode(rig.setting, row.mode);
    rig.setting.EmptyTarget = row.empty_target;
    CHECK(RunRig::Show(rig.Run()) == row.counts);
    CHECK(Joined(rig) == row.rows);
  }
}

TEST_CASE("A refused post drops its record alone and an update goes on behind it") {
  RunRig rig(Pairs(true));
  for (const char* key : {"a", "b", "c"}) rig.AddGoods({key, "0"});
  rig.OpenTarget();
  rig.Text("x,1\r\nx,2\r\nz,3\r\n");
  rig.Map({0, 1});
  SetMode(rig.setting, Mode::kInOrder);
  int posted = 0;
  rig.host.after_post = [&](bool&) { ++posted; };
  CHECK(RunRig::Show(rig.Run()) == "3 2 1 0");
  CHECK(Joined(rig) == "x=1 b=0 z=3");
  CHECK(posted == 2);

  SetMode(rig.setting, Mode::kAppend);
  rig.Text("x,7\r\nn,8\r\n");
  CHECK(RunRig::Show(rig.Run()) == "2 1 1 0");
  CHECK(Joined(rig) == "x=1 b=0 z=3 n=8");
}

TEST_CASE("A missing key leaves the target where it stood and raises the events of a drop") {
  RunRig rig(Pairs());
  for (const char* key : {"a", "b"}) rig.AddGoods({key, "0"});
  rig.OpenTarget();
  rig.Text("b,1\r\nx,2\r\n");
  rig.Map({0, 1});
  SetMode(rig.setting, Mode::kKey);
  rig.host.before_post = [&](bool& record, bool&) {
    rig.trace.Note("ValidateBeforePost " + std::to_string(record));
  };
  rig.host.after_post = [&](bool&) { rig.trace.Note("ValidateAfterPost"); };
  rig.memory.StartLog("Goods");
  rig.Run();
  CHECK(rig.trace.Take() ==
        "SetIndex ByKey\n"
        "MoveFirst\n"
        "MoveFirst\n"
        "GetBookmark\n"
        "Seek = b\n"
        "Edit\n"
        "WriteField Value = 1\n"
        "ValidateBeforePost 0\n"
        "Update\n"
        "ValidateAfterPost\n"
        "GetBookmark\n"
        "Seek = x\n"
        "SetBookmark\n"
        "ValidateBeforePost 1\n");
}

TEST_CASE("Seven key fields of an index of eight are looked up") {
  std::vector<database::FieldDef> fields;
  database::IndexDef index;
  index.Name = "ByKey";
  for (int i = 1; i <= 8; ++i) {
    fields.push_back(Field("K" + std::to_string(i), TypeCode::kLong));
    index.Columns.push_back({fields.back().Name});
  }
  fields.push_back(Field("Value", TypeCode::kLong));
  database::TableDef table = TableOf(fields);
  table.Indexes = {index};
  RunRig rig(table);
  rig.AddGoods({"1", "2", "3", "4", "5", "6", "7", "8", "0"});
  rig.OpenTarget();
  rig.Text("1,2,3,4,5,6,7,99,5\r\n");
  rig.Map({0, 1, 2, 3, 4, 5, 6, 7, 8});
  SetMode(rig.setting, Mode::kKey);
  CHECK(RunRig::Show(rig.Run()) == "1 1 0 0");
  CHECK(rig.Rows() == Show({{"1", "2", "3", "4", "5", "6", "7", "8", "5"}}));
}

TEST_CASE("A setting that would do harm or nothing is refused before the target is touched") {
  struct Row {
    const char* name;
    std::function<void(RunRig&)> make;
    const char* last_error;
  };
  const Row kRows[] = {
      {"a key that is not imported",
       [](RunRig& rig) {
         SetMode(rig.setting, Mode::kKey);
         rig.Map({-1, 1});
       },
       "You specified KeyLookUp but you did not import the keys for the field : Key"},
      {"nothing mapped",
       [](RunRig& rig) {
         rig.Map({-1, -1});
       },
       "No target field is mapped to a source field: there is nothing to import"},
      {"key lookup without an index",
       [](RunRig& rig) {
         SetMode(rig.setting, Mode::kKey);
         rig.setting.UpdateIndex = false;
       },
       "You specified KeyLookUp but no index to look the keys up in"},
      {"a source field that cannot be",
       [](RunRig& rig) {
         rig.Map({0, 400});
       },
       "field 'Value' is mapped to source field 400; source fields are 0 to 250"},
      {"source and target are one table",
       [](RunRig& rig) {
         rig.setting.TypeFormat = 7;
         rig.source.SourceDBName = "shop";
         rig.source.file_name = "goods";
       },
       "Source and target are the same table 'Goods': its records can be updated, but not appended "
       "to it or deleted first"},
      {"an unknown kind of source", [](RunRig& rig) { rig.setting.TypeFormat = 77; },
       "Error in accessing import file 'FILE'\r\nthe kind of source is 77; kinds are 0 to 14"},
      {"an index that is not there",
       [](RunRig& rig) {
         SetMode(rig.setting, Mode::kKey);
         rig.setting.IndexName = "Other";
       },
       "Error in accessing import file 'FILE'\r\ntable 'Goods' has no index 'Other'"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig(Pairs());
    rig.AddGoods({"a", "0"});
    rig.OpenTarget();
    rig.Text("a,1\r\n");
    rig.Map({0, 1});
    rig.setting.EmptyTarget = true;
    rig.setting.ShowErrors = true;
    row.make(rig);
    CHECK(RunRig::Show(rig.Run()) == "0 0 0 0 fatal");
    CHECK(base::Replace(rig.LastError(), rig.folder.File("import.txt"), "FILE") == row.last_error);
    CHECK(Joined(rig) == "a=0");
    CHECK(rig.platform.boxes.size() == 1);
  }
}

// --- A server

TEST_CASE("A server gets one statement for each record, its values typed and quoted") {
  struct Row {
    const char* name;
    TypeCode type;
    const char* value;
    const char* literal;  // null: a record error
  };
  const Row kRows[] = {
      {"text", TypeCode::kText, "O'Neil", "'O''Neil'"},
      {"text that looks like a number", TypeCode::kText, "12", "'12'"},
      {"text that wants to be more", TypeCode::kMemo, "'); DROP TABLE x; --",
       "'''); DROP TABLE x; --'"},
      {"empty text", TypeCode::kText, "", "''"},
      {"number", TypeCode::kLong, "12", "12"},
      {"number with a point", TypeCode::kDouble, "1.50", "1.5"},
      {"empty number", TypeCode::kLong, "", "NULL"},
      {"no number", TypeCode::kLong, "1); DROP", nullptr},
      {"date", TypeCode::kDate, "2024-02-29", "'2024-02-29'"},
      {"no date", TypeCode::kDate, "2023-02-29", nullptr},
      {"Boolean", TypeCode::kBoolean, "Yes", "1"},
      {"GUID", TypeCode::kGuid, "{00112233-4455-6677-8899-AABBCCDDEEFF}",
       "'{00112233-4455-6677-8899-AABBCCDDEEFF}'"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig(TableOf({Field("Id", TypeCode::kLong), Field("a \"b", row.type)}), true);
    rig.Text(std::string("7\t") + row.value + "\r\n");
    rig.Map({0, 1});
    settings::SetSeparators(rig.setting, "\t");
    rig.setting.Delimiter = 2;
    settings::RebuildDelimiter(rig.setting);
    const engine::RunResult result = rig.Run();
    if (row.literal == nullptr) {
      CHECK(RunRig::Show(result) == "1 0 1 0");
      CHECK(rig.Statements().empty());
      continue;
    }
    REQUIRE(rig.Statements().size() == 1);
    CHECK(rig.Statements()[0] ==
          "INSERT INTO \"Goods\" (\"Id\",\"a \"\"b\") VALUES (7," + std::string(row.literal) + ")");
  }
}

TEST_CASE("Write modes become statements, and no call moves a record set") {
  struct Row {
    const char* name;
    Mode mode;
    bool empty_target, dry_run;
    std::int64_t changed;  // by the first statement
    const char* statements;
    const char* counts;
  };
  const Row kRows[] = {
      {"append", Mode::kAppend, false, false, 1,
       "INSERT INTO \"Goods\" (\"Key\",\"Value\") VALUES ('k',5)", "1 1 0 0"},
      {"empty first", Mode::kAppend, true, false, 1,
       "DELETE FROM \"Goods\"; INSERT INTO \"Goods\" (\"Key\",\"Value\") VALUES ('k',5)",
       "1 1 0 0"},
      {"dry run", Mode::kAppend, true, true, 1, "", "1 1 0 0"},
      {"key found", Mode::kKey, false, false, 1,
       "UPDATE \"Goods\" SET \"Value\" = 5 WHERE \"Key\" = 'k'", "1 1 0 0"},
      {"number of changes unknown", Mode::kKey, false, false, -1,
       "UPDATE \"Goods\" SET \"Value\" = 5 WHERE \"Key\" = 'k'", "1 1 0 0"},
      {"key missing", Mode::kKey, false, false, 0,
       "UPDATE \"Goods\" SET \"Value\" = 5 WHERE \"Key\" = 'k'", "1 0 0 1"},
      {"key missing, appended", Mode::kKeyThenAppend, false, false, 0,
       "UPDATE \"Goods\" SET \"Value\" = 5 WHERE \"Key\" = 'k'; "
       "INSERT INTO \"Goods\" (\"Key\",\"Value\") VALUES ('k',5)",
       "1 1 0 0"},
      {"in order is refused", Mode::kInOrder, true, false, 1, "", "0 0 0 0 fatal"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig(Pairs(), true);
    rig.AddGoods({"old", "1"});
    rig.OpenTarget();
    rig.Text("k,5\r\n");
    rig.Map({0, 1});
    SetMode(rig.setting, row.mode);
    rig.setting.EmptyTarget = row.empty_target;
    rig.options.dry_run = row.dry_run;
    rig.memory.ScriptStatement("shop", 1, {Status(), {}, row.changed});
    rig.memory.StartLog("Goods");
    int posted = 0;
    rig.host.after_post = [&](bool&) { ++posted; };
    const engine::RunResult result = rig.Run();
    CHECK(RunRig::Show(result) == row.counts);
    std::string statements;
    for (const std::string& sql : rig.Statements())
      statements += (statements.empty() ? "" : "; ") + sql;
    CHECK(statements == row.statements);
    CHECK(posted == (row.dry_run ? 0 : result.imported));
    for (const std::string& line : rig.memory.Log())
      CHECK((line.rfind("Execute", 0) == 0 || line.rfind("FindTableDef", 0) == 0));
  }
}

TEST_CASE("Keys alone, Null keys and refused statements") {
  RunRig rig(Pairs(), true);
  rig.Text("k,\r\n,1\r\n");
  rig.Map({0, -1});
  SetMode(rig.setting, Mode::kKey);
  rig.Run();
  CHECK(rig.Statements()[0] == "UPDATE \"Goods\" SET \"Key\" = 'k' WHERE \"Key\" = 'k'");

  database::TableDef numbers = Pairs();
  numbers.Fields[0] = Field("Key", TypeCode::kLong);
  RunRig by_number(numbers, true);
  by_number.Text(",1\r\nx,2\r\n3,4\r\n");
  by_number.Map({0, 1});
  SetMode(by_number.setting, Mode::kKey);
  by_number.memory.ScriptStatement("shop", 2,
                                   {Status(Code::kDuplicateKey, "[server] duplicate"),
                                    {{23000, "23000", "[server] duplicate"}}});
  CHECK(RunRig::Show(by_number.Run()) == "3 1 2 0");  // "x" is no number, the last was refused
  CHECK(by_number.Statements()[0] == "UPDATE \"Goods\" SET \"Value\" = 1 WHERE \"Key\" IS NULL");
  CHECK(by_number.LastError() ==
        "Error in updating record in destination table\r\n[server] duplicate (23000)\r\n"
        "[server] duplicate");
}

}  // namespace kelvorin::tests
