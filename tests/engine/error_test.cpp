// What is said when something fails: by step, in the log, to the user, and when the run goes on.

#include <doctest/doctest.h>

#include "base/M_FILE.h"
#include "tests/engine/run_rig.h"

namespace kelvorin::tests {

using contract::Answer;
using contract::Buttons;
using contract::Icon;
using contract::MessageBox;

namespace {

Status Broken() {
  return database::MakeStatus(Code::kCorrupt, database::ErrorNumber::kCorrupt, "broken");
}

// Fails the first such operation.
std::function<void(RunRig&)> Fault(const char* operation) {
  return [operation](RunRig& rig) { rig.memory.FailNext(operation, 1, Broken()); };
}

}  // namespace

TEST_CASE("Each step ends the run with its own message") {
  struct Row {
    int step;
    bool table_source, own_description;
    std::function<void(RunRig&)> make;
    const char* message;
  };
  const Row kRows[] = {
      {1, false, false, [](RunRig& rig) { rig.source.file_name = "/no/such"; },
       "Error in accessing import file '/no/such'"},
      {2, true, true, Fault("OpenDatabase"), "Error in opening DataBase stock'"},
      {3, true, true, Fault("OpenRecordset Import"), "Error in openining import table 'Import'"},
      {0, true, true,
       [](RunRig& rig) {
         rig.host.properties().ShowProgress = rig.platform.has_progress = true;
         rig.memory.FailNext("MoveLast", 1, Broken());
       },
       ""},
      {4, false, true, Fault("MoveFirst"), "Error in accessing first record of source table"},
      {5, true, true,
       [](RunRig& rig) {
         rig.setting.StartingLine = 2;
         rig.memory.FailNext("MoveNext", 1, Broken());
       },
       "Error in moving cursor in source table"},
      {6, true, true,
       [](RunRig& rig) {
         rig.memory.FailRead("Import", 2, "Key", Status(Code::kIo, "broken", 3049));
       },
       "Error in accessing table fields "},
      {7, false, false, [](RunRig& rig) { rig.FromText(std::string(251, ',') + "\r\n"); }, ""},
      {8, false, true, Fault("AddNew"), "Error in creating record in destination table"},
      {11, true, true, Fault("Close Import"), "Error in closing the import destination table"},
      {11, false, false,
       [](RunRig& rig) {
         rig.setting.DeleteImportFile = true;
         rig.host.after_post = [&](bool&) { CHECK(base::DeleteFile(rig.source.file_name).ok()); };
       },
       "Error in closing the import text file"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.step);
    CAPTURE(row.message);
    RunRig rig;
    rig.Holds({{"old", "1", "<null>", "<null>", "<null>"}});
    row.table_source ? rig.FromTable({Text("Key")}, {{"k"}, {"l"}}) : rig.FromText("k\r\n");
    rig.Map({0});
    rig.setting.Trace = rig.setting.ShowErrors = true;
    rig.setting.LogFileName = rig.folder.File("trace.log");
    row.make(rig);
    const engine::RunResult result = rig.Run();
    CHECK(result.fatal == rig.LastError());
    CHECK(rig.host.changed == "LastError");
    const std::string error = rig.Plain(rig.LastError());
    const std::string begin = std::string(row.message) + "\r\n";
    CHECK(error.substr(0, begin.size()) == begin);
    CHECK(error.size() > begin.size());
    if (row.own_description) CHECK(error == begin + "broken");
    const std::string log = rig.Plain(ReadWhole(rig.setting.LogFileName));
    const bool logged = log.find(error + "\r\n") != std::string::npos;
    CHECK(logged == (row.step != 11 || row.table_source));  // a file is deleted behind the log
    REQUIRE_FALSE(rig.platform.boxes.empty());
    const std::string shown = rig.Plain(rig.platform.boxes.back().text);
    CHECK(shown.rfind("The following Error Occured:\r\n\r\n" + begin, 0) == 0);
    CHECK((shown.find("\r\nbroken (3049)") != std::string::npos) == row.own_description);
    CHECK(rig.platform.boxes.back().title == "Error");
  }
}

TEST_CASE("Record errors name line, value, field and type, or what the engine said") {
  RunRig rig;
  rig.FromText("h,h\r\naxe,three\r\n");
  rig.Map({0, 1});
  rig.setting.StartingLine = 2;
  rig.Run();
  CHECK(rig.LastError().rfind("Error in assigning a value to  a field at line 2\r\n\r\n"
                              "Cannot assign value 'three' to field Amount of type Long\r\n",
                              0) == 0);
  rig.FromText("axe,3\r\n");
  rig.setting.StartingLine = 1;
  rig.memory.FailNext("Update", 1, Broken(), {{3022, "", "duplicate"}, {17, "", "of axe"}});
  CHECK(rig.Counts() == "1 0 1 0");
  CHECK(rig.LastError() ==
        "Error in updating record in destination table\r\nduplicate (3022)\r\nof axe (17)\r\n"
        "broken");
  rig.FromText("axe,3\r\n");
  CHECK(rig.Counts() == "1 1 0 0");
  CHECK(rig.LastError().empty());  // the next run forgets it

  RunRig table;  // a source that cannot go on costs the record, one that ends early costs none
  table.FromTable({Text("Key")}, {{"k"}, {"l"}});
  table.Map({0});
  for (const Status& why : {Broken(), Status(Code::kNoCurrentRecord, "ends early")}) {
    table.memory.FailNext("MoveNext", 1, why);
    CHECK(table.Counts() ==
          (why.code() == Code::kNoCurrentRecord ? "1 1 0 0" : "1 0 1 0") + std::string(" fatal"));
    CHECK(table.LastError() == "Error in accessing table fields \r\n" + std::string(why.message()));
  }
}

TEST_CASE("A damaged value of a source table costs its record alone, and only when it is mapped") {
  RunRig rig;
  rig.FromTable({Text("Key"), Text("Other")}, {{"k", "1"}, {"l", "2"}, {"m", "3"}});
  rig.memory.FailRead("Import", 2, "Key", Status(Code::kCorrupt, "holds rubbish"));
  rig.memory.FailRead("Import", 3, "Other", Status(Code::kCorrupt, "holds rubbish"));
  rig.Map({0});
  CHECK(rig.Counts() == "3 2 1 0");
  CHECK(rig.LastError().find("at line 2\r\n") != std::string::npos);
  CHECK(rig.LastError().find(" of type Text\r\nholds rubbish") != std::string::npos);
}

TEST_CASE("Answers and the error limit decide whether the run goes on") {
  struct Row {
    const char* name;
    bool show_errors, batch;
    std::int32_t limit;  // 0: none
    std::vector<Answer> answers;
    const char* boxes;  // C continue, S silently, L limit
    const char* counts;
  };
  using enum Answer;
  const Row kRows[] = {
      {"batch shows nothing", true, true, 0, {}, "", "4 1 3 0"},
      {"no to the first", true, false, 0, {kNo}, "C", "1 0 1 0 stopped"},
      {"yes each time", true, false, 0, {kYes, kNo, kYes, kNo, kYes, kNo}, "CSCSCS", "4 1 3 0"},
      {"silently from the first on", true, false, 0, {kYes, kYes}, "CS", "4 1 3 0"},
      {"limit of one", false, false, 1, {}, "", "1 0 1 0 stopped"},
      {"limit of two, shown", true, false, 2, {kYes, kNo, kYes, kNo}, "CSCSL", "2 0 2 0 stopped"},
      {"limit of two, silenced", true, false, 2, {kYes, kYes}, "CS", "2 0 2 0 stopped"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig;
    rig.FromText("a,x\r\nb,y\r\nc,z\r\nd,4\r\n");
    rig.Map({0, 1});
    rig.setting.ShowErrors = row.show_errors;
    rig.setting.LimitErrors = row.limit != 0;
    rig.setting.nErrorStop = row.limit;
    rig.options.batch = rig.host.properties().ShowSummary = row.batch;
    rig.platform.answers = row.answers;
    CHECK(rig.Counts() == row.counts);
    const std::string limit =
        "Max Number of errors (" + std::to_string(row.limit) + ") reached, stopping the process. ";
    const std::string silently =
        "Continue the import without displaying errors ? (i.e import as much as possible ?)";
    std::string boxes;
    for (const MessageBox& box : rig.platform.boxes) {
      const std::string last_line = box.text.substr(box.text.rfind('\n') + 1);
      if (box == MessageBox{silently, "Error", Icon::kQuestion, Buttons::kYesNo}) boxes += 'S';
      if (box == MessageBox{limit, "Error", Icon::kCritical, Buttons::kOk}) boxes += 'L';
      if (box == MessageBox{box.text, "Error", Icon::kExclamation, Buttons::kYesNo, false,
                            box.details} &&
          last_line == "Continue the import ?" && box.details.ends_with("' is no number"))
        boxes += 'C';
    }
    CHECK(boxes == row.boxes);
  }
}

TEST_CASE("The log is written letter for letter") {
  const std::string header =
      "**********\r\nStart importing file: import.txt in table \"Goods\" at 2024-05-17 "
      "13:04:05\r\n";
  const std::string limit = "Max Number of errors (1) reached, stopping the process. \r\n";
  const std::string footer =
      "End of import at 2024-05-17 13:04:05\r\nNumber of imported records : 1\r\n";
  for (const bool append : {false, true}) {
    CAPTURE(append);
    RunRig rig;
    rig.FromText("axe,3\r\nsaw,x\r\n");
    rig.Map({0, 1});
    rig.setting.Trace = rig.setting.LimitErrors = true;
    rig.setting.nErrorStop = 1;
    rig.setting.LogFileName = rig.folder.File("trace.log");
    rig.setting.LogAppend = append;
    WriteWhole(rig.setting.LogFileName, "what stood there\r\n");
    rig.Run();
    const std::string end = append ? "\r\n" : "";
    CHECK(rig.Plain(ReadWhole(rig.setting.LogFileName)) ==
          (append ? "what stood there\r\n\r\n" : "") + header + end + rig.LastError() + "\r\n" +
              end + limit + end + footer + end);
  }
}

TEST_CASE("What the storage tells without failing is in LastError, in the log and in the result") {
  const std::string undone = "T.DBF-journal: a change of T.DBF was interrupted and is undone";
  for (const char* const amount : {"3", "x"}) {
    CAPTURE(amount);
    RunRig rig;
    rig.FromText("axe," + std::string(amount) + "\r\n");
    rig.Map({0, 1});
    rig.setting.Trace = rig.setting.LimitErrors = true;
    rig.setting.nErrorStop = 1;
    rig.setting.LogFileName = rig.folder.File("trace.log");
    rig.engine.AddNotice(undone);
    CHECK(rig.Run().notices == std::vector{undone});
    CHECK(ReadWhole(rig.setting.LogFileName).find("\r\n" + undone + "\r\n") != std::string::npos);
    // An error that comes later is the last one.
    CHECK((rig.LastError() == undone) == (*amount == '3'));
    CHECK((rig.host.changed == "LastError"));
    rig.FromText("saw,4\r\n");
    CHECK(rig.Run().notices.empty());
    CHECK(rig.LastError().empty());
  }
}

TEST_CASE("What is to be written beside the target must be writable") {
  struct Refusing : engine::RunObserver {
    Status OnReject(const engine::RejectedRecord& record) override {
      return Status(Code::kNoSpace, "no room for " + std::string(record.raw));
    }
  } observer;
  RunRig rig;
  rig.FromText("axe,x\r\n");
  rig.Map({0, 1});
  rig.options.observer = &observer;
  CHECK(rig.Counts() == "1 0 0 0 fatal");
  CHECK(rig.LastError() == "no room for axe,x\r\n");
  rig.setting.RejectFile = rig.folder.File("no/such/rejects");
  CHECK(rig.Counts() == "0 0 0 0 fatal");
  rig.setting.RejectFile.clear();
  rig.setting.Trace = true;
  rig.setting.LogFileName = rig.folder.File("no/such/trace.log");
  CHECK(rig.Counts() == "0 0 0 0 fatal");
  CHECK(rig.Plain(rig.LastError()).rfind("Error in accessing import file 'import.txt'", 0) == 0);
}

}  // namespace kelvorin::tests
