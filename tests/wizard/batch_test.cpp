// Jobs without a form: saved settings and requests from opening the target to closing it.

#include <doctest/doctest.h>

#include "base/code_page.h"
#include "tests/wizard/wizard_rig.h"

namespace kelvorin::tests {

namespace {

// A host with a target "Goods" in "shop" and one saved setting "daily" that imports "in.csv".
struct BatchRig : WizardRig {
  BatchRig() {
    WriteWhole(folder.File("in.csv"), "axe|3\r\nsaw|4\r\n");
    setting = {};
    setting.SourceDBName = folder.File("in.csv");
    setting.ShowErrors = true;
    settings::SetSeparators(setting, "|");  // which is never guessed
    for (std::size_t i = 0; i < 2; ++i) setting.FieldMap[i].Name = "any";
    Map({0, 1});
    Save();
  }
  void Save() {
    settings::IniFile ini(host.properties().IniFile);
    setting.SettingName = "daily";
    REQUIRE(settings::SaveSetting(ini, setting, breaks).ok());
  }
  int Batch(std::string_view name = "daily") {
    job.emplace(engine, platform);
    job->SetCaller(host);
    return job->BatchImport(name);
  }
  std::optional<job::Job> job;
};

}  // namespace

TEST_CASE("A saved setting runs without a word") {
  BatchRig rig;
  rig.memory.StartLog();
  CHECK(rig.Batch() == 0);
  CHECK(RunRig::Show(rig.job->result()) == "2 2 0 0");
  CHECK(rig.LastError().empty());
  CHECK(rig.Rows() == "axe,3 | saw,4");
  CHECK(rig.memory.Log().front() == "OpenDatabase shop");
  CHECK(rig.memory.Log().back() == "CloseDatabase shop");

  WriteWhole(rig.folder.File("in.csv"), "pin|x\r\nnut|6\r\n");
  CHECK(rig.Batch() == 0);  // a rejected record is no failure of the run
  CHECK(RunRig::Show(rig.job->result()) == "2 1 1 0");
  CHECK(rig.platform.boxes.empty());
  CHECK_FALSE(rig.LastError().empty());
}

TEST_CASE("LastError tells how far a batch came") {
  using job::BatchStep;
  struct Row {
    const char* property;  // set to `value`; without one, a key of the setting is
    const char* value;
    BatchStep step;
    const char* last_error;  // what it begins with
  };
  const Row kRows[] = {
      {"DataBaseName", "none", BatchStep::kOpenDatabase, "Error in opening DataBase none\r\n"},
      {"TableName", "None", BatchStep::kOpenTable, "Error in opening Table None\r\n"},
      {"IniFile", "/no.ini", BatchStep::kSettings,
       "The settings file '/no.ini' has no setting 'daily'"},
      {nullptr, "DateOrder", BatchStep::kSettings, "'ydm' is no order of dates"},
      {nullptr, "TypeFormat", BatchStep::kOpenSource, ""},
      {"ImportTable", "/no.csv", BatchStep::kRun, "Error in accessing import file '/no.csv'\r\n"},
      {nullptr, "disk full", BatchStep::kRun, "disk full"},  // known only when the target closes
  };
  for (const Row& row : kRows) {
    CAPTURE(row.value);
    BatchRig rig;
    const std::string_view value = row.value;
    if (row.property != nullptr) {
      REQUIRE(contract::SetProperty(rig.host.properties(), *contract::FindProperty(row.property),
                                    std::string(value))
                  .ok());
    } else if (value == "disk full") {
      rig.memory.FailNext("Close Goods", 1, Status(Code::kNoSpace, "disk full"));
    } else {
      if (value == "DateOrder") rig.setting.DateOrder = "ydm";
      if (value == "TypeFormat") rig.setting.TypeFormat = 3;  // no such Access database
      rig.Save();
    }
    CHECK(rig.Batch() == -1);
    CHECK(rig.LastError().rfind(row.last_error, 0) == 0);
    CHECK(rig.LastError() == rig.job->result().fatal);
    CHECK_FALSE(rig.LastError().empty());
    CHECK(rig.job->batch_step() == row.step);
    CHECK(rig.platform.boxes.empty());
  }
  BatchRig rig;  // the default setting maps nothing
  rig.host.properties().ImportTable = rig.folder.File("in.csv");
  CHECK(rig.Batch("") == -1);
  CHECK(rig.LastError() ==
        "No target field is mapped to a source field: there is nothing to import");
  CHECK(rig.Rows().empty());
}

TEST_CASE("The host's source wins over the setting's") {
  BatchRig rig;
  WriteWhole(rig.folder.File("other.csv"), "pin|9\r\n");
  rig.host.properties().ImportTable = rig.folder.File("other.csv");
  CHECK(rig.Batch() == 0);
  CHECK(rig.Rows() == "pin,9");

  // A table file is found by the folder and the name that a setting holds, in any case.
  WriteWhole(rig.folder.File("ITEMS.DBF"), "x");
  rig.memory.AddTable(rig.folder.path(), TableOf("items.DBF", {Text("A"), Text("B")}));
  rig.memory.AddRow(rig.folder.path(), "items.DBF", {"nut", "7"});
  rig.host.properties().ImportTable.clear();
  rig.setting.TypeFormat = 7;
  rig.setting.SourceDBName = rig.folder.path();
  rig.setting.SourceTableName = "items";
  rig.Save();
  CHECK(rig.Batch() == 0);
  CHECK(rig.LastError().empty());
  CHECK(RunRig::Show(rig.job->result()) == "1 1 0 0");
}

TEST_CASE("An Access source is listed, and a table it lacks becomes its first") {
  BatchRig rig;
  rig.memory.AddTable("stock", TableOf("First", {Text("A")}));
  rig.memory.AddRow("stock", "First", {"nut"});
  rig.setting.TypeFormat = 3;
  rig.setting.SourceDBName = "elsewhere";
  rig.host.properties().ImportDBName = "stock";
  rig.host.properties().ImportTable = "Gone";
  rig.Map({0});
  rig.Save();
  CHECK(rig.Batch() == 0);
  CHECK(rig.Rows() == "nut");
}

TEST_CASE("A job brings its own source, mapping, code pages and formats") {
  BatchRig rig;
  const int ansi_before = base::AnsiPage().number();
  WriteWhole(rig.folder.File("in.csv"),
             "Notes,day,NAME,amount\r\na\xE9,31.12.2024,axe,\"2,0\"\r\nb,-,saw,,,extra\r\n");
  job::Request request;
  request.target = catalog::AddressFromProperties(rig.host.properties(), 3);
  request.table = "Goods";
  request.setting.SourceDBName = rig.folder.File("in.csv");
  request.setting.StartingLine = 2;
  request.setting.DateOrder = "dmy";
  request.setting.Decimal = ",";
  request.setting.NullText = "-";
  request.setting.AnsiPage = 1252;
  request.map = {mapping::MapRequest::Rest::kByName, {{"Notes", "0"}}};
  request.options.batch = true;
  job::Job job(rig.engine, rig.platform);
  job.SetCaller(rig.host);
  CHECK(RunRig::Show(job.Run(request)) == "2 2 0 0");
  const std::string accent = base::AnsiPage().is_utf8() ? "\xC3\xA9" : "\xE9";
  CHECK(rig.Rows() == "axe,2,2024-12-31,a" + accent + " | saw,~,~,b");
  CHECK(base::AnsiPage().number() == ansi_before);
  CHECK(job.state().setting.FieldMap[2].Field == 1);
  CHECK(job.state().setting.FieldMap[2].Name == "Day");

  request.map = {mapping::MapRequest::Rest::kKeep, {{"Name", "Colour"}}};
  CHECK(job.Run(request).fatal);
  CHECK(job.batch_step() == job::BatchStep::kOpenSource);
}

}  // namespace kelvorin::tests
