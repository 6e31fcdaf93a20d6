// What is said when something fails: by step, in the log, to the user, and when the run goes on.

#include <doctest/doctest.h>

#include "base/M_FILE.h"
#include "base/M_STRING.h"
#include "tests/engine/run_rig.h"

namespace kelvorin::tests {

using contract::Answer;
using contract::Buttons;
using contract::Icon;
using contract::MessageBox;

namespace {

constexpr const char* kContinue = "Continue the import ?";
constexpr const char* kSilently =
    "Continue the import without displaying errors ? (i.e import as much as possible ?)";

Status Broken() {
  return database::MakeStatus(Code::kCorrupt, database::ErrorNumber::kCorrupt, "broken");
}

// `text` with the rig's own folder taken out.
std::string Plain(const RunRig& rig, std::string_view text) {
  return base::Replace(text, rig.folder.path() + "/", "");
}

}  // namespace

TEST_CASE("Each step ends the run with its own message") {
  struct Row {
    const char* name;
    bool table_source;
    std::function<void(RunRig&)> make;
    const char* message;
    const char* description = "broken";
  };
  const auto fault = [](const char* operation) {
    return [operation](RunRig& rig) { rig.memory.FailNext(operation, 1, Broken()); };
  };
  const Row kRows[] = {
      {"1: no file", false, [](RunRig& rig) { rig.source.file_name = "/no/such"; },
       "Error in accessing import file '/no/such'", nullptr},
      {"1: no separator", false,
       [](RunRig& rig) {
         rig.setting.RecSeparator = 3;
         rig.setting.RecSepOther = "";
       },
       "Error in accessing import file 'import.txt'", nullptr},
      {"2: database", true, fault("OpenDatabase"), "Error in opening DataBase stock'"},
      {"3: table", true, fault("OpenRecordset Import"), "Error in openining import table 'Import'"},
      {"0: estimate", true,
       [](RunRig& rig) {
         rig.host.properties().ShowProgress = rig.platform.has_progress = true;
         rig.memory.FailNext("MoveLast", 1, Broken());
       },
       ""},
      {"4: first record", false, fault("MoveFirst"),
       "Error in accessing first record of source table"},
      {"5: moving the source", true,
       [](RunRig& rig) {
         rig.setting.StartingLine = 2;
         rig.memory.FailNext("MoveNext", 1, Broken());
       },
       "Error in moving cursor in source table"},
      {"5: emptying the target", true,
       [](RunRig& rig) {
         rig.setting.EmptyTarget = true;
         rig.memory.FailNext("Delete", 1, Broken());
       },
       "Error in moving cursor in source table"},
      {"6: reading the source", true,
       [](RunRig& rig) { rig.memory.FailRead("Import", 2, "Key", Broken()); },
       "Error in accessing table fields "},
      {"7: splitting", false,
       [](RunRig& rig) { rig.Text("a\r\n" + std::string(251, ',') + "\r\n"); }, "", nullptr},
      {"8: AddNew", false, fault("AddNew"), "Error in creating record in destination table"},
      {"8: Edit", false,
       [](RunRig& rig) {
         rig.setting.AppendRecords = false;
         rig.memory.FailNext("Edit", 1, Broken());
       },
       "Error in creating record in destination table"},
      {"11: closing a table", true, fault("Close Import"),
       "Error in closing the import destination table"},
      {"11: deleting the file", false,
       [](RunRig& rig) {
         rig.setting.DeleteImportFile = true;
         rig.host.after_post = [&](bool&) { CHECK(base::DeleteFile(rig.source.file_name).ok()); };
       },
       "Error in closing the import text file", nullptr},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    RunRig rig;
    rig.AddGoods({"old", "1", "<null>", "<null>", "<null>"});
    rig.OpenTarget();
    if (row.table_source) {
      rig.Table(TableOf({Field("Key", values::TypeCode::kText, 9)}), {{"k"}, {"l"}});
    } else {
      rig.Text("k\r\n");
    }
    rig.Map({0});
    rig.setting.Trace = true;
    rig.setting.LogFileName = rig.folder.File("trace.log");
    rig.setting.ShowErrors = true;
    row.make(rig);
    const engine::RunResult result = rig.Run();
    REQUIRE(result.fatal);
    CHECK(rig.LastError() == *result.fatal);
    const std::string error = Plain(rig, rig.LastError());
    const std::string begin = std::string(row.message) + "\r\n";
    CHECK(error.substr(0, begin.size()) == begin);
    CHECK(error.size() > begin.size());
    if (row.description != nullptr) CHECK(error == begin + row.description);
    const std::string log = Plain(rig, ReadWhole(rig.setting.LogFileName));
    const bool logged = log.find(error + "\r\n") != std::string::npos;
    CHECK(logged == (row.name != std::string_view("11: deleting the file")));  // the log is closed
    REQUIRE_FALSE(rig.platform.boxes.empty());
    const MessageBox& box = rig.platform.boxes.back();
    CHECK(box.title == "Error");
    const std::string shown =
        "The following Error Occured:\r\n\r\n" + std::string(row.message) + "\r\n";
    CHECK(Plain(rig, box.text).substr(0, shown.size()) == shown);
    if (row.description != nullptr) CHECK(box.text.substr(box.text.size() - 13) == "broken (3049)");
    CHECK(rig.host.changed.back() == "LastError");
  }
}

TEST_CASE("Record errors name line, value, field and type, or what the engine said") {
  RunRig rig;
  rig.Text("h,h\r\naxe,three\r\n");
  rig.Map({0, 1});
  rig.setting.StartingLine = 2;
  rig.Run();
  const std::string assign =
      "Error in assigning a value to  a field at line 2\r\n\r\n"
      "Cannot assign value 'three' to field Amount of type Long\r\n";
  CHECK(rig.LastError().substr(0, assign.size()) == assign);

  rig.Text("axe,3\r\n");
  rig.setting.StartingLine = 1;
  rig.memory.FailNext("Update", 1, Broken(), {{3022, "", "duplicate"}, {17, "", "because of axe"}});
  CHECK(RunRig::Show(rig.Run()) == "1 0 1 0");
  CHECK(rig.LastError() ==
        "Error in updating record in destination table\r\nduplicate (3022)\r\nbecause of axe "
        "(17)\r\nbroken");

  // A source that cannot go on costs the record, then the run.
  RunRig table;
  table.Table(TableOf({Field("Key", values::TypeCode::kText, 9)}), {{"k"}, {"l"}});
  table.Map({0});
  table.memory.FailNext("MoveNext", 1, Broken());
  CHECK(RunRig::Show(table.Run()) == "1 0 1 0 fatal");
  CHECK(table.LastError().substr(0, 32) == "Error in accessing table fields ");
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
      {"silent", false, false, 0, {}, "", "4 1 3 0"},
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
    rig.Text("a,x\r\nb,y\r\nc,z\r\nd,4\r\n");
    rig.Map({0, 1});
    rig.setting.ShowErrors = row.show_errors;
    rig.setting.LimitErrors = row.limit != 0;
    rig.setting.nErrorStop = row.limit;
    rig.options.batch = row.batch;
    rig.host.properties().ShowSummary = row.batch;  // which a batch does not show
    rig.platform.answers = row.answers;
    CHECK(RunRig::Show(rig.Run()) == row.counts);
    std::string boxes;
    for (const MessageBox& box : rig.platform.boxes) {
      CHECK(box.title == "Error");
      if (box == MessageBox{kSilently, "Error", Icon::kQuestion, Buttons::kYesNo}) {
        boxes += 'S';
      } else if (box.text == "Max Number of errors (" + std::to_string(row.limit) +
                                 ") reached, stopping the process. " &&
                 box.icon == Icon::kCritical) {
        boxes += 'L';
      } else if (box.icon == Icon::kExclamation && box.buttons == Buttons::kYesNo &&
                 box.text.substr(box.text.rfind("\r\n") + 2) == kContinue) {
        boxes += 'C';
      }
    }
    CHECK(boxes == row.boxes);
  }
}

TEST_CASE("The log is written letter for letter") {
  RunRig rig;
  rig.Text("axe,3\r\nsaw,x\r\n");
  rig.Map({0, 1});
  rig.setting.Trace = true;
  rig.setting.LimitErrors = true;
  rig.setting.nErrorStop = 1;
  rig.setting.LogFileName = rig.folder.File("trace.log");
  WriteWhole(rig.setting.LogFileName, "what stood there\r\n");

  const std::string header =
      "**********\r\nStart importing file: import.txt in table \"Goods\" at 2024-05-17 "
      "13:04:05\r\n";
  const std::string footer =
      "End of import at 2024-05-17 13:04:05\r\nNumber of imported records : 1\r\n";
  const std::string limit = "Max Number of errors (1) reached, stopping the process. \r\n";
  rig.Run();
  const std::string error = rig.LastError() + "\r\n";
  CHECK(Plain(rig, ReadWhole(rig.setting.LogFileName)) == header + error + limit + footer);

  rig.setting.LogAppend = true;
  rig.Text("pin,3\r\nsaw,x\r\n");
  WriteWhole(rig.setting.LogFileName, "what stood there\r\n");
  rig.Run();
  CHECK(Plain(rig, ReadWhole(rig.setting.LogFileName)) == "what stood there\r\n\r\n" + header +
                                                              "\r\n" + error + "\r\n" + limit +
                                                              "\r\n" + footer + "\r\n");

  rig.setting.AppendRecords = false;
  rig.setting.UpdateIndex = rig.setting.KeyLookUp = true;
  rig.setting.IndexName = "ByName";
  rig.setting.LogAppend = false;
  rig.Map({-1, 1});
  rig.Run();
  CHECK(Plain(rig, ReadWhole(rig.setting.LogFileName)) ==
        header +
            "You specified KeyLookUp but you did not import the keys for the field : Name\r\n");
}

TEST_CASE("A log or reject file that cannot be written ends the run before the first record") {
  RunRig rig;
  rig.Text("axe,3\r\n");
  rig.Map({0, 1});
  rig.setting.Trace = true;
  rig.setting.LogFileName = rig.folder.File("no/such/trace.log");
  CHECK(RunRig::Show(rig.Run()) == "0 0 0 0 fatal");
  CHECK(Plain(rig, rig.LastError()).rfind("Error in accessing import file 'import.txt'", 0) == 0);
  if (base::FileExists("/dev/full")) {
    rig.setting.LogFileName = "/dev/full";
    CHECK(RunRig::Show(rig.Run()) == "0 0 0 0 fatal");
  }
  rig.setting.Trace = false;
  rig.setting.RejectFile = rig.folder.File("no/such/rejects");
  CHECK(RunRig::Show(rig.Run()) == "0 0 0 0 fatal");
  CHECK(rig.Rows().empty());
}

TEST_CASE("A failing observer ends the run, and a later run forgets the error") {
  struct Refusing : engine::RunObserver {
    Status OnReject(const engine::RejectedRecord& record) override {
      seen = std::string(record.raw);
      return Status(Code::kNoSpace, "no room");
    }
    std::string seen;
  } observer;
  RunRig rig;
  rig.Text("a,x\r\nb,2");
  rig.Map({0, 1});
  rig.options.observer = &observer;
  CHECK(RunRig::Show(rig.Run()) == "1 0 0 0 fatal");
  CHECK(rig.LastError() == "no room");
  CHECK(observer.seen == "a,x\r\n");

  rig.Text("b,2");
  CHECK(RunRig::Show(rig.Run()) == "1 1 0 0");
  CHECK(rig.LastError().empty());
}

}  // namespace kelvorin::tests
