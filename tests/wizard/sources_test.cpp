// The wizard over the real drivers: ODBC data sources and Access files, as target and as source;
// and what a setting's own code page does to the previews.

#include <doctest/doctest.h>

#include <sys/stat.h>

#include <filesystem>

#include "base/M_FILE.h"
#include "base/M_STRING.h"
#include "control/kelvorin.h"
#include "database/drivers/register_drivers.h"
#include "tests/servers/test_server.h"
#include "tests/support/definitions.h"
#include "tests/wizard/wizard_rig.h"
#include "wizard/plain_path.h"

namespace kelvorin::tests {

using wizard::frmKelvorin;
using wizard::frmODBCLogon;
using Names = std::vector<std::string>;

namespace {

constexpr char kDos[] =
    "Stra\xE1"
    "e,1\r\nK\x94ln,2\r\n";

// The control of a host, its wizard driven without windows.
struct RealRig {
  RealRig() {
    database::RegisterDrivers(engine);
    control.IniFile(folder.File("k.ini"));
    control.tableName("goods");
    control.ShowSummary(false);
  }
  std::unique_ptr<database::Database> Open(const std::string& name, const std::string& connect) {
    auto opened = engine.OpenDatabase(name, false, false, connect);
    REQUIRE_MESSAGE(opened.ok(), std::string(opened.status().message()));
    return *std::move(opened);
  }
  std::string Rows(const std::string& name, const std::string& connect, const char* table) {
    auto database = Open(name, connect);
    auto rows = database->OpenRecordset(table, database::RecordsetType::kSnapshot);
    REQUIRE(rows.ok());
    std::string text;
    while (!(*rows)->Eof()) {
      bool is_null = false;
      for (std::size_t i = 0; i < (*rows)->FieldCount(); ++i) {
        std::string value;
        CHECK((*rows)->Fields(i).GetText(value, is_null).ok());
        text += (i == 0 ? text.empty() ? "" : "|" : ",") + value;
      }
      REQUIRE((*rows)->MoveNext().ok());
    }
    CHECK((*rows)->Close().ok());
    return text;
  }
  // Makes a table and stores records in it.
  void Make(const std::string& name, const std::string& connect, const database::TableDef& def,
            const std::vector<Names>& records = {}) {
    auto database = Open(name, connect);
    REQUIRE(database->CreateTable(def).ok());
    auto rows = database->OpenRecordset(def.Name, database::RecordsetType::kTable);
    REQUIRE(rows.ok());
    for (const Names& record : records) {
      CHECK((*rows)->AddNew().ok());
      for (std::size_t i = 0; i < record.size(); ++i)
        CHECK((*rows)->Fields(i).SetText(record[i]).ok());
      CHECK((*rows)->Update().ok());
    }
    CHECK((*rows)->Close().ok());
  }
  void InWizard(const std::function<void(frmKelvorin&)>& act) {
    screen.In<frmKelvorin>("frmKelvorin", act);
    control.Execute();
    CHECK(control.LastError() == "");
  }
  // From the source's list of tables to the end of the import.
  static void Import(frmKelvorin& form, const char* table, const Names& headings) {
    wizard::WizardControls& c = form.controls;
    WizardRig::Choose(c.lstTables, table);
    CHECK(c.PreviewGrid.headings() == headings);
    REQUIRE(c.BtnNext.enabled());
    c.BtnNext.UserClick();
    c.BtnMapInOrder.UserClick();
    REQUIRE(c.BtnFinish.enabled());
    c.BtnFinish.UserClick();
  }
  TempFolder folder;
  database::DBEngine engine;
  ScriptedPlatform screen;
  Kelvorin control{&screen};
};

database::TableDef Two(const char* name) {
  return TableOf(name, {Text("name"), Typed("amount", values::TypeCode::kLong)});
}

}  // namespace

TEST_CASE("From one data source into another, chosen from the logon's list") {
  DataSourceFolder sources;
  RealRig rig;
  std::string names[2];
  for (int i = 0; i < 2; ++i) {
    const std::string file = sources.File(i == 0 ? "shop.sqlite" : "old.sqlite");
    WriteWhole(file, "");
    names[i] = sources.Add(i == 0 ? "shop" : "old", "SQLite3", "Database=" + file);
    auto made = rig.Open({}, "ODBC;DSN=" + names[i] + ";");
    for (const char* sql :
         {"CREATE TABLE goods(name VARCHAR(20), amount INTEGER)",
          "CREATE TABLE stock(name VARCHAR(20), amount INTEGER)",
          "INSERT INTO stock VALUES('axe', 3)", "INSERT INTO stock VALUES('it''s', 4)"})
      REQUIRE(made->Execute(sql, database::kSqlPassThrough).ok());
    REQUIRE(made->Close().ok());
  }
  rig.control.ConnectString(contract::TypeConnect::ODBC);
  rig.control.DefaultSourceType(contract::FileTypeFormat::TODBC);
  rig.control.DSN(names[0]);
  rig.screen.In<frmODBCLogon>("frmODBCLogon", [&](frmODBCLogon& logon) {
    CHECK(logon.CBoxDataSources.list_index() == 0);
    Names own;
    for (const std::string& name : logon.CBoxDataSources.items())
      if (name == names[0] || name == names[1]) own.push_back(name);
    CHECK(own == Names{names[0], names[1]});
    WizardRig::Choose(logon.CBoxDataSources, names[1]);
    logon.BtnOk.UserClick();
  });
  rig.InWizard([&](frmKelvorin& form) {
    CHECK(form.controls.BtnBrowseFiles.caption() == "Datasource...");
    CHECK_FALSE(form.controls.BtnNext.enabled());
    form.controls.BtnBrowseFiles.UserClick();
    CHECK(form.controls.lstTables.items() == Names{"goods", "stock"});
    // The second run finds what the first one stored, though the target was opened without a row.
    form.state().setting.EmptyTarget = true;
    RealRig::Import(form, "stock", {"name", "amount"});
    form.controls.BtnFinish.UserClick();
    CHECK(form.result().imported == 2);
  });
  CHECK(rig.Rows({}, "ODBC;DSN=" + names[0] + ";", "goods") == "axe,3|it's,4");

  // What was imported last is there at the next opening.
  rig.control.LoadLastSetting(true);
  rig.InWizard([&](frmKelvorin& form) {
    CHECK(form.controls.lstTables.text() == "stock");
    CHECK(form.controls.BtnFinish.enabled());
  });
}

TEST_CASE("Access: one file as source and target, and a file behind a password") {
  RealRig rig;
  const std::string shop = rig.folder.File("shop.mdb");
  REQUIRE(rig.engine.CreateDatabase(shop, {}).ok());
  rig.Make(shop, {}, Two("goods"));
  rig.Make(shop, {}, Two("stock"), {{"axe", "3"}});
  rig.control.DataBaseName(shop);
  rig.control.DefaultSourceType(contract::FileTypeFormat::TAccess);
  std::string asked = shop;
  std::string password;
  rig.screen.In<frmODBCLogon>("frmODBCLogon", [&](frmODBCLogon& logon) {
    logon.EdtDBName.UserText(asked);
    logon.EdtPassword.UserText(password);
    logon.BtnOk.UserClick();
  });
  rig.InWizard([&](frmKelvorin& form) {
    form.controls.BtnBrowseFiles.UserClick();
    CHECK(form.controls.lstTables.items() == Names{"goods", "stock"});
    RealRig::Import(form, "stock", {"name", "amount"});
  });
  CHECK(rig.Rows(shop, {}, "goods") == "axe,3");
  rig.control.FilterType = [](contract::FileTypeFormat, bool&) {
    throw std::runtime_error("no kinds");
  };
  rig.screen.shown.clear();
  rig.control.Execute();
  CHECK(rig.screen.shown.empty());
  CHECK(rig.control.LastError() == "The handler of the event FilterType failed: no kinds");
  rig.control.FilterType = {};
  rig.screen.boxes.clear();

  const std::string samples = SampleFolder("access");
  if (samples.empty()) {
    MESSAGE("skipped: no sample files");
    return;
  }
  asked = rig.folder.File("locked.mdb");
  WriteWhole(asked, ReadWhole(samples + "/j4-password.mdb"));
  rig.screen.In<frmKelvorin>("frmKelvorin", [&](frmKelvorin& form) {
    // The database that was chosen before stays, and so does what a saved setting would say.
    const std::string locked = std::exchange(asked, shop);
    form.controls.BtnBrowseFiles.UserClick();
    CHECK(form.controls.lstTables.items() == Names{"goods", "stock"});
    asked = locked;
    password = "wrong";
    form.controls.BtnBrowseFiles.UserClick();
    CHECK(rig.screen.boxes.size() == 1);
    CHECK(form.state().source.SourceDBName == shop);
    CHECK(form.state().source.kept->Name() == shop);
    CHECK(form.controls.lstTables.items() == Names{"goods", "stock"});
    CHECK(form.controls.PreviewGrid.headings() == Names{"name", "amount"});
    CHECK(form.controls.BtnNext.enabled());
    password = "password";
    form.controls.BtnBrowseFiles.UserClick();
    CHECK(rig.screen.boxes.size() == 1);
    CHECK_FALSE(form.controls.lstTables.items().empty());
    CHECK(form.controls.BtnNext.enabled());
  });
  rig.control.Execute();
}

TEST_CASE("dBASE and FoxPro: the options list the table's tags, and a record is found by one") {
  for (const auto kind : {contract::TypeConnect::DBase3, contract::TypeConnect::DBase5,
                          contract::TypeConnect::FOXPRO30}) {
    CAPTURE(static_cast<int>(kind));
    RealRig rig;
    const bool fox = kind == contract::TypeConnect::FOXPRO30;
    const std::string connect = fox                                     ? "FoxPro 3.0"
                                : kind == contract::TypeConnect::DBase3 ? "dBASE III"
                                                                        : "dBASE 5.0";
    database::TableDef goods = Two("goods");
    goods.Indexes = {MakeIndex("by_na", "+name"), MakeIndex("by_am", "+amount")};
    rig.Make(rig.folder.path(), connect, goods, {{"saw"}, {"axe"}, {"nail"}});
    const std::string csv = rig.folder.File("in.csv");
    WriteWhole(csv, "nail,7\r\nsaw,9\r\n");
    rig.control.ConnectString(kind);
    rig.control.DataBaseName(rig.folder.path());
    rig.control.ImportDBName(csv);
    rig.screen.In<frmKelvorin>("frmKelvorin", [&](frmKelvorin& form) {
      wizard::WizardControls& c = form.controls;
      rig.screen.In<wizard::frmAdvanced>("frmAdvanced", [&](wizard::frmAdvanced& options) {
        Names listed = options.CBoxIndexes.items();
        std::sort(listed.begin(), listed.end());
        for (std::string& name : listed) name = base::LowerAscii(name);
        CHECK(listed == Names{"by_am", "by_na"});
        options.RBtnUpdateRecords.UserClick();
        options.RBtnUseIndex.UserClick();
        for (const std::string& name : options.CBoxIndexes.items())
          if (base::LowerAscii(name) == "by_na") WizardRig::Choose(options.CBoxIndexes, name);
        options.CBoxKeyLookUp.UserClick();
        options.bntOK.UserClick();
      });
      c.BtnAdvanced.UserClick();
      while (c.BtnNext.enabled() && !c.BtnFinish.enabled()) {
        c.BtnNext.UserClick();
        c.BtnMapInOrder.UserClick();
      }
      REQUIRE(c.BtnFinish.enabled());
      c.BtnFinish.UserClick();
    });
    rig.control.Execute();
    CHECK(rig.screen.boxes.empty());
    CHECK(base::Replace(rig.Rows(rig.folder.path(), connect, "goods"), "axe,0", "axe,") ==
          "saw,9|axe,|nail,7");
    CHECK(rig.Open(rig.folder.path(), connect)->Inspect()->empty());
  }
}

TEST_CASE("A target that was deleted while the wizard was open is told, and nothing is imported") {
  for (const bool access : {false, true}) {
    CAPTURE(access);
    RealRig rig;
    const std::string place = access ? rig.folder.File("shop.mdb") : rig.folder.path();
    if (access) REQUIRE(rig.engine.CreateDatabase(place, {}).ok());
    rig.Make(place, access ? "" : "FoxPro 2.6;", Two("goods"));
    const std::string csv = rig.folder.File("in.csv");
    WriteWhole(csv, "nail,7\r\n");
    rig.control.DataBaseName(place);
    rig.control.ConnectString(contract::TypeConnect::FOXPRO26);
    if (access) rig.control.DefaultSourceType(contract::FileTypeFormat::TAccess);
    rig.screen.In<frmKelvorin>("frmKelvorin", [&](frmKelvorin& form) {
      wizard::WizardControls& c = form.controls;
      WizardRig::Choose(c.CBoxTypeFormat, "Delimited text");
      c.EdtFileName.UserText(csv);
      while (c.BtnNext.enabled()) c.BtnNext.UserClick();
      c.BtnMapInOrder.UserClick();
      REQUIRE(std::filesystem::remove(access ? place : rig.folder.File("goods.dbf")));
      c.BtnFinish.UserClick();
      CHECK(form.result().imported == 0);
      CHECK_FALSE(c.LblOutcome.visible());
      form.Abandoned();
    });
    rig.control.Execute();
    CHECK(rig.screen.boxes.size() == 1);
    CHECK_FALSE(rig.control.LastError().empty());
  }
}

TEST_CASE("Paradox: an encrypted table as source, a new one as target") {
  RealRig rig;
  const std::string from = rig.folder.File("from"), to = rig.folder.File("to");
  REQUIRE(base::MakeFolders(from).ok());
  REQUIRE(base::MakeFolders(to).ok());
  const std::string locked = "Paradox 5.x;pwd=Geheim;";
  rig.Make(from, locked, Two("stock"), {{"axe", "3"}, {"saw", "3"}});
  for (const char* table : {"goods", "others"}) rig.Make(to, "Paradox 4.x;", Two(table));
  WriteWhole(to + "/PARADOX.LCK", "#");
  rig.control.DataBaseName(to);
  rig.control.ConnectString(contract::TypeConnect::Paradox4);
  rig.screen.In<frmKelvorin>("frmKelvorin", [&](frmKelvorin& form) {
    form.controls.EdtFileName.UserText(from + "/stock.db");
    CHECK(form.state().setting.TypeFormat == 6);
    CHECK_FALSE(form.controls.BtnNext.enabled());
    form.CloseRequested();
  });
  rig.control.Execute();
  CHECK(rig.control.LastError().find("with its password only") != std::string::npos);
  rig.screen.boxes.clear();
  rig.control.Password("Geheim");
  rig.control.MultiTable(true);
  rig.InWizard([&](frmKelvorin& form) {
    wizard::WizardControls& c = form.controls;
    CHECK(c.CBoxTables.items() == Names{"goods", "others"});
    WizardRig::Choose(c.CBoxTables, "goods");
    c.BtnNext.UserClick();
    CHECK(c.CBoxTypeFormat.items().at(5) == "Paradox 4.x");
    rig.screen.file = from + "/stock.db";
    c.BtnBrowseFiles.UserClick();
    CHECK(rig.screen.dialogs.at(0).filter.find("|Paradox (*.db)|*.db|") != std::string::npos);
    CHECK(form.state().setting.TypeFormat == 6);
    c.BtnBrowseFiles.UserClick();  // and now opens among tables of its kind
    CHECK(rig.screen.dialogs.at(1).filter_index == 4);
    CHECK(c.PreviewGrid.headings() == Names{"name", "amount"});
    REQUIRE(c.BtnNext.enabled());
    c.BtnNext.UserClick();
    c.BtnMapInOrder.UserClick();
    REQUIRE(c.BtnFinish.enabled());
    c.BtnFinish.UserClick();
  });
  CHECK(rig.Rows(to, "Paradox 4.x;", "goods") == "axe,3|saw,3");
}

TEST_CASE("Names of files as people write them") {
  TempFolder folder;
  const std::string file = folder.File("a b.csv");
  WriteWhole(file, "1\r\n");
  const std::string odd = folder.File("~'\"%20.csv");
  WriteWhole(odd, "1\r\n");
  setenv("HOME", folder.path().c_str(), 1);
  const std::string escaped = base::Replace(file, " ", "%20");
  const std::string given[] = {file,
                               "\"" + file + "\"",
                               " '" + file + "' ",
                               "file://" + escaped,
                               "file://localhost" + escaped,
                               "~/a b.csv",
                               "/usr/share/" + file,
                               folder.path() + "/~/a b.csv",
                               "/usr/share/file://" + escaped};
  for (const std::string& name : given) {
    CAPTURE(name);
    CHECK(wizard::PlainPath(name) == file);
  }
  CHECK(wizard::PlainPath(odd) == odd);
  CHECK(wizard::PlainPath("no%such") == "no%such");
  CHECK(wizard::PlainPath("file:///100%") == "/100%");
  CHECK(wizard::PlainPath("") == "");
}

TEST_CASE("The list of kinds is walked without a dead end, and back to where it began") {
  WizardRig rig;
  const std::string csv = rig.File("in.csv", "a,b\r\n1,2\r\n");
  rig.host.properties().ImportDBName = csv;
  rig.Start();
  rig.Choose(rig.c->CBoxTypeFormat, "Delimited text");
  REQUIRE(rig.c->BtnNext.enabled());
  const auto note = [&] { return rig.c->LblDetected.caption(); };
  for (int kind = 1; kind < 15; ++kind) {
    rig.c->CBoxTypeFormat.UserSelect(kind);
    CAPTURE(kind);
    CHECK(rig.form->state().setting.TypeFormat == kind);
    CHECK(rig.c->CBoxTypeFormat.list_index() == kind);
    CHECK(rig.c->BtnNext.enabled() == (kind < 3));
    CHECK_FALSE(note().empty());
    if (kind == 4) CHECK(note().rfind("'in.csv' is a text file, not a Paradox table.", 0) == 0);
    if (kind == 3) CHECK(note().find("\"Database...\"") != std::string::npos);
  }
  rig.c->CBoxTypeFormat.UserSelect(0);
  CHECK(rig.c->EdtFileName.text() == csv);
  CHECK(rig.c->BtnNext.enabled());
  CHECK(rig.form->state().setting.SepComma);

  // A table's own file under another kind, and back: the version that was chosen is kept.
  const std::string dbf = rig.File("T.DBF", "");
  rig.c->EdtFileName.UserText(dbf);
  CHECK(rig.form->state().setting.TypeFormat == 13);
  rig.screen.boxes.clear();
  rig.c->CBoxTypeFormat.UserSelect(0);
  CHECK(rig.form->state().setting.TypeFormat == 0);
  CHECK(rig.c->EdtFileName.text() == dbf);
  CHECK(note().rfind("'T.DBF' is a dBASE or FoxPro table, not a text file.", 0) == 0);
  rig.c->CBoxTypeFormat.UserSelect(8);
  CHECK(rig.c->EdtFileName.text() == dbf);
  CHECK(rig.form->state().setting.TypeFormat == 8);
  CHECK(rig.form->state().source.SourceDBName == rig.folder.path());

  // A kind that the host hides is none of the list, and works all the same.
  WizardRig hidden;
  hidden.StartOn("in.csv", "a,b\r\n1,2\r\n");
  hidden.Choose(hidden.c->CBoxTypeFormat, "Fixed-width text");
  hidden.form->state().breaks.AddFixedBreak(1).ok();
  hidden.form->state().setting.FieldMap[0] = {"Name", 0, 1, -1, true, 0};
  hidden.screen.input = "columns";
  hidden.form->BtnSaveSetting_Click();
  hidden.form->Form_Unload();
  hidden.host.hidden = {"type 1"};
  hidden.host.properties().AutoLoadSettingName = "columns";
  hidden.Start();
  CHECK(hidden.form->state().setting.TypeFormat == 1);
  CHECK(hidden.c->CBoxTypeFormat.items().size() == 14);
  CHECK(hidden.c->CBoxTypeFormat.list_index() == -1);
  CHECK(hidden.c->BtnNext.enabled());
}

TEST_CASE("The same target table keeps its mapping; a setting of another kind finds its step") {
  WizardRig rig;
  rig.host.properties().MultiTable = true;
  rig.StartOn("in.csv", "a,b\r\n1,2\r\n");
  rig.Choose(rig.c->CBoxTables, "Goods");
  rig.MapInOrder();
  rig.screen.input = "comma";
  rig.c->BtnSaveSetting.UserClick();
  rig.Walk(rig.c->BtnPrev);
  rig.Choose(rig.c->CBoxTables, "Goods");
  CHECK(settings::HasMapping(rig.form->state().setting.FieldMap));
  rig.c->BtnNext.UserClick();
  rig.Choose(rig.c->CBoxTypeFormat, "Fixed-width text");
  rig.c->BtnNext.UserClick();
  REQUIRE(rig.Shown()[0] == '3');
  rig.screen.In<wizard::frmSettings>("frmSettings",
                                     [&](wizard::frmSettings& list) { list.BtnOpen.UserClick(); });
  rig.c->BtnSettings.UserClick();
  CHECK(rig.Shown()[0] == '2');
  std::remove(rig.folder.File("in.csv").c_str());
  rig.c->BtnSettings.UserClick();
  CHECK(rig.Shown()[0] == '1');
  CHECK(rig.c->LblDetected.caption() == "There is no such file.");
  // Nobody may write to a pipe ever.
  REQUIRE(mkfifo(rig.folder.File("in.csv").c_str(), 0600) == 0);
  rig.form->BtnDetect_Click();
  CHECK_FALSE(rig.c->BtnNext.enabled());
}

TEST_CASE("Rows of HTML are suggested with their cells, and the suggestion is taken whole") {
  WizardRig rig;
  rig.StartOn("in.html",
              "<table><tr><th>A</th><th>B</th></tr>\n<tr>\n<td>1 &amp; 2</td>\n<td>x</td></tr>\n"
              "<tr><td>3</td><td>y</td></tr></table>\n");
  REQUIRE(rig.c->BtnSuggestion.visible());
  rig.c->BtnSuggestion.UserClick();
  const settings::ImportSetting& taken = rig.form->state().setting;
  CHECK((taken.TypeFormat == 2 && taken.HtmlCells == 1 && taken.StartingLine == 2));
  CHECK_FALSE(rig.c->BtnSuggestion.visible());
}

TEST_CASE("A new table from the source: proposed, changed, made and mapped") {
  WizardRig rig;
  rig.host.properties().MultiTable = true;
  const std::string file =
      rig.File("stock.csv",
               "Name,Code,Amount,Price,Day,Note\r\naxe,007,3,1.50,2024-05-01,\r\n"
               "a longer name,012,-4,2,2024-05-02,x\r\n");
  rig.host.properties().ImportDBName = file;
  rig.Start();
  rig.Choose(rig.c->CBoxTypeFormat, "Delimited text");
  rig.c->BtnNewTable.UserClick();
  REQUIRE(rig.Shown()[0] == '1');
  rig.c->CBoxHeader.UserClick();
  std::string proposed;
  rig.screen.In<wizard::frmNewTable>("frmNewTable", [&](wizard::frmNewTable& form) {
    for (const auto& row : form.GrdFields.rows())
      proposed += row[0].text + ":" + row[1].text + ":" + row[2].text + " ";
    CHECK(form.EdtTableName.text() == "stock");
    form.EdtTableName.UserText("");
    form.BtnMake.UserClick();
    CHECK(rig.screen.boxes.size() == 1);
    form.EdtTableName.UserText("Stock");
    form.GrdFields.UserRow(0);
    form.EdtFieldName.UserText("Article");
    form.EdtFieldSize.UserText("30");
    form.GrdFields.UserRow(5);
    form.CBoxFieldWanted.UserClick();
    form.BtnMake.UserClick();
  });
  rig.Walk(rig.c->BtnNext);
  const auto name = [](values::TypeCode type) {
    return std::string(values::FieldType(static_cast<std::int16_t>(type)));
  };
  using values::TypeCode;
  CHECK(proposed == "Name:" + name(TypeCode::kText) + ":13 Code:" + name(TypeCode::kText) +
                        ":3 Amount:" + name(TypeCode::kLong) +
                        ": Price:" + name(TypeCode::kDouble) + ": Day:" + name(TypeCode::kDate) +
                        ": Note:" + name(TypeCode::kText) + ":1 ");
  CHECK(rig.form->state().target.table_name == "Stock");
  CHECK(rig.c->CBoxTables.text() == "Stock");
  CHECK(rig.MapColumn(2) == "Article|Code|Amount|Price|Day");
  CHECK(rig.MapColumn(5) == "Name|Code|Amount|Price|Day");
  rig.c->BtnFinish.UserClick();
  CHECK(rig.form->result().imported == 2);
  CHECK(rig.memory.Rows("shop", "Stock").size() == 2);
}

TEST_CASE("A setting's own code pages count in the previews at once, and only for it") {
  const int before = base::AnsiPage().number();
  WizardRig rig;
  rig.StartOn("in.csv", kDos);
  settings::ImportSetting& setting = rig.form->state().setting;
  rig.screen.input = "plain";
  rig.form->BtnSaveSetting_Click();
  setting.AnsiPage = 1252;
  setting.OemPage = 850;
  setting.OemConvert = true;
  rig.screen.input = "dos";
  rig.form->BtnSaveSetting_Click();
  std::string name;
  rig.screen.In<wizard::frmSettings>("frmSettings", [&](wizard::frmSettings& list) {
    WizardRig::Choose(list.LBoxSettings, name);
    list.BtnOpen.UserClick();
  });
  const std::string tables[] = {"K\xC3\xB6ln", "K\xF6ln"};
  rig.c->CBoxTables.SetItems({tables[before == 1252]});
  for (const char* next : {"plain", "dos", "plain"}) {
    name = next;
    rig.c->BtnSettings.UserClick();
    const bool dos = name == "dos";
    CHECK(rig.c->CBoxTables.items()[0] == tables[dos || before == 1252]);
    CHECK(base::AnsiPage().number() == (dos ? 1252 : before));
    CHECK(rig.c->PreviewText.items()[0] == (dos ? "Stra\xDF"
                                                  "e,1"
                                                : "Stra\xE1"
                                                  "e,1"));
    rig.c->BtnNext.UserClick();
    CHECK(rig.c->PreviewGrid.cell(1, 0) == (dos ? "K\xF6ln" : "K\x94ln"));
    rig.c->BtnPrev.UserClick();
    CHECK(rig.screen.boxes.size() == 2);  // the two names
  }

  // The target cannot be opened anew for the other page: nothing works on it until it can.
  rig.memory.FailNext("OpenDatabase shop", 1, Status(Code::kLocked, "in use"));
  name = "dos";
  rig.c->BtnSettings.UserClick();
  CHECK(rig.screen.boxes.size() == 3);
  rig.c->BtnAdvanced.UserClick();
  CHECK(rig.screen.shown.back() == "frmSettings");
  rig.c->CBoxTables.SetItems({"Goods"});
  rig.c->CBoxTables.UserSelect(0);
  CHECK(rig.form->state().target.recordset != nullptr);
  rig.form->Form_Unload();
  CHECK(base::AnsiPage().number() == before);
}

}  // namespace kelvorin::tests
