// The run as a whole: what happens in which order, which records count, and how a run ends.

#include <doctest/doctest.h>

#include "base/M_FILE.h"
#include "tests/engine/run_rig.h"

namespace kelvorin::tests {

using values::TypeCode;

TEST_CASE("One record appended raises its events between the right operations") {
  RunRig rig;
  rig.FromText("axe,3\r\n");
  rig.Map({0, 1});
  rig.host.properties().ShowSummary = true;
  rig.host.before_field = [&](auto table, auto field, auto type, auto size, std::string& value) {
    rig.Note("BeforeFieldImport " + std::string(table) + "." + std::string(field) + " " +
             std::to_string(type) + " " + std::to_string(size) + " " + value);
    if (field == "Name") value = "saw";
  };
  rig.host.before_post = [&](bool&, bool&) { rig.Note("ValidateBeforePost"); };
  rig.host.after_post = [&](bool&) { rig.Note("ValidateAfterPost"); };
  rig.platform.on_yield = [&] { rig.Note("yield"); };
  rig.memory.StartLog("Goods");
  CHECK(rig.Counts() == "1 1 0 0");
  CHECK(rig.Trace() ==
        "yield\nAddNew\nBeforeFieldImport Goods.Name 10 20 axe\nWriteField Name = saw\n"
        "BeforeFieldImport Goods.Amount 4 0 3\nWriteField Amount = 3\nValidateBeforePost\n"
        "Update\nValidateAfterPost\nyield\nyield\n");  // one more for the last, empty record
  REQUIRE(rig.platform.boxes.size() == 1);
  CHECK(rig.platform.boxes[0] ==
        contract::MessageBox{"End of import\r\nNumber of imported records : 1", "Information",
                             contract::Icon::kInformation, contract::Buttons::kOk});
}

TEST_CASE("Lines to import are counted from StartingLine, empty ones in between") {
  struct Row {
    const char* name;
    const char* text;
    std::int32_t starting_line, max_lines;
    const char* rows;
  };
  const Row kRows[] = {
      {"empty file", "", 1, 0, ""},
      {"no separator at the end", "a\r\nb", 1, 0, "a | b"},
      {"empty lines are no records", "a\r\n\r\n\r\nb\r\n", 1, 0, "a | b"},
      {"empty lines count as lines", "h\r\n\r\na\r\nb\r\n", 4, 0, "b"},
      {"no more than MaxLines", "a\r\nb\r\nc\r\n", 1, 2, "a | b"},
      {"MaxLines of the file's own size", "a\r\nb\r\n", 1, 2, "a | b"},
      {"both", "h\r\na\r\n\r\nb\r\nc\r\n", 2, 2, "a | b"},
      {"behind the end", "a\r\n", 9, 0, ""},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig;
    rig.FromText(row.text);
    rig.Map({0});
    rig.setting.StartingLine = row.starting_line;
    rig.setting.MaxLines = row.max_lines;
    const engine::RunResult result = rig.Run();
    CHECK(rig.Rows() == row.rows);
    CHECK(result.read == result.imported);
  }
}

TEST_CASE("Text is cut by the rule of its kind") {
  RunRig rig;
  rig.Map({0, 1});
  rig.FromText("axe  3 rest\r\nsaw  12rest\r\n");
  rig.setting.TypeFormat = 1;
  REQUIRE((rig.breaks.AddFixedBreak(7).ok() && rig.breaks.AddFixedBreak(5).ok()));
  CHECK(rig.Counts() == "2 2 0 0");
  rig.FromText("<tr><td>pin</td><td>4</td></tr>\r\n");
  rig.setting.TypeFormat = 2;
  CHECK(rig.Counts() == "1 1 0 0");
  CHECK(rig.Rows() == "axe  ,3 | saw  ,12 | pin,4");
}

TEST_CASE("A table source hands over its texts without line ends and nothing binary") {
  RunRig rig;
  rig.FromTable({Typed("Key", TypeCode::kLong), Typed("Blob", TypeCode::kLongBinary), Text("Word"),
                 Typed("Long", TypeCode::kMemo), Typed("When", TypeCode::kDate)},
                {{"1", "DEAD", "a", "x", "2024-01-02"},
                 {"2", "BEEF", "b\r\nc", "y\nz", "2024-01-03 10:00:00"},
                 {"3", "CAFE", "<null>", "<null>", "<null>"}});
  rig.Map({2, 0, 4, 3, 1});
  rig.setting.StartingLine = 2;
  CHECK(rig.Counts() == "2 2 0 0");
  CHECK(rig.Rows() == "b  c,2,2024-01-03 10:00:00,y z | ,3,~,");
  rig.Map({1, 0, 4, 3, 1});
  CHECK(rig.Run().notices ==
        std::vector<std::string>{"Binary values are not imported: field 'Picture' gets nothing, "
                                 "'Name' is filled as from an empty value"});
  rig.Map({2, 0, 4, 3});
  rig.setting.StartingLine = 9;
  CHECK(rig.Counts() == "0 0 0 0");

  RunRig empty;
  empty.FromTable({Text("Word")}, {});
  empty.Map({0});
  empty.setting.StartingLine = 2;
  empty.platform.has_progress = empty.host.properties().ShowProgress = true;
  CHECK(empty.Counts() == "0 0 0 0");
}

TEST_CASE("The host drops a record, stops before it or behind it, but cannot revive one") {
  struct Row {
    const char* name;
    bool record, process, after;  // set for the second record
    const char* counts;
  };
  const Row kRows[] = {
      {"nothing", false, false, false, "4 3 1 0"},
      {"drops the second", true, false, false, "4 2 1 1"},
      {"stops before the second is posted", false, true, false, "2 1 0 0 stopped"},
      {"drops the second and stops", true, true, false, "2 1 0 1 stopped"},
      {"stops behind the second", false, false, true, "2 2 0 0 stopped"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig;
    rig.FromText("a,1\r\nb,2\r\nc,x\r\nd,4\r\n");
    rig.Map({0, 1});
    int before = 0;
    int after = 0;
    rig.host.before_post = [&](bool& record, bool& process) {
      const bool second = ++before == 2;
      record = second && row.record;  // also clears the flag of the record with "x"
      process = second && row.process;
    };
    rig.host.after_post = [&](bool& process) { process = ++after == 2 && row.after; };
    CHECK(rig.Counts() == row.counts);
  }
}

TEST_CASE("A handler that fails ends the run with its text, its record unposted") {
  RunRig rig;
  rig.FromText("a,1\r\nb,2\r\n");
  rig.Map({0, 1});
  rig.host.before_post = [&](bool&, bool&) { rig.host.failure = Status(Code::kStopped, "oops"); };
  CHECK(rig.Counts() == "1 0 0 0 fatal");
  CHECK(rig.LastError() == "oops");
  CHECK(rig.Rows().empty());
}

TEST_CASE("Progress shows the estimate and counts up to it") {
  struct Row {
    const char* name;
    const char* text;
    bool append;
    std::int32_t starting_line, max_lines;
    const char* progress;
  };
  const Row kRows[] = {
      {"as estimated", "aa\r\nbb\r\n", true, 1, 0,
       "show; maximum 2; 1 out of 2; 2 out of 2; unload"},
      {"more than estimated", "aaaaaaaa\r\nb\r\n", true, 1, 0,
       "show; maximum 1; 1 out of 1; 2; unload"},
      {"less StartingLine, at most MaxLines", "aa\r\nbb\r\ncc\r\n", true, 2, 1,
       "show; maximum 1; 1 out of 1; unload"},
      {"never below none", "aaaaaa\r\nb\r\n", true, 9, 0, "show; maximum 0; unload"},
      {"an update is as long as its target", "aa\r\nbb\r\ncc\r\n", false, 1, 0,
       "show; maximum 1; 1 out of 1; unload"},
      {"empty first line", "\r\naa\r\n", true, 1, 0, "show; maximum 3; 1 out of 3; unload"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig;
    rig.Holds({{"x", "1", "<null>", "<null>", "<null>"}});
    rig.FromText(row.text);
    rig.Map({0});
    rig.setting.AppendRecords = row.append;
    rig.setting.StartingLine = row.starting_line;
    rig.setting.MaxLines = row.max_lines;
    rig.platform.has_progress = rig.host.properties().ShowProgress = true;
    rig.Run();
    CHECK(rig.platform.progress == row.progress);
  }
}

TEST_CASE("A cancel takes effect before the next record, and only while progress is shown") {
  struct Row {
    const char* name;
    int at_yield;  // one before and one behind each record
    bool show_progress;
    const char* counts;
  };
  const Row kRows[] = {
      {"before the first record", 1, true, "0 0 0 0 cancelled"},
      {"behind the first, before it is posted", 2, true, "1 1 0 0 cancelled"},
      {"before the second", 3, true, "1 1 0 0 cancelled"},
      {"behind the last, with nothing left to cancel", 6, true, "3 3 0 0"},
      {"without a dialog", 1, false, "3 3 0 0"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig;
    rig.FromText("a\r\nb\r\nc");
    rig.Map({0});
    rig.setting.DeleteImportFile = true;
    rig.platform.has_progress = rig.host.properties().ShowSummary = true;
    rig.host.properties().ShowProgress = row.show_progress;
    rig.platform.cancel_at_yield = row.at_yield;
    const engine::RunResult result = rig.Run();
    CHECK(RunRig::Show(result) == row.counts);
    CHECK(rig.platform.boxes.size() == 1);  // the summary is shown all the same
    CHECK(base::FileExists(rig.source.file_name) == result.cancelled);
  }
}

TEST_CASE("The import file is deleted only when nothing of it can be missed") {
  struct Row {
    const char* name;
    const char* text;
    bool dry_run, limit, rejects;
    bool deleted;
    const char* rows;  // a dry run leaves the target as it was
  };
  const Row kRows[] = {
      {"imported", "a,1\r\n", false, false, false, true, "a,1"},
      {"with a rejected record", "a,1\r\nb,x\r\n", false, false, false, false, "a,1"},
      {"which stands in the reject file", "a,1\r\nb,x\r\n", false, false, true, true, "a,1"},
      {"nothing imported", "b,x\r\n", false, false, true, false, ""},
      {"dry run", "a,1\r\nb,x\r\n", true, false, true, false, "old,1"},
      {"stopped by the error limit", "a,1\r\nb,x\r\nc,3\r\n", false, true, true, false, "a,1"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig;
    rig.Holds({{"old", "1", "<null>", "<null>", "<null>"}});
    rig.FromText(row.text);
    rig.Map({0, 1});
    rig.setting.DeleteImportFile = rig.setting.EmptyTarget = true;
    rig.setting.LimitErrors = row.limit;
    rig.setting.nErrorStop = 1;
    rig.options.dry_run = row.dry_run;
    if (row.rejects) rig.setting.RejectFile = rig.folder.File("rejected");
    if (row.dry_run) rig.host.after_post = [](bool&) { FAIL("nothing was posted"); };
    rig.Run();
    CHECK(base::FileExists(rig.source.file_name) == !row.deleted);
    CHECK(rig.Rows() == row.rows);
    CHECK(base::FileExists(rig.folder.File("rejected")) == (row.rejects && !row.dry_run));
  }
  // Not all of it was read, or it is not certain to be stored.
  for (const int how : {0, 1, 2}) {
    CAPTURE(how);
    RunRig rig;
    rig.Holds({{"old", "1", "<null>", "<null>", "<null>"}});
    rig.FromText("a,1\r\nb,2\r\nc,3\r\n");
    rig.Map({0, 1});
    rig.setting.DeleteImportFile = true;
    if (how == 0) rig.setting.MaxLines = 1;
    if (how == 1) rig.setting.AppendRecords = false;  // one record to update
    if (how == 2) rig.memory.FailNext("Flush", 1, Status(Code::kIo, "disk full"));
    CHECK(rig.Run().fatal.has_value() == (how == 2));
    CHECK(base::FileExists(rig.source.file_name));
  }
  RunRig rig;
  rig.FromText("a,1\r\nb,2\r\n\r\n");
  rig.Map({0, 1});
  rig.setting.DeleteImportFile = true;
  rig.setting.MaxLines = 2;  // all that there are
  rig.Run();
  CHECK_FALSE(base::FileExists(rig.source.file_name));
}

TEST_CASE("Rejected records go to a file that the same job can import") {
  RunRig rig;
  rig.FromText("Name,Amount\r\na,1\r\n\"b,\"\"\",x\r\nc,3\r\n,9999999999");
  rig.Map({0, 1});
  rig.setting.StartingLine = 2;
  rig.setting.RejectFile = rig.folder.File("rejected.csv");
  CHECK(rig.Counts() == "4 2 2 0");
  CHECK(ReadWhole(rig.setting.RejectFile) == "Name,Amount\r\n\"b,\"\"\",x\r\n,9999999999");
  const std::string reasons = ReadWhole(rig.setting.RejectFile + ".reasons");
  CHECK(reasons.rfind("Line,Field,Value,Reason\r\n3,Amount,x,", 0) == 0);
  CHECK(reasons.find("\r\n5,Amount,9999999999,") != std::string::npos);

  RunRig table;
  table.FromTable({Text("A"), Text("B"), Text("C")}, {{"x,y", "1", "z"}, {"q\"", "no", "z"}});
  table.Map({0, 1});
  table.setting.RejectFile = table.folder.File("rejected.csv");
  CHECK(table.Counts() == "2 1 1 0");
  CHECK(ReadWhole(table.setting.RejectFile) == "\"q\"\"\",no,z\r\n");
  CHECK(ReadWhole(table.setting.RejectFile + ".reasons").find("\r\n2,Amount,no,") == 23);
}

}  // namespace kelvorin::tests
