// Values that are not kept as they were, files that are the same file, columns that are not there.

#include <doctest/doctest.h>

#include <filesystem>

#include "base/M_FILE.h"
#include "tests/engine/run_rig.h"

namespace kelvorin::tests {

using values::TypeCode;

namespace {

// "changed truncated", then the first case.
std::string Losses(const engine::RunResult& result) {
  std::string text =
      std::to_string(result.changed_values) + " " + std::to_string(result.truncated_values);
  if (result.first_changed)
    text += " " + std::to_string(result.first_changed->line_number) + " " +
            result.first_changed->field + " '" + result.first_changed->was + "' '" +
            result.first_changed->is + "'";
  return text;
}

}  // namespace

TEST_CASE("Values kept other than they were are counted with the first case, or refused") {
  database::FieldDef cents = Typed("Price", TypeCode::kDecimal),
                     truth = Typed("Paid", TypeCode::kBoolean);
  cents.Decimals = 2;
  truth.Keeps.null_is_false = true;
  struct Row {
    const char* name;
    const char* text;
    const char* losses;
    const char* exact_counts;
  };
  const Row kRows[] = {
      {"all fit", "abc,1.25,yes\r\n", "0 0", "1 1 0 0"},
      {"cut", "a,1,yes\r\nabcdef,1,no\r\n", "1 1 2 Name 'abcdef' 'abcd'", "2 1 1 0"},
      {"rounded", "a,1.255,yes\r\nb,0.999,no\r\n", "2 0 1 Price '1.255' '1.26'", "2 0 2 0"},
      {"Null as False", "a,1,\r\n", "1 0 1 Paid '' 'False'", "1 0 1 0"},
      {"in a record that is refused", "a,1.255,maybe\r\nb,2,no\r\n", "0 0", "2 1 1 0"},
      {"two in one record", "abcde,1.001,no\r\n", "2 1 1 Name 'abcde' 'abcd'", "1 0 1 0"},
  };
  for (const bool odbc : {false, true}) {
    for (const bool listening : {false, true}) {
      for (const Row& row : kRows) {
        CAPTURE(odbc);
        CAPTURE(listening);
        CAPTURE(row.name);
        for (const bool exact : {false, true}) {
          RunRig rig(TableOf("Goods", {Text("Name", 4), cents, truth}), odbc);
          rig.FromText(row.text);
          rig.Map({0, 1, 2});
          rig.setting.ExactValues = exact ? 1 : 0;
          if (listening) rig.host.before_field = [](auto, auto, auto, auto, std::string&) {};
          const engine::RunResult result = rig.Run();
          if (exact) {
            CHECK(RunRig::Show(result) == row.exact_counts);
            CHECK(result.changed_values == 0);
          } else {
            // The database in memory says what it would keep, but rounds nothing.
            const std::string losses = Losses(result), expected = row.losses;
            const std::size_t same = odbc ? expected.size() : expected.rfind("' '");
            CHECK(losses.substr(0, same) == expected.substr(0, same));
          }
        }
      }
    }
  }
}

TEST_CASE("A table's line ends that become blanks are told, with what they were") {
  RunRig rig;
  rig.FromTable({Text("A"), Typed("M", TypeCode::kMemo)}, {{"a", "one"}, {"b", "one\r\ntwo"}});
  rig.Map({0, -1, -1, 1});
  CHECK(Losses(rig.Run()) == "1 0 2 Notes 'one\r\ntwo' 'one  two'");
  rig.Map({0, -1, -1, -1});  // what is not imported loses nothing
  CHECK(Losses(rig.Run()) == "0 0");
}

TEST_CASE("The text for Null is compared as it was read, and appends nothing") {
  struct Row {
    const char* name;
    const char* text;
    bool upper, append_fields;
    const char* rows;
  };
  const Row kRows[] = {
      {"text and number", "NULL,NULL\r\n", false, false, ""},
      {"before the case changes", "null,1\r\n", true, false, "NULL,1"},
      {"before the cut", "NULLIFY,1\r\n", false, false, "NULL,1"},
      {"blanks around a number only", " NULL, NULL \r\n", false, false, " NUL"},
      {"appended to a field", "NULL,2\r\n", false, true, "ab,12"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig(TableOf("Goods", {Text("Name", 4), Typed("Number", TypeCode::kLong)}));
    if (row.append_fields) rig.Holds({{"ab", "1"}});
    rig.FromText(row.text);
    rig.Map({0, 1});
    rig.setting.NullText = "NULL";
    rig.setting.Upper = row.upper;
    rig.setting.AppendFields = row.append_fields;
    rig.setting.AppendRecords = !row.append_fields;
    CHECK(rig.Counts() == "1 1 0 0");
    CHECK(rig.Rows() == row.rows);
  }
}

TEST_CASE("A key that does not fit its field finds no record") {
  database::FieldDef cents = Typed("Key", TypeCode::kDecimal);
  cents.Decimals = 2;
  struct Row {
    database::FieldDef key;
    const char *held, *text;
    const char* counts;
    const char* rows;
  };
  const Row kRows[] = {
      {Text("Key", 5), "abcde", "abcde,new\r\n", "1 1 0 0", "abcde,new"},
      {Text("Key", 5), "abcde", "abcdeFGH,new\r\n", "1 0 0 1", "abcde,old"},
      {cents, "1.26", "1.26,new\r\n", "1 1 0 0", "1.26,new"},
      {cents, "1.26", "1.255,new\r\n", "1 0 0 1", "1.26,old"},
  };
  for (const bool odbc : {false, true}) {
    for (const Row& row : kRows) {
      CAPTURE(row.text);
      RunRig rig(TableOf("Goods", {row.key, Text("Value")}, 1), odbc);
      rig.Holds({{row.held, "old"}});
      rig.FromText(row.text);
      rig.Map({0, 1});
      rig.setting.AppendRecords = false;
      rig.setting.UpdateIndex = rig.setting.KeyLookUp = true;
      rig.setting.IndexName = "ByKey";
      CHECK(rig.Counts() == row.counts);
      if (!odbc) CHECK(rig.Rows() == row.rows);
    }
  }
}

TEST_CASE("Files of the job that are one file are refused before anything is written") {
  struct Row {
    const char* name;
    std::function<void(RunRig&)> make;
    const char* words;
  };
  const auto link = [](RunRig& rig, const char* name) {
    std::filesystem::create_hard_link(rig.source.file_name, rig.folder.File(name));
    return rig.folder.File(name);
  };
  const Row kRows[] = {
      {"the log is the source", [](RunRig& rig) { rig.setting.LogFileName = rig.source.file_name; },
       "The log '"},
      {"through a link", [&](RunRig& rig) { rig.setting.LogFileName = link(rig, "log.txt"); },
       "The log '"},
      {"log and rejects",
       [](RunRig& rig) { rig.setting.RejectFile = rig.folder.File("./import.log"); }, "The log '"},
      {"the reasons are the source",
       [&](RunRig& rig) {
         link(rig, "r.reasons");
         rig.setting.RejectFile = rig.folder.File("r");
       },
       "The reject file's reasons '"},
      {"the settings",
       [](RunRig& rig) {
         rig.options.settings_file = rig.folder.File("jobs.ini");
         rig.setting.LogFileName = rig.folder.File(
             "../" + rig.folder.path().substr(rig.folder.path().rfind('/') + 1) + "/jobs.ini");
       },
       "The log '"},
      {"the source for the first time",
       [](RunRig& rig) { rig.setting.RejectFile = rig.source.file_name; }, "The reject file '"},
      {"a database that the job does not name",
       [](RunRig& rig) {
         rig.setting.RejectFile = rig.folder.File("other");
         WriteWhole(rig.setting.RejectFile, "SQLite format 3" + std::string(99, '\0'));
       },
       "'"},
      {"the target",
       [](RunRig& rig) {
         std::filesystem::copy_file(rig.source.file_name, rig.folder.File("shop"));
         std::filesystem::current_path(rig.folder.path());
         rig.setting.RejectFile = rig.folder.File("shop");
       },
       "The reject file '"},
  };
  const auto here = std::filesystem::current_path();
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig;
    rig.FromText("a,1\r\nb,x\r\n");
    rig.Map({0, 1});
    rig.setting.Trace = true;
    rig.setting.LogFileName = rig.folder.File("import.log");
    row.make(rig);
    CHECK(rig.Counts() == "0 0 0 0 fatal");
    CHECK(rig.LastError().rfind(row.words, 0) == 0);
    CHECK(ReadWhole(rig.source.file_name) == "a,1\r\nb,x\r\n");
    CHECK_FALSE(base::FileExists(rig.folder.File("import.log")));
    std::filesystem::current_path(here);
  }
}

TEST_CASE("A job runs on its own reject file until nothing is rejected") {
  RunRig rig;
  rig.FromText("a,1\r\nb,x\r\nc,y\r\n");
  rig.Map({0, 1});
  rig.setting.RejectFile = rig.folder.File("rejected");
  CHECK(rig.Counts() == "3 1 2 0");
  rig.source.file_name = rig.setting.RejectFile;
  WriteWhole(rig.source.file_name, "b,2\r\nc,y\r\n");
  rig.setting.DeleteImportFile = true;
  CHECK(rig.Counts() == "2 1 1 0");
  CHECK(ReadWhole(rig.setting.RejectFile) == "c,y\r\n");
  CHECK_FALSE(base::FileExists(rig.folder.File("rejected.new")));
  // A run that ends early loses nothing of what it did not read.
  WriteWhole(rig.source.file_name, "c,y\r\nd,4\r\n");
  rig.setting.LimitErrors = true;
  rig.setting.nErrorStop = 1;
  const engine::RunResult stopped = rig.Run();
  CHECK(RunRig::Show(stopped) == "1 0 1 0 stopped");
  CHECK(stopped.notices.size() == 1);
  CHECK(ReadWhole(rig.setting.RejectFile) == "c,y\r\nd,4\r\n");
  CHECK(ReadWhole(rig.folder.File("rejected.new")) == "c,y\r\n");
  WriteWhole(rig.source.file_name, "c,3\r\nd,4\r\n");
  CHECK(rig.Counts() == "2 2 0 0");
  CHECK(ReadWhole(rig.setting.RejectFile).empty());
}

TEST_CASE("A column that the source does not have is told, and empties nothing") {
  struct Row {
    const char* name;
    const char* text;
    std::int32_t starting_line;
    bool update;
    const char* rows;
    std::size_t notes;
    std::int64_t left_out;
  };
  const Row kRows[] = {
      {"all there", "a,1,x\r\n", 1, true, "a,1,x", 0, 0},
      {"gone", "a,1\r\n", 1, true, "a,1,kept", 1, 0},
      {"short record below a heading", "A,B,C\r\na,1\r\n", 2, true, "a,1,", 0, 0},
      {"in a later record all the same", "a,1\r\nb,2,x\r\n", 1, false, "a,1 | b,2,x", 1, 0},
      {"more than anybody knew", "a,1,x\r\nb,2,y,EXTRA,,E\r\n", 1, false, "a,1,x | b,2,y", 0, 2},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig(TableOf("Goods", {Text("A"), Text("B"), Text("C")}));
    if (row.update) rig.Holds({{"old", "old", "kept"}});
    rig.FromText(row.text);
    rig.Map({0, 1, 2});
    rig.setting.StartingLine = row.starting_line;
    rig.setting.AppendRecords = !row.update;
    const engine::RunResult result = rig.Run();
    CHECK(rig.Rows() == row.rows);
    CHECK(result.notices.size() == row.notes);
    CHECK(result.left_out_values == row.left_out);
    CHECK(result.first_left_out_line == (row.left_out != 0 ? 2 : 0));
  }
  // A server is not told of the column: what it fills in by itself stands.
  RunRig server(TableOf("Goods", {Text("A"), Text("B")}), true);
  server.FromText("a\r\n");
  server.Map({0, 1});
  CHECK(server.Run().notices.size() == 1);
  CHECK(server.memory.Posts("shop").at(0) == "insert A='a'");
}

TEST_CASE("Orders that would lose records are refused or given up") {
  RunRig rig(TableOf("Goods", {Text("Key"), Text("Value")}, 1));
  rig.Holds({{"b", "2"}, {"a", "1"}});
  rig.FromText("x,new\r\n");
  rig.setting.AppendRecords = false;
  rig.setting.UpdateIndex = true;
  rig.setting.IndexName = "ByKey";
  rig.Map({0, 1});
  CHECK(rig.Counts() == "0 0 0 0 fatal");
  CHECK(rig.LastError().find("whose field 'Key' the import changes") != std::string::npos);
  rig.Map({-1, 1});
  CHECK(rig.Counts() == "1 1 0 0");
  CHECK(rig.Rows() == "b,2 | a,new");
  rig.setting.UpdateIndex = false;  // the second run of one start goes by the table's order again
  CHECK(rig.Counts() == "1 1 0 0");
  CHECK(rig.Rows() == "b,new | a,new");
  rig.setting.EmptyTarget = true;
  CHECK(rig.Counts() == "0 0 0 0 fatal");
  CHECK(rig.Rows() == "b,new | a,new");
}

}  // namespace kelvorin::tests
