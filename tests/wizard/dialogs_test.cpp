// The options, logon and password dialogs as plain objects.

#include <doctest/doctest.h>

#include "tests/wizard/wizard_rig.h"

namespace kelvorin::tests {

using contract::Answer;
using contract::Control;
using wizard::frmAdvanced;

namespace {

std::string Enabled(std::initializer_list<const Control*> controls) {
  std::string text;
  for (const Control* control : controls) text += control->enabled() ? '1' : '0';
  return text;
}

std::string Mode(const frmAdvanced& form) {
  return Enabled({&form.RBtnUseIndex, &form.RBtnTableOrder, &form.CBoxIndexes, &form.LblIndexDescr,
                  &form.CBoxKeyLookUp, &form.CBoxAppendFields, &form.CBoxAppendIfEof});
}

std::string Others(const frmAdvanced& form) {
  return Enabled({&form.EdtLogFile, &form.BtnBrowseLog, &form.CBoxLogAppend, &form.LblFilePath,
                  &form.EdtNbLineMax, &form.LblNbLinesToImport, &form.EdtMaxErrors,
                  &form.LblMaxErrors});
}

struct OptionsRig {
  ScriptedPlatform platform;
  contract::Properties properties;
  settings::ImportSetting setting;
  frmAdvanced form{platform};
  void Fill(const std::vector<std::string>& indexes = {"ByName", "ById"}) {
    form.Fill(setting, indexes, properties);
    form.SetShown(true);
  }
};

}  // namespace

TEST_CASE("How values are written: the options of the last tab, and what they look like") {
  OptionsRig rig;
  rig.setting.AnsiPage = 1252;
  rig.setting.OemPage = 852;
  rig.setting.DateOrder = "DMY";
  rig.setting.Decimal = ";";  // none of the list: kept until another is chosen
  rig.setting.NullText = "-";
  rig.setting.Trim = 1;
  rig.Fill();
  frmAdvanced& form = rig.form;
  CHECK(form.CBoxAnsiPage.text().find("1252") != std::string::npos);
  CHECK(form.CBoxDateOrder.text() == "day month year");
  CHECK(form.CBoxDecimal.list_index() == -1);
  settings::ImportSetting seen;
  form.SetSample([&](const settings::ImportSetting& setting) {
    seen = setting;
    return frmAdvanced::Sample{{"a"}, {{{"1", false}}}};
  });
  CHECK(seen.AnsiPage == 1252);
  CHECK(form.GrdSample.rows().size() == 1);
  form.EdtStartLine.UserText("3");
  form.TabStrip1.UserSelect(3);
  CHECK(seen.StartingLine == 3);
  form.CBoxAnsiPage.UserSelect(1);
  CHECK(seen.AnsiPage == 65001);
  form.CBoxTrim.UserClick();
  CHECK(seen.Trim == 0);
  form.CBoxDateOrder.UserSelect(0);
  form.CBoxExact.UserClick();
  CHECK(seen.ExactValues == 1);
  form.bntOK.UserClick();
  CHECK(form.CopyBack(rig.setting).ok());
  CHECK(rig.setting.ExactValues == 1);
  CHECK(rig.setting.AnsiPage == 65001);
  CHECK(rig.setting.OemPage == 852);
  CHECK(rig.setting.DateOrder.empty());
  CHECK(rig.setting.Decimal == ";");
  CHECK(rig.setting.NullText == "-");
}

TEST_CASE("The options show a setting and give it back unchanged") {
  settings::ImportSetting full;
  full.RecSeparator = 3;
  full.RecSepOther = "||";
  full.OemConvert = full.Lower = true;
  full.QuotedLineEnds = 1;
  full.AllLines = false;
  full.MaxLines = 12;
  full.StartingLine = 3;
  full.AppendRecords = false;
  full.UpdateIndex = full.KeyLookUp = full.AppendFields = true;
  full.IndexName = "ById";
  full.Trace = full.LogAppend = full.EmptyTarget = full.DeleteImportFile = true;
  full.LogFileName = "/tmp/x.log";
  full.ShowErrors = false;
  full.LimitErrors = true;
  full.nErrorStop = 7;
  settings::ImportSetting length;
  length.RecSeparator = 4;
  length.RecLength = 80;
  length.Upper = true;
  for (const settings::ImportSetting& setting : {settings::ImportSetting(), full, length}) {
    OptionsRig rig;
    rig.setting = setting;
    rig.Fill();
    rig.form.bntOK.UserClick();
    CHECK(rig.form.Confirmed());
    settings::ImportSetting taken = setting;
    CHECK(rig.form.CopyBack(taken).ok());
    CHECK(taken == setting);
    CHECK(rig.platform.boxes.empty());
  }
}

TEST_CASE("Enabling rules of the options") {
  OptionsRig rig;
  rig.Fill();
  frmAdvanced& form = rig.form;
  struct Row {
    Control* click;
    const char* mode;
    const char* others;
  };
  const Row kRows[] = {
      {nullptr, "0000000", "00000000"},                  // appending
      {&form.RBtnUpdateRecords, "1100011", "00000000"},  // in table order
      {&form.RBtnUseIndex, "1111111", "00000000"},
      {&form.CBoxAppendIfEof, "1111111", "00000000"},
      {&form.CBoxKeyLookUp, "1111110", "00000000"},
      {&form.CBoxKeyLookUp, "1111111", "00000000"},
      {&form.RBtnTableOrder, "1100011", "00000000"},
      {&form.RBtnAppendRecords, "0000000", "00000000"},
      {&form.RBtnTraceOn, "0000000", "11110000"},
      {&form.RBtnTraceOff, "0000000", "00000000"},
      {&form.CBoxAllImport, "0000000", "00001100"},
      {&form.CBoxStopIfErrors, "0000000", "00001111"},
      {&form.RBtnUpdateRecords, "1100011", "00001111"},
      {&form.RBtnUseIndex, "1111111", "00001111"},
      {&form.CBoxKeyLookUp, "1111110", "00001111"},
  };
  for (const Row& row : kRows) {
    if (row.click != nullptr) row.click->UserClick();
    CAPTURE((row.click != nullptr ? row.click->name() : "at first"));
    CHECK(Mode(form) == row.mode);
    CHECK(Others(form) == row.others);
    CHECK(form.RBtnAppendRecords.value() != form.RBtnUpdateRecords.value());
  }
  CHECK(form.CBoxKeyLookUp.value());
  CHECK_FALSE(form.CBoxAppendIfEof.value());  // cleared by the one before
  form.CBoxUpper.UserClick();
  form.CBoxLower.UserClick();
  CHECK(form.CBoxLower.value());
  CHECK_FALSE(form.CBoxUpper.value());

  // Appending stores no update options, whatever the boxes show.
  form.RBtnAppendRecords.UserClick();
  form.EdtStartLine.UserText("");
  form.EdtNbLineMax.UserText("");
  form.bntOK.UserClick();
  CHECK(form.EdtStartLine.text() == "1");
  settings::ImportSetting taken;
  taken.IndexName = "kept";
  CHECK(form.CopyBack(taken).ok());
  CHECK_FALSE((taken.UpdateIndex || taken.KeyLookUp || taken.AppendFields || taken.AppendIfEof));
  CHECK(taken.IndexName == "kept");
  CHECK(taken.AllLines);
  CHECK(taken.MaxLines == 0);
  CHECK(taken.StartingLine == 1);
}

TEST_CASE("Key lookup and appending at the end are never asked for together, by no way") {
  OptionsRig rig;
  rig.Fill();
  frmAdvanced& form = rig.form;
  for (Control* click : {&form.RBtnUpdateRecords, &form.RBtnUseIndex, &form.CBoxKeyLookUp,
                         &form.RBtnAppendRecords, &form.RBtnUpdateRecords})
    click->UserClick();
  CHECK_FALSE(form.CBoxAppendIfEof.enabled());
  form.CBoxAppendIfEof.UserClick();
  CHECK_FALSE(form.CBoxAppendIfEof.value());
  form.RBtnTableOrder.UserClick();  // no index to look a key up in
  CHECK_FALSE(form.CBoxKeyLookUp.value());
  CHECK(form.CBoxAppendIfEof.enabled());

  OptionsRig odd;  // a file may hold what no run takes
  odd.setting.AppendRecords = false;
  odd.setting.KeyLookUp = true;
  odd.Fill();
  CHECK_FALSE(odd.form.CBoxKeyLookUp.enabled());
  settings::ImportSetting taken;
  CHECK(odd.form.CopyBack(taken).ok());
  CHECK_FALSE(taken.KeyLookUp);
}

TEST_CASE("A number out of range keeps the dialog open, on the page of its box") {
  OptionsRig rig;
  rig.Fill();
  frmAdvanced& form = rig.form;
  form.CBoxUpper.UserClick();
  form.EdtMaxErrors.UserText("32768");
  CHECK_FALSE(form.EdtMaxErrors.text() == "32768");  // it cannot be used yet
  form.CBoxStopIfErrors.UserClick();
  form.EdtMaxErrors.UserText("32768");
  form.bntOK.UserClick();
  CHECK(form.shown());
  CHECK_FALSE(form.Confirmed());
  REQUIRE(rig.platform.boxes.size() == 1);
  CHECK(rig.platform.boxes[0].text.find("32768") != std::string::npos);
  CHECK(form.Frame1_2.visible());
  CHECK(form.CBoxUpper.value());
  form.EdtMaxErrors.UserText("32767");
  form.bntOK.UserClick();
  CHECK(form.Confirmed());
}

TEST_CASE("Boxes for numbers take digits only, typed or pasted, and know their limit") {
  OptionsRig rig;
  rig.Fill();
  rig.form.CBoxAllImport.UserClick();
  rig.form.EdtNbLineMax.UserText("1a2 -3.");
  CHECK(rig.form.EdtNbLineMax.text() == "123");
  rig.form.EdtNbLineMax.UserText("32768");
  settings::ImportSetting taken;
  const Status status = rig.form.CopyBack(taken);
  CHECK(status.code() == Code::kOutOfRange);
  CHECK(taken == settings::ImportSetting());
}

TEST_CASE("A table without indexes, a table with one not chosen, a database source") {
  OptionsRig none;
  none.Fill({});
  none.form.RBtnUpdateRecords.UserClick();
  CHECK(none.form.CBoxIndexes.text() == "No index");
  none.form.RBtnUseIndex.UserClick();
  CHECK(none.platform.boxes.at(0) == contract::MessageBox{"The table has no index", "Warning",
                                                          contract::Icon::kExclamation,
                                                          contract::Buttons::kOk});
  CHECK(none.form.RBtnTableOrder.value());
  CHECK_FALSE(none.form.CBoxIndexes.enabled());

  OptionsRig chosen;
  chosen.Fill();
  chosen.form.RBtnUpdateRecords.UserClick();
  chosen.form.RBtnUseIndex.UserClick();
  chosen.form.CBoxIndexes.UserSelect(-1);
  chosen.form.bntOK.UserClick();
  CHECK(chosen.platform.boxes.at(0) == contract::MessageBox{"You must choose an index", "Error",
                                                            contract::Icon::kCritical,
                                                            contract::Buttons::kOkCancel});
  CHECK(chosen.form.shown());
  chosen.form.CloseRequested();
  CHECK_FALSE(chosen.form.Confirmed());

  OptionsRig table;
  table.setting.TypeFormat = 7;
  table.setting.RecSeparator = 2;
  table.Fill();
  CHECK(Enabled({&table.form.FrameRecSep, &table.form.RBtnLF, &table.form.EdtRecLength}) == "000");
  table.form.bntOK.UserClick();
  CHECK(table.form.CopyBack(table.setting).ok());
  CHECK(table.setting.RecSeparator == 2);
}

TEST_CASE("The host takes tabs away, and each tab shows its own page") {
  for (int hidden = 0; hidden < 8; ++hidden) {
    OptionsRig rig;
    rig.properties.ShowUpdateOption = (hidden & 1) == 0;
    rig.properties.ShowErrorsOption = (hidden & 2) == 0;
    rig.properties.ShowAdvancedOption = (hidden & 4) == 0;
    rig.Fill();
    std::vector<std::string> expected{"General"};
    if (rig.properties.ShowUpdateOption) expected.emplace_back("Import Mode");
    if (rig.properties.ShowErrorsOption) expected.emplace_back("Errors/Trace");
    if (rig.properties.ShowAdvancedOption) expected.emplace_back("Advanced");
    CHECK(rig.form.TabStrip1.items() == expected);
    for (std::size_t i = 0; i < expected.size(); ++i) {
      rig.form.TabStrip1.UserSelect(static_cast<int>(i));
      CHECK(rig.form.Frame1_0.visible() == (expected[i] == "General"));
      CHECK(rig.form.Frame1_1.visible() == (expected[i] == "Import Mode"));
      CHECK(rig.form.Frame1_2.visible() == (expected[i] == "Errors/Trace"));
      CHECK(rig.form.Frame1_3.visible() == (expected[i] == "Advanced"));
    }
  }
}

TEST_CASE("Logon: data sources or a database file") {
  ScriptedPlatform platform;
  MemoryDriver memory;
  database::DBEngine engine;
  {
    wizard::frmODBCLogon none(platform, engine, true);
    none.Form_Load();
    CHECK_FALSE(none.BtnOk.enabled());
  }
  for (const char* name : {"Sales", "Stock", "  ", "Archive"}) memory.AddDatabase(name);
  engine.Register(memory.Clone());
  wizard::frmODBCLogon odbc(platform, engine, true);
  odbc.Form_Load();
  CHECK(odbc.CBoxDataSources.items().size() == 3);
  CHECK(odbc.CBoxDataSources.list_index() == 0);
  CHECK(odbc.BtnOk.enabled());
  CHECK_FALSE(odbc.EdtDBName.visible());
  CHECK_FALSE(odbc.BtnBrowseDB.visible());
  CHECK_FALSE(odbc.LblDataBase.visible());
  odbc.BtnOk.UserClick();
  CHECK(odbc.Confirmed());

  wizard::frmODBCLogon access(platform, engine, false);
  access.Form_Load();
  CHECK_FALSE(access.BtnOk.enabled());
  CHECK_FALSE(access.CBoxDataSources.visible());
  platform.file = "/data/shop.mdb";
  access.BtnBrowseDB.UserClick();
  CHECK(platform.dialogs.at(0).filter.rfind("Access(*.mdb)|*.mdb|", 0) == 0);
  CHECK(access.EdtDBName.text() == "/data/shop.mdb");
  CHECK(access.BtnOk.enabled());
  access.EdtDBName.UserText("");
  CHECK_FALSE(access.BtnOk.enabled());
  access.cmdCancel.UserClick();
  CHECK_FALSE(access.Confirmed());

  wizard::frmDBPWD password;
  password.txtPassword.UserText("pw");
  password.cmdOK.UserClick();
  CHECK(password.password() == "pw");
  password.CloseRequested();
  CHECK(password.password().empty());
}

TEST_CASE("A logon replaces the control's credentials only when it was confirmed") {
  for (const bool ok : {false, true}) {
    WizardRig rig;
    rig.host.properties().UserName = "ann";
    rig.Start();
    rig.Choose(rig.c->CBoxTypeFormat, "Access");
    CHECK(rig.c->BtnBrowseFiles.caption() == "Database...");
    rig.screen.In<wizard::frmODBCLogon>("frmODBCLogon", [&](wizard::frmODBCLogon& logon) {
      CHECK(logon.EdtUserId.text() == "ann");
      logon.EdtDBName.UserText("shop");
      logon.EdtUserId.UserText("bob");
      (ok ? logon.BtnOk : logon.cmdCancel).UserClick();
    });
    rig.c->BtnBrowseFiles.UserClick();
    CHECK(rig.host.properties().UserName == (ok ? "bob" : "ann"));
    for (const bool again : {false, true}) {  // the kind is left and chosen once more
      CAPTURE(again);
      CHECK(rig.c->lstTables.enabled() == ok);
      CHECK(rig.c->BtnNext.enabled() == ok);
      CHECK(rig.c->PreviewGrid.headings().size() == (ok ? 5 : 0));
      rig.Choose(rig.c->CBoxTypeFormat, "Delimited text");
      rig.Choose(rig.c->CBoxTypeFormat, "Access");
    }
  }
}

}  // namespace kelvorin::tests
