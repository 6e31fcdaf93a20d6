// A host that goes away: the control destroyed in its own handlers, a run that is stopped, a
// container that throws. Nothing may be touched that is gone, and no record be stored half changed.

#include <doctest/doctest.h>

#include "control/kelvorin.h"
#include "database/drivers/register_drivers.h"
#include "tests/wizard/wizard_rig.h"

#include <memory>

namespace kelvorin::tests {

namespace {

// A dBASE table GOODS(NAME, CITY), and a saved setting "job" that fills it with 500 records.
struct LiveRig {
  LiveRig() {
    database::RegisterDrivers(engine);
    auto made = engine.OpenDatabase(folder.path(), true, false, "FoxPro 2.6;");
    REQUIRE(made.ok());
    REQUIRE((*made)->CreateTable(TableOf("GOODS", {Text("NAME"), Text("CITY")})).ok());
    REQUIRE((*made)->Close().ok());
    std::string text;
    for (int i = 0; i < 500; ++i) text += "n" + std::to_string(i) + ",c\r\n";
    WriteWhole(folder.File("in.csv"), text);
    settings::ImportSetting setting;
    setting.SettingName = "job";
    setting.ShowErrors = false;
    for (std::size_t i = 0; i < 2; ++i) {
      setting.FieldMap[i].Name = i == 0 ? "NAME" : "CITY";
      setting.FieldMap[i].Mapped = true;
      setting.FieldMap[i].Field = static_cast<std::int16_t>(i);
    }
    setting.nbFields = 2;
    setting.SourceDBName = folder.File("in.csv");
    settings::IniFile ini(folder.File("k.ini"));
    textsource::BreakList breaks;
    REQUIRE(settings::SaveSetting(ini, setting, breaks).ok());
    Prepare();
  }
  void Prepare() {
    control = std::make_unique<Kelvorin>(&screen);
    control->DataBaseName(folder.path());
    control->ConnectString(contract::TypeConnect::FOXPRO26);
    control->tableName("GOODS");
    control->IniFile(folder.File("k.ini"));
    control->ShowProgress(false);
  }
  std::int16_t Run() {
    auto name = std::make_unique<std::string>("job");
    return control->BatchImport(*name);
  }
  // Rows stored, none of them half converted.
  std::int64_t Rows(const char* city) {
    auto database = engine.OpenDatabase(folder.path(), false, true, "FoxPro 2.6;");
    REQUIRE(database.ok());
    auto rows = (*database)->OpenRecordset("GOODS", database::RecordsetType::kTable);
    REQUIRE(rows.ok());
    std::int64_t count = 0;
    for (; !(*rows)->Eof(); ++count) {
      std::string value;
      bool is_null = false;
      CHECK((*rows)->Fields(1).GetText(value, is_null).ok());
      CHECK(value == city);
      REQUIRE((*rows)->MoveNext().ok());
    }
    CHECK((*rows)->Close().ok());
    return count;
  }
  TempFolder folder;
  database::DBEngine engine;
  ScriptedPlatform screen;
  std::unique_ptr<Kelvorin> control;
};

}  // namespace

TEST_CASE("A control destroyed in its own handler ends the run with whole records") {
  for (const char* event : {"BeforeFieldImport", "ValidateBeforePost", "ValidateAfterPost", "yield",
                            "FilterField", "PropertyChanged"}) {
    CAPTURE(event);
    LiveRig rig;
    const std::string at = event;
    int calls = 0;
    // Caught in the handler itself: what it holds must live until it returns.
    const auto destroy = [&rig, &calls, held = std::string(100, 'x')](int call) {
      if (++calls == call) rig.control.reset();
      CHECK(held.size() == 100);
    };
    const bool converts = at == "BeforeFieldImport";
    rig.control->BeforeFieldImport = [=](std::string_view, std::string_view field, std::int16_t,
                                         std::int16_t, std::string& value) {
      if (field == "CITY") value = "other";
      if (converts) destroy(21);
    };
    if (at == "ValidateBeforePost")
      rig.control->ValidateBeforePost = [=](bool&, bool&) { destroy(10); };
    if (at == "ValidateAfterPost") rig.control->ValidateAfterPost = [=](bool&) { destroy(10); };
    if (at == "FilterField")
      rig.control->FilterField = [=](std::string_view, std::string_view, bool&) { destroy(1); };
    if (at == "PropertyChanged") {
      rig.control->LastError("before");
      rig.control->PropertyChanged = [=](std::string_view) { destroy(1); };
    }
    if (at == "yield") rig.screen.on_yield = [=] { destroy(10); };
    CHECK(rig.Run() == -1);
    CHECK(rig.control == nullptr);
    CHECK(rig.Rows("other") < 20);
  }
}

TEST_CASE("A stopped run, a container that throws and a handler that lets itself go") {
  LiveRig rig;
  int yields = 0;
  rig.screen.on_yield = [&] {
    if (++yields == 10) rig.control->StopRun("the host is going");
  };
  CHECK(rig.Run() == -1);
  CHECK(rig.control->LastError() == "the host is going");
  CHECK(rig.Rows("c") == 9);
  rig.screen.on_yield = {};

  rig.Prepare();
  rig.control->LastError("before");
  rig.control->PropertyChanged = [](std::string_view) { throw std::runtime_error("no room"); };
  CHECK(rig.Run() == -1);
  CHECK(rig.control->LastError().find("The handler of the event PropertyChanged failed: no room") !=
        std::string::npos);
  CHECK(rig.Rows("c") == 9);

  rig.Prepare();
  int calls = 0;
  rig.control->ValidateAfterPost = [&, held = std::string(100, 'x')](bool&) {
    rig.control->ValidateAfterPost = {};
    CHECK(held.size() == 100);
    ++calls;
  };
  CHECK(rig.Run() == 0);
  CHECK(calls == 500);
  CHECK(rig.Rows("c") == 509);
  rig.control->PropertyChanged = [&](std::string_view) { rig.control.reset(); };
  rig.control->tableName("OTHER");
  CHECK(rig.control == nullptr);
}

TEST_CASE("Every failure of a host is told once, and nothing of a call reaches the next") {
  LiveRig rig;
  std::string told;
  rig.control->PropertyChanged = [&](std::string_view key) { told += key; };
  CHECK(rig.control->SetPropertyText("dsn", "Sales").ok());
  CHECK(told == "DSN");
  rig.control->PropertyChanged = {};

  int calls = 0;
  rig.control->FilterField = [&](std::string_view, std::string_view, bool&) {
    ++calls;
    throw 42;
  };
  CHECK(rig.Run() == -1);
  CHECK(calls == 1);
  CHECK(rig.control->LastError().find("FilterField failed: unknown exception") !=
        std::string::npos);
  rig.control->FilterField = {};
  rig.screen.on_yield = [&] { rig.control->StopRun("the host is going"); };
  CHECK(rig.Run() == -1);
  rig.screen.on_yield = {};
  CHECK(rig.Run() == 0);
  CHECK(rig.control->LastRun().imported == 500);

  int width = 1, height = 1;
  Kelvorin::Resize(width, height);
  CHECK(std::pair(width, height) == std::pair(kControlWidthTwips, kControlHeightTwips));
}

TEST_CASE("A control out of sight takes no click, and a list keeps its choice when others go") {
  WizardRig rig;
  rig.Start();
  int clicks = 0;
  rig.c->BtnNext.SetEnabled(true);
  rig.c->BtnNext.on_click = [&] { ++clicks; };
  for (const bool visible : {false, true}) {
    rig.c->BtnNext.SetVisible(visible);
    rig.c->BtnNext.UserClick();
  }
  CHECK(clicks == 1);
  rig.c->lstTables.SetItems({"a", "b", "c"});
  rig.c->lstTables.SelectItem(2);
  rig.c->lstTables.RemoveItem(0);
  CHECK(rig.c->lstTables.text() == "c");
  rig.c->lstTables.RemoveItem(1);
  CHECK(rig.c->lstTables.text().empty());
}

TEST_CASE("Help is the host's, by its number") {
  LiveRig rig;
  int topic = 0;
  rig.control->HelpRequested = [&](std::int16_t number) { topic = number; };
  for (const std::int16_t number : {std::int16_t{0}, std::int16_t{42}}) {
    rig.control->HelpID(number);
    rig.screen.In<wizard::frmKelvorin>("frmKelvorin", [&](wizard::frmKelvorin& form) {
      CHECK(form.controls.BtnHelp.visible() == (number != 0));
      form.controls.BtnHelp.UserClick();
      form.HelpRequested();
    });
    rig.control->Execute();
    CHECK(topic == number);
  }
}

}  // namespace kelvorin::tests
