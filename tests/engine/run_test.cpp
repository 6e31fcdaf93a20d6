// The run as a whole: what happens in which order, which records count, and how a run ends.

#include <doctest/doctest.h>

#include "base/M_FILE.h"
#include "tests/engine/run_rig.h"

namespace kelvorin::tests {

using contract::Answer;

TEST_CASE("One record appended raises its events between the right operations") {
  RunRig rig;
  rig.Text("axe,3\r\n");
  rig.Map({0, 1});
  rig.host.properties().ShowSummary = true;
  rig.host.before_field = [&](std::string_view table, std::string_view field, std::int16_t type,
                              std::int16_t size, std::string& value) {
    rig.trace.Note("BeforeFieldImport " + std::string(table) + "." + std::string(field) + " " +
                   std::to_string(type) + " " + std::to_string(size) + " " + value);
    if (field == "Name") value = "saw";
  };
  rig.host.before_post = [&](bool& record, bool& process) {
    rig.trace.Note("ValidateBeforePost " + std::to_string(record) + std::to_string(process));
  };
  rig.host.after_post = [&](bool& process) {
    rig.trace.Note("ValidateAfterPost " + std::to_string(process));
  };
  rig.platform.on_yield = [&] { rig.trace.Note("yield"); };
  rig.memory.StartLog("Goods");

  const engine::RunResult result = rig.Run();
  CHECK(rig.trace.Take() ==
        "yield\n"
        "AddNew\n"
        "BeforeFieldImport Goods.Name 10 20 axe\n"
        "WriteField Name = saw\n"
        "BeforeFieldImport Goods.Amount 4 4 3\n"
        "WriteField Amount = 3\n"
        "ValidateBeforePost 00\n"
        "Update\n"
        "ValidateAfterPost 0\n"
        "yield\n"  // the last, empty record
        "yield\n");
  CHECK(RunRig::Show(result) == "1 1 0 0");
  REQUIRE(rig.platform.boxes.size() == 1);
  CHECK(rig.platform.boxes[0] ==
        contract::MessageBox{"End of import\r\nNumber of imported records : 1", "Information",
                             contract::Icon::kInformation, contract::Buttons::kOk});
  CHECK(rig.LastError().empty());
}

TEST_CASE("Lines to import are counted from StartingLine, empty ones in between") {
  struct Row {
    const char* name;
    const char* text;
    std::int32_t starting_line, max_lines;
    const char* rows;
    const char* counts;
  };
  const Row kRows[] = {
      {"empty file", "", 1, 0, "", "0 0 0 0"},
      {"no separator at the end", "a\r\nb", 1, 0, "a|b", "2 2 0 0"},
      {"empty lines", "a\r\n\r\n\r\nb\r\n", 1, 0, "a|b", "2 2 0 0"},
      {"empty lines count as lines", "h\r\n\r\na\r\nb\r\n", 4, 0, "b", "1 1 0 0"},
      {"from the second line", "h\r\na\r\nb\r\n", 2, 0, "a|b", "2 2 0 0"},
      {"no more than MaxLines", "a\r\nb\r\nc\r\n", 1, 2, "a|b", "2 2 0 0"},
      {"MaxLines of the file's own size", "a\r\nb\r\n", 1, 2, "a|b", "2 2 0 0"},
      {"both", "h\r\na\r\n\r\nb\r\nc\r\n", 2, 2, "a|b", "2 2 0 0"},
      {"behind the end", "a\r\n", 9, 0, "", "0 0 0 0"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig(TableOf({Field("Name", values::TypeCode::kText, 20)}));
    rig.Text(row.text);
    rig.Map({0});
    rig.setting.StartingLine = row.starting_line;
    rig.setting.MaxLines = row.max_lines;
    const engine::RunResult result = rig.Run();
    std::string rows;
    for (const auto& stored : rig.memory.Rows("shop", "Goods"))
      rows += (rows.empty() ? "" : "|") + stored[0];
    CHECK(rows == row.rows);
    CHECK(RunRig::Show(result) == row.counts);
  }
}

TEST_CASE("Text is cut by the rule of its kind") {
  RunRig rig;
  rig.Map({0, 1});
  rig.Text("axe  3 rest\r\nsaw  12rest\r\n");
  rig.setting.TypeFormat = 1;
  REQUIRE(rig.breaks.AddFixedBreak(7).ok());
  REQUIRE(rig.breaks.AddFixedBreak(5).ok());
  CHECK(RunRig::Show(rig.Run()) == "2 2 0 0");

  rig.Text("<tr><td>pin</td><td>4</td></tr>\r\n");
  rig.setting.TypeFormat = 2;
  CHECK(RunRig::Show(rig.Run()) == "1 1 0 0");

  rig.Text("'a;b';5\r\n");
  rig.setting.TypeFormat = 0;
  rig.setting.Delimiter = 1;
  settings::SetSeparators(rig.setting, ";");
  settings::RebuildDelimiter(rig.setting);
  CHECK(RunRig::Show(rig.Run()) == "1 1 0 0");
  CHECK(rig.Rows() == Show({{"axe  ", "3", "<null>", "<null>", "<null>"},
                            {"saw  ", "12", "<null>", "<null>", "<null>"},
                            {"pin", "4", "<null>", "<null>", "<null>"},
                            {"a;b", "5", "<null>", "<null>", "<null>"}}));
}

TEST_CASE("A table source hands over its texts without line ends and nothing binary") {
  database::TableDef stock;
  stock.Fields = {Field("Key", values::TypeCode::kLong),
                  Field("Blob", values::TypeCode::kLongBinary),
                  Field("Word", values::TypeCode::kText, 20),
                  Field("Long", values::TypeCode::kMemo), Field("When", values::TypeCode::kDate)};
  RunRig rig;
  rig.Table(stock, {{"1", "DEAD", "a", "x", "2024-01-02"},
                    {"2", "BEEF", "b\r\nc", "y\nz", "2024-01-03 10:00:00"},
                    {"3", "CAFE", "<null>", "<null>", "<null>"}});
  rig.Map({2, 0, 4, 3, 1});
  rig.setting.StartingLine = 2;
  rig.memory.StartLog("Import");
  CHECK(RunRig::Show(rig.Run()) == "2 2 0 0");
  CHECK(rig.Rows() == Show({{"b  c", "2", "2024-01-03 10:00:00", "y z", "<null>"},
                            {"", "3", "<null>", "", "<null>"}}));

  rig.setting.StartingLine = 9;
  CHECK(RunRig::Show(rig.Run()) == "0 0 0 0");
  RunRig empty;
  empty.Table(stock, {});
  empty.Map({2});
  empty.setting.StartingLine = 2;
  empty.platform.has_progress = true;
  empty.host.properties().ShowProgress = true;
  CHECK(RunRig::Show(empty.Run()) == "0 0 0 0");
}

TEST_CASE("The host drops a record, stops before it or behind it") {
  struct Row {
    const char* name;
    int at;  // record
    bool record, process, after;
    const char* counts;
  };
  const Row kRows[] = {
      {"nothing", 0, false, false, false, "3 3 0 0"},
      {"drops the second", 2, true, false, false, "3 2 0 1"},
      {"stops before the second is posted", 2, false, true, false, "2 1 0 0 stopped"},
      {"drops the second and stops", 2, true, true, false, "2 1 0 1 stopped"},
      {"stops behind the second", 2, false, false, true, "2 2 0 0 stopped"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig;
    rig.Text("a\r\nb\r\nc\r\n");
    rig.Map({0});
    int before = 0;
    int after = 0;
    rig.host.before_post = [&](bool& record, bool& process) {
      if (++before == row.at) {
        record = row.record;
        process = row.process;
      }
    };
    rig.host.after_post = [&](bool& process) { process = ++after == row.at && row.after; };
    CHECK(RunRig::Show(rig.Run()) == row.counts);
  }
}

TEST_CASE("A host cannot revive a record that lacks a value, and its failure ends the run") {
  RunRig rig;
  rig.Text("a,x\r\nb,2\r\n");
  rig.Map({0, 1});
  rig.host.before_post = [](bool& record, bool&) { record = false; };
  CHECK(RunRig::Show(rig.Run()) == "2 1 1 0");
  CHECK(rig.Rows() == Show({{"b", "2", "<null>", "<null>", "<null>"}}));

  rig.host.before_post = [&](bool&, bool&) {
    rig.host.failure = Status(Code::kStopped, "handler failed");
  };
  const engine::RunResult result = rig.Run();
  CHECK(result.fatal == "handler failed");
  CHECK(rig.LastError() == "handler failed");
  CHECK(rig.memory.Rows("shop", "Goods").size() == 1);

  rig.host.before_post = nullptr;
  rig.host.before_field = [](auto, auto, auto, auto, std::string&) {};
  CHECK(rig.Run().read == 1);  // nothing goes on behind a handler that failed
}

TEST_CASE("Progress shows the estimate and counts up to it") {
  struct Row {
    const char* name;
    const char* text;
    bool append, key_lookup;
    std::int32_t starting_line, max_lines;
    const char* progress;
  };
  const Row kRows[] = {
      {"as estimated", "aa\r\nbb\r\n", true, false, 1, 0,
       "show; maximum 2; value 1; text 1 out of 2; value 2; text 2 out of 2; unload"},
      {"more than estimated", "aaaa\r\nb\r\nc\r\n", true, false, 1, 0,
       "show; maximum 2; value 1; text 1 out of 2; value 2; text 2 out of 2; text 3; unload"},
      {"less StartingLine", "aa\r\nbb\r\ncc\r\n", true, false, 2, 0,
       "show; maximum 2; value 1; text 1 out of 2; value 2; text 2 out of 2; unload"},
      {"never below none", "aaaaaa\r\nb\r\n", true, false, 9, 0, "show; maximum 0; unload"},
      {"MaxLines", "aa\r\nbb\r\ncc\r\n", true, false, 1, 1,
       "show; maximum 1; value 1; text 1 out of 1; unload"},
      {"an update is as long as its target", "aa\r\nbb\r\ncc\r\n", false, false, 1, 0,
       "show; maximum 1; value 1; text 1 out of 1; unload"},
      {"empty first line", "\r\naa\r\nbb\r\n", true, false, 1, 0,
       "show; maximum 5; value 1; text 1 out of 5; value 2; text 2 out of 5; unload"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig;
    if (!row.append) rig.AddGoods({"x", "1", "<null>", "<null>", "<null>"});
    rig.OpenTarget();
    rig.Text(row.text);
    rig.Map({0});
    rig.setting.AppendRecords = row.append;
    rig.setting.StartingLine = row.starting_line;
    rig.setting.MaxLines = row.max_lines;
    rig.host.properties().ShowProgress = true;
    rig.platform.has_progress = true;
    rig.Run();
    CHECK(rig.platform.progress == row.progress);
  }
}

TEST_CASE("A cancel takes effect before the next record, and only while progress is shown") {
  // Yields: one before each record, one behind each; the third is before the second record.
  struct Row {
    const char* name;
    int at_yield;
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
    rig.Text("a\r\nb\r\nc");
    rig.Map({0});
    rig.setting.DeleteImportFile = true;
    rig.platform.has_progress = true;
    rig.host.properties().ShowProgress = row.show_progress;
    rig.host.properties().ShowSummary = true;
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
    bool dry_run, limit;
    bool deleted;
  };
  const Row kRows[] = {
      {"imported", "a,1\r\n", false, false, true},
      {"with a rejected record", "a,1\r\nb,x\r\n", false, false, true},
      {"nothing imported", "b,x\r\n", false, false, false},
      {"dry run", "a,1\r\n", true, false, false},
      {"stopped by the error limit", "a,1\r\nb,x\r\nc,3\r\n", false, true, false},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig;
    rig.Text(row.text);
    rig.Map({0, 1});
    rig.setting.DeleteImportFile = true;
    rig.setting.LimitErrors = row.limit;
    rig.setting.nErrorStop = 1;
    rig.options.dry_run = row.dry_run;
    rig.Run();
    CHECK(base::FileExists(rig.source.file_name) == !row.deleted);
  }

  RunRig rig;  // a dBASE table is its file; its record set must be closed before
  rig.Table(TableOf({Field("Key", values::TypeCode::kText, 5)}), {{"k"}});
  rig.Map({0});
  rig.setting.DeleteImportFile = true;
  const std::string file = rig.folder.File("Import.dbf");
  WriteWhole(file, "x");
  rig.memory.AddTable(rig.folder.path(), rig.memory.Def("stock", "Import"));
  rig.memory.AddRow(rig.folder.path(), "Import", {"k"});
  rig.source.SourceDBName = rig.folder.path();
  CHECK(RunRig::Show(rig.Run()) == "1 1 0 0");
  CHECK_FALSE(base::FileExists(file));
}

TEST_CASE("A dry run does everything but the change") {
  RunRig rig;
  rig.AddGoods({"old", "1", "<null>", "<null>", "<null>"});
  rig.OpenTarget();
  const std::string before = rig.Rows();
  rig.Text("a,1\r\nb,x\r\n");
  rig.Map({0, 1});
  rig.setting.EmptyTarget = true;
  rig.options.dry_run = true;
  int posted = 0;
  rig.host.after_post = [&](bool&) { ++posted; };
  CHECK(RunRig::Show(rig.Run()) == "2 1 1 0");
  CHECK(rig.Rows() == before);
  CHECK(posted == 0);
}

TEST_CASE("Rejected records go to a file that the same job can import") {
  RunRig rig;
  rig.Text("Name,Amount\r\na,1\r\n\"b,\"\"\",x\r\nc,3\r\n,9999999999");
  rig.Map({0, 1});
  rig.setting.StartingLine = 2;
  rig.setting.RejectFile = rig.folder.File("rejected.csv");
  CHECK(RunRig::Show(rig.Run()) == "4 2 2 0");
  CHECK(ReadWhole(rig.setting.RejectFile) == "Name,Amount\r\n\"b,\"\"\",x\r\n,9999999999");
  const std::string reasons = ReadWhole(rig.setting.RejectFile + ".reasons");
  CHECK(reasons.substr(0, 25) == "Line,Field,Value,Reason\r\n");
  CHECK(reasons.find("\r\n5,Amount,9999999999,") != std::string::npos);

  RunRig table;
  table.Table(
      TableOf({Field("A", values::TypeCode::kText, 9), Field("B", values::TypeCode::kText, 9)}),
      {{"x,y", "1"}, {"q\"", "no"}});
  table.Map({0, 1});
  table.setting.RejectFile = table.folder.File("rejected.csv");
  CHECK(RunRig::Show(table.Run()) == "2 1 1 0");
  CHECK(ReadWhole(table.setting.RejectFile) == "\"q\"\"\",no\r\n");
}

}  // namespace kelvorin::tests
