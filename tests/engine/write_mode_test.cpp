// Where each record goes: appending, updating in order and by key, posts for a server.

#include <doctest/doctest.h>

#include "base/M_STRING.h"
#include "tests/engine/run_rig.h"

namespace kelvorin::tests {

using values::TypeCode;

namespace {

database::TableDef Pairs(bool unique = false, TypeCode key_type = TypeCode::kText) {
  return TableOf("Goods", {Typed("Key", key_type), Typed("Value", TypeCode::kLong)}, 1, unique);
}

enum class Mode { kAppend, kInOrder, kPastEnd, kKey, kKeyOrAppend };

void SetMode(settings::ImportSetting& setting, Mode mode) {
  const bool by_key = mode == Mode::kKey || mode == Mode::kKeyOrAppend;
  setting.AppendRecords = mode == Mode::kAppend;
  setting.UpdateIndex = setting.KeyLookUp = by_key;
  setting.IndexName = by_key ? "bykey" : "";
  setting.AppendIfEof = mode == Mode::kPastEnd || mode == Mode::kKeyOrAppend;
}

}  // namespace

TEST_CASE("Every write mode puts records where it should") {
  struct Row {
    const char* name;
    Mode mode;
    const char* target;  // keys of the rows that stand there; their value is 0
    const char* text;
    bool empty_target;
    const char* rows;
    const char* counts;
  };
  using enum Mode;
  const Row kRows[] = {
      {"append", kAppend, "ab", "c,1\r\na,2\r\n", false, "a,0 | b,0 | c,1 | a,2", "2 2 0 0"},
      {"append, emptied", kAppend, "ab", "c,1\r\n", true, "c,1", "1 1 0 0"},
      {"fewer records", kInOrder, "abc", "x,1\r\ny,2\r\n", false, "x,1 | y,2 | c,0", "2 2 0 0"},
      {"more records", kInOrder, "ab", "x,1\r\ny,2\r\nz,3\r\n", false, "x,1 | y,2", "2 2 0 0"},
      {"in order, empty", kInOrder, "", "x,1\r\n", false, "", "0 0 0 0"},
      {"in order, emptied", kInOrder, "a", "x,1\r\n", true, "a,0", "0 0 0 0 fatal"},
      {"past the end", kPastEnd, "a", "x,1\r\ny,2\r\nz,3\r\n", false, "x,1 | y,2 | z,3", "3 3 0 0"},
      {"past no end", kPastEnd, "", "x,1\r\ny,2\r\n", false, "x,1 | y,2", "2 2 0 0"},
      {"bad value", kInOrder, "ab", "x,bad\r\ny,2\r\n", false, "y,2 | b,0", "2 1 1 0"},
      {"by key", kKey, "abc", "c,3\r\na,1\r\n", false, "a,1 | b,0 | c,3", "2 2 0 0"},
      {"missing keys", kKey, "ab", "x,1\r\nb,2\r\ny,3\r\na,4\r\n", false, "a,4 | b,2", "4 2 0 2"},
      {"all keys missing", kKey, "", "x,1\r\n", false, "", "1 0 0 1"},
      {"the same key twice", kKey, "a", "a,1\r\na,2\r\n", false, "a,2", "2 2 0 0"},
      {"missing appended", kKeyOrAppend, "a", "b,1\r\na,2\r\nb,3\r\n", false, "a,2 | b,3",
       "3 3 0 0"},
      {"all appended", kKeyOrAppend, "", "b,1\r\nc,2\r\n", false, "b,1 | c,2", "2 2 0 0"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig(Pairs());
    for (const char* key = row.target; *key != '\0'; ++key)
      rig.Holds({{std::string(1, *key), "0"}});
    rig.FromText(row.text);
    rig.Map({0, 1});
    SetMode(rig.setting, row.mode);
    rig.setting.EmptyTarget = row.empty_target;
    CHECK(rig.Counts() == row.counts);
    CHECK(rig.Rows() == row.rows);
  }
}

TEST_CASE("A refused post drops its record alone and an update goes on behind it") {
  RunRig rig(Pairs(true));
  rig.Holds({{"a", "0"}, {"b", "0"}, {"c", "0"}});
  rig.FromText("x,1\r\nx,2\r\nz,3\r\n");
  rig.Map({0, 1});
  SetMode(rig.setting, Mode::kInOrder);
  int posted = 0;
  rig.host.after_post = [&](bool&) { ++posted; };
  CHECK(rig.Counts() == "3 2 1 0");
  CHECK(rig.Rows() == "x,1 | b,0 | z,3");
  CHECK(posted == 2);
}

TEST_CASE("A missing key leaves the target where it stood and raises the events of a drop") {
  RunRig rig(Pairs());
  rig.Holds({{"a", "0"}, {"b", "0"}});
  rig.FromText("b,1\r\nx,2\r\n");
  rig.Map({0, 1});
  SetMode(rig.setting, Mode::kKey);
  rig.host.before_post = [&](bool& record, bool&) { rig.Note(record ? "dropped" : "before"); };
  rig.host.after_post = [&](bool&) { rig.Note("after"); };
  rig.memory.StartLog("Goods");
  rig.Run();
  CHECK(rig.Trace() ==
        "SetIndex ByKey\nMoveFirst\nMoveFirst\nGetBookmark\nSeek = b\nEdit\nWriteField Value = 1\n"
        "before\nUpdate\nafter\nGetBookmark\nSeek = x\nSetBookmark\ndropped\n");
}

TEST_CASE("A record is found by all eight key fields of an index, not by some of them") {
  std::vector<database::FieldDef> fields;
  for (const char* name : {"A", "B", "C", "D", "E", "F", "G", "H", "Value"})
    fields.push_back(Typed(name, TypeCode::kLong));
  RunRig rig(TableOf("Goods", fields, 8));
  rig.Holds({{"1", "2", "3", "4", "5", "6", "7", "8", "0"}});
  rig.FromText("1,2,3,4,5,6,7,99,5\r\n");
  rig.Map({0, 1, 2, 3, 4, 5, 6, 7, 8});
  SetMode(rig.setting, Mode::kKey);
  CHECK(rig.Counts() == "1 0 0 1");
  rig.FromText("1,2,3,4,5,6,7,8,5\r\n");
  CHECK(rig.Counts() == "1 1 0 0");
  CHECK(rig.Rows() == "1,2,3,4,5,6,7,8,5");
}

TEST_CASE("A job that would do harm or nothing is refused before the target is touched") {
  struct Row {
    std::function<void(RunRig&)> make;
    const char* last_error;
  };
  const Row kRows[] = {
      {[](RunRig& rig) {
         rig.Map({-1, 1});
       },
       "You specified KeyLookUp but you did not import the keys for the field : Key"},
      {[](RunRig& rig) {
         rig.Map({-1, -1});
       },
       "No target field is mapped to a source field: there is nothing to import"},
      {[](RunRig& rig) { rig.setting.UpdateIndex = false; },
       "You specified KeyLookUp but no index to look the keys up in"},
      {[](RunRig& rig) {
         rig.Map({0, 400});
       },
       "field 'Value' is mapped to source field 400; source fields are 0 to 250"},
      {[](RunRig& rig) {
         rig.setting.TypeFormat = 7;
         rig.source.SourceDBName = "shop";
         rig.source.file_name = "goods";
       },
       "Source and target are the same table 'Goods': its records can be updated, but not appended "
       "to it or deleted first"},
      {[](RunRig& rig) { rig.setting.TypeFormat = 77; },
       "Error in accessing import file 'import.txt'\r\nthe kind of source is 77; kinds are 0 to "
       "14"},
      {[](RunRig& rig) { rig.setting.IndexName = "Other"; },
       "Error in accessing import file 'import.txt'\r\ntable 'Goods' has no index 'Other'"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.last_error);
    RunRig rig(Pairs());
    rig.Holds({{"a", "0"}});
    rig.FromText("a,1\r\n");
    rig.Map({0, 1});
    SetMode(rig.setting, Mode::kKey);
    rig.setting.EmptyTarget = rig.setting.AppendIfEof = rig.setting.ShowErrors = true;
    row.make(rig);
    CHECK(rig.Counts() == "0 0 0 0 fatal");
    CHECK(rig.Plain(rig.LastError()) == row.last_error);
    CHECK(rig.Rows() == "a,0");
    CHECK(rig.platform.boxes.size() == 1);
  }
}

// --- A server

TEST_CASE("A server gets the values of each record as its fields have them") {
  struct Row {
    TypeCode type;
    const char* value;
    const char* posted;  // null: a record error
  };
  const Row kRows[] = {
      {TypeCode::kText, "O'Neil", "'O'Neil'"},
      {TypeCode::kText, "", "''"},
      {TypeCode::kLong, "", "null"},
      {TypeCode::kLong, "1); DROP", nullptr},
      {TypeCode::kDate, "29 Feb 2024", "2024-02-29"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.value);
    RunRig rig(TableOf("Goods", {Typed("Id", TypeCode::kLong), Typed("B", row.type)}), true);
    rig.FromText(std::string("7\t") + row.value + "\r\n");
    rig.Map({0, 1});
    settings::SetSeparators(rig.setting, "\t");
    CHECK(rig.Counts() == (row.posted != nullptr ? "1 1 0 0" : "1 0 1 0"));
    const std::vector<std::string>& sent = rig.memory.Posts("shop");
    REQUIRE(sent.size() == (row.posted != nullptr ? 1 : 0));
    if (row.posted != nullptr) CHECK(sent[0] == "insert Id=7 B=" + std::string(row.posted));
  }
}

TEST_CASE("Write modes become posts, and no call moves a record set") {
  const std::string insert = "insert Key='k' Value=5\n";
  const std::string update = "update Value=5 where Key='k'\n";
  struct Row {
    const char* name;
    Mode mode;
    bool empty_target, dry_run;
    std::int64_t changed;  // by the first post
    std::string posts;
    const char* counts;
  };
  using enum Mode;
  const Row kRows[] = {
      {"append", kAppend, false, false, 1, insert, "1 1 0 0"},
      {"empty first", kAppend, true, false, 1, "delete all\n" + insert, "1 1 0 0"},
      {"dry run", kAppend, true, true, 1, "", "1 1 0 0"},
      {"key found", kKey, false, false, 1, update, "1 1 0 0"},
      {"number of changes unknown", kKey, false, false, -1, update, "1 1 0 0"},
      {"key missing", kKey, false, false, 0, update, "1 0 0 1"},
      {"key missing, appended", kKeyOrAppend, false, false, 0, update + insert, "1 1 0 0"},
      {"in order is refused", kInOrder, true, false, 1, "", "0 0 0 0 fatal"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig(Pairs(), true);
    rig.Holds({{"old", "1"}});
    rig.FromText("k,5\r\n");
    rig.Map({0, 1});
    SetMode(rig.setting, row.mode);
    rig.setting.EmptyTarget = row.empty_target;
    rig.options.dry_run = row.dry_run;
    rig.memory.ScriptPost("shop", 1, {Status(), {}, row.changed});
    rig.memory.StartLog("Goods");
    int posted = 0;
    rig.host.after_post = [&](bool&) { ++posted; };
    const engine::RunResult result = rig.Run();
    CHECK(RunRig::Show(result) == row.counts);
    CHECK(posted == (row.dry_run ? 0 : result.imported));
    std::string posts;
    for (const std::string& line : rig.memory.Log())
      if (line != "FindTableDef Goods") posts += line + "\n";
    CHECK(base::Replace(posts, "Post ", "") == row.posts);
  }
}

TEST_CASE("Keys alone, Null keys and refused posts") {
  RunRig rig(Pairs(false, TypeCode::kLong), true);
  rig.FromText("4,\r\n,1\r\nx,2\r\n3,4\r\n");
  SetMode(rig.setting, Mode::kKey);
  rig.Map({0, -1});
  CHECK(rig.Counts() == "4 3 1 0");  // "x" is no key
  CHECK(rig.memory.Posts("shop")[0] == "update where Key=4");
  rig.Map({0, 1});
  rig.memory.ScriptPost(
      "shop", 6,
      {Status(Code::kDuplicateKey, "[server] twice"), {{23000, "23000", "[server] twice"}}});
  CHECK(rig.Counts() == "4 2 2 0");
  CHECK(rig.memory.Posts("shop")[4] == "update Value=1 where Key=null");
  CHECK(rig.LastError() ==
        "Error in updating record in destination table\r\n[server] twice (23000)\r\n"
        "[server] twice");
}

TEST_CASE("Records posted in groups are told as if each had been posted by itself") {
  const Status twice(Code::kDuplicateKey, "twice");
  for (const bool with_host : {false, true}) {
    for (const std::int16_t limit : {std::int16_t{1}, std::int16_t{2}}) {
      CAPTURE(with_host);
      CAPTURE(limit);
      RunRig rig(TableOf("Goods", {Typed("Key", TypeCode::kLong), Text("Name", 3)}), true);
      rig.FromText("1,abcd\r\n1,abcd\r\n2,abcd\r\n" + std::string(299, ',') + "\r\n");
      rig.Map({0, 1});
      rig.setting.LimitErrors = true;
      rig.setting.nErrorStop = limit;
      rig.setting.RejectFile = rig.folder.File("rejected");
      if (with_host) rig.host.before_post = [](bool&, bool&) {};
      rig.memory.ScriptPost("shop", 2, {twice, {}});
      const engine::RunResult result = rig.Run();
      // The refused record is earlier than the line that cannot be cut.
      CHECK(RunRig::Show(result) == (limit == 1 ? "2 1 1 0 stopped" : "4 2 1 0 fatal"));
      CHECK(result.truncated_values == result.imported);
      CHECK(result.changed_values == result.imported);
      CHECK(rig.memory.Posts("shop").size() == (limit == 1 ? 2 : 3));
      CHECK(ReadWhole(rig.setting.RejectFile) == "1,abcd\r\n");
    }
  }
}

}  // namespace kelvorin::tests
