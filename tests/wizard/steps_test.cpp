// The wizard from its start to Finish without a window: paths, buttons, sources, mapping, settings.

#include <doctest/doctest.h>

#include "base/M_FILE.h"
#include "tests/wizard/wizard_rig.h"

namespace kelvorin::tests {

using contract::Answer;
using contract::Control;
using wizard::frmAdvanced;
using wizard::WizardControls;

namespace {

const char kCsv[] = "axe,3\r\nsaw,4\r\npin,5\r\n";
const char kColumns[] = "axe   3\r\nsaw   4\r\npin   5\r\n";

}  // namespace

TEST_CASE("Every kind of source has its path, there and back") {
  struct Row {
    const char* kind;
    std::string there;  // from the choice of the source on
  };
  const Row kRows[] = {
      {"Delimited text", "124"},
      {"Fixed-width text", "134"},
      {"HTML tags", "14"},
      {"Access", "14"},
      {"ODBC", "14"},
  };
  for (const Row& row : kRows)
    for (const bool fixed : {false, true}) {
      CAPTURE(row.kind);
      CAPTURE(fixed);
      const std::string there = (fixed ? "" : "0") + row.there;
      WizardRig rig;
      rig.memory.AddTable("source", TableOf("Goods", {Text("a")}));
      rig.host.properties().MultiTable = !fixed;
      rig.host.properties().ImportDBName = rig.File("in.txt", kColumns);
      if (row.kind == std::string("Access") || row.kind == std::string("ODBC"))
        rig.host.properties().ImportDBName.clear();
      rig.Start();
      REQUIRE(rig.started.ok());
      if (!fixed) rig.c->BtnNext.UserClick();
      CHECK(rig.Shown()[0] == '1');
      CHECK(rig.c->BtnPrev.enabled() == !fixed);
      rig.Choose(rig.c->CBoxTypeFormat, row.kind);
      if (rig.c->lstTables.visible()) {
        CHECK_FALSE(rig.c->BtnNext.enabled());
        CHECK_FALSE(rig.c->lstTables.enabled());
        rig.screen.In<wizard::frmODBCLogon>("frmODBCLogon", [](wizard::frmODBCLogon& logon) {
          logon.EdtDBName.UserText("source");
          if (logon.CBoxDataSources.visible()) WizardRig::Choose(logon.CBoxDataSources, "source");
          logon.BtnOk.UserClick();
        });
        rig.c->BtnBrowseFiles.UserClick();
        CHECK(rig.c->lstTables.text() == "Goods");
      }
      if (!fixed) rig.c->BtnPrev.UserClick();
      CHECK(rig.Walk(rig.c->BtnNext) == there);
      CHECK_FALSE(rig.c->BtnFinish.enabled());
      CHECK_FALSE(rig.c->BtnSaveSetting.enabled());
      CHECK(rig.Walk(rig.c->BtnPrev) == std::string(there.rbegin(), there.rend()));
      CHECK(rig.screen.boxes.empty());
      CHECK(rig.screen.wait_cursors == 0);
      rig.form->Form_Unload();
    }
}

TEST_CASE("A job from the first click to the summary, with its setting kept") {
  WizardRig rig;
  rig.host.properties().tableName.clear();  // so the user is to choose
  rig.Start();
  CHECK(rig.host.changed == "MultiTable");
  CHECK(rig.Shown() == "0 -N--");
  CHECK_FALSE(rig.c->PreviewText.visible());
  rig.c->BtnNext.UserClick();
  CHECK(rig.Shown() == "1 B---");
  rig.c->EdtFileName.UserText(rig.folder.File("missing.csv"));
  CHECK(rig.Shown() == "1 B---");
  rig.c->EdtFileName.UserText(rig.File("in.csv", kCsv));
  CHECK(rig.Shown() == "1 BN--");
  CHECK(rig.c->PreviewText.items() == std::vector<std::string>{"axe,3", "saw,4", "pin,5"});
  CHECK(rig.c->LblDetected.caption() ==
        "Delimited text, comma, CR LF: 3 of 3 lines have 2 fields.");
  rig.c->BtnNext.UserClick();
  CHECK(rig.c->PreviewGrid.headings() == std::vector<std::string>{"Field 1", "Field 2"});
  CHECK(rig.c->CBoxComma.value());
  rig.c->CBoxComma.UserClick();
  CHECK(rig.c->PreviewGrid.headings().size() == 1);
  rig.c->CBoxComma.UserClick();
  rig.c->BtnNext.UserClick();
  CHECK(rig.Shown() == "4 B---");
  CHECK(rig.MapColumn(2) == "Name|Amount|Day|Notes|Picture");
  CHECK(rig.MapColumn(0) == "->||||");
  rig.c->BtnMapInOrder.UserClick();
  CHECK(rig.MapColumn(5) == "Field 1|Field 2|(Ignored)|(Ignored)|(Ignored)");
  CHECK(rig.c->LblMapped.caption() == "2 of 5 fields mapped");
  CHECK(rig.Shown() == "4 B-FS");

  rig.c->BtnFinish.UserClick();
  REQUIRE(rig.screen.boxes.size() == 1);
  CHECK(rig.screen.boxes[0] ==
        contract::MessageBox{"End of import\r\nNumber of imported records : 3", "Information",
                             contract::Icon::kInformation, contract::Buttons::kOk});
  CHECK(rig.screen.shown == std::vector<std::string>{"frmProgress"});
  CHECK(rig.memory.Rows("shop", "Goods").size() == 3);
  const settings::ImportSetting last = rig.Stored("__LastSetting__");
  CHECK(last.SourceDBName + last.SourceTableName == rig.folder.File("in.csv"));
  CHECK(last.FieldMap[1].Field == 1);
  CHECK(rig.form->state().setting.SettingName.empty());
  rig.form->Form_Unload();

  // The next opening begins where this one ended, and its layout is not guessed anew.
  rig.host.properties().LoadLastSetting = true;
  rig.host.properties().MultiTable = false;
  rig.host.properties().tableName = "Goods";
  rig.Start();
  CHECK(rig.Shown() == "1 -NFS");
  CHECK(rig.c->EdtFileName.text() == rig.folder.File("in.csv"));
  CHECK(rig.form->caption() == "Import Data");
}

TEST_CASE("The start handler reports what it could not open") {
  struct Row {
    const char* name;
    void (*make)(WizardRig&);
    const char* text;
  };
  const Row kRows[] = {
      {"database", [](WizardRig& rig) { rig.host.properties().DataBaseName = "none"; },
       "The following Error Occured:\r\n\r\nError in opening DataBase none\r\n"},
      {"table", [](WizardRig& rig) { rig.host.properties().tableName = "None"; },
       "The following Error Occured:\r\n\r\nError in opening Table None\r\n"},
      {"windows",
       [](WizardRig& rig) { rig.screen.windows = Status(Code::kNotSupported, "no display"); }, ""},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    WizardRig rig;
    row.make(rig);
    rig.form.emplace(rig.engine, rig.screen);
    rig.form->SetCaller(rig.host);
    rig.form->Execute();
    CHECK(rig.screen.shown.empty());
    CHECK_FALSE(rig.LastError().empty());
    CHECK(rig.screen.boxes.size() == (*row.text ? 1 : 0));
    if (*row.text) {
      CHECK(rig.screen.boxes[0].text.rfind(row.text, 0) == 0);
      CHECK(rig.screen.boxes[0].title == "Error");
    }
  }
}

TEST_CASE("The host hides kinds of source and tables") {
  WizardRig rig;
  rig.memory.AddTable("shop", TableOf("Other", {Text("A")}));
  rig.host.properties().MultiTable = true;
  rig.host.properties().tableName = "GOODS";
  rig.host.hidden = {"type 1", "type 3", "type 14", "Other"};
  rig.Start();
  CHECK(rig.c->CBoxTables.items() == std::vector<std::string>{"Goods"});
  const std::vector<std::string>& kinds = rig.c->CBoxTypeFormat.items();
  CHECK(kinds.size() == 12);
  CHECK(kinds[0] == "Delimited text");
  CHECK(kinds[1] == "HTML tags");
  CHECK(rig.c->CBoxTypeFormat.item_data(2) == 4);
  CHECK(kinds.back() == "FoxPro 3.0");
}

TEST_CASE("Separators, delimiter and options redraw the preview") {
  struct Row {
    const char* file;
    std::function<void(WizardRig&)> act;
    const char* first;      // cells of the first row
    const char* set = ",";  // of separators
    std::string status = "All records shown have 2 fields.";
  };
  const auto click = [](Control WizardControls::*box) {
    return [box](WizardRig& rig) { (rig.c->*box).UserClick(); };
  };
  const auto delimiter = [](int index) {
    return [index](WizardRig& rig) { rig.c->CBoxDelimiter.UserSelect(index); };
  };
  // The options count once they are confirmed.
  const auto options = [](std::function<void(frmAdvanced&)> act) {
    return [act](WizardRig& rig) {
      const settings::ImportSetting before = rig.form->state().setting;
      for (const bool ok : {false, true}) {
        CHECK(rig.form->state().setting == before);
        rig.screen.In<frmAdvanced>("frmAdvanced", [&](frmAdvanced& form) {
          CHECK(form.CBoxIndexes.items() == std::vector<std::string>{"ByKey"});
          act(form);
          (ok ? form.bntOK : form.bntCancel).UserClick();
        });
        rig.c->BtnAdvanced.UserClick();
      }
    };
  };
  const std::string three = "All records shown have 3 fields.";
  const Row kRows[] = {
      {"a;b c,d\te|f\r\n", click(&WizardControls::CBoxTab), "a;b c|d|e|f", ",\t", three},
      {"a;b c,d\r\n", click(&WizardControls::CBoxSemiColon), "a|b c|d", ",;", three},
      {"a;b c,d\r\n", click(&WizardControls::CBoxSpace), "a;b|c|d", ", ", three},
      {"a#b,c\r\n",
       [](WizardRig& rig) {
         rig.c->CBoxOtherChar.UserClick();
         rig.c->EdtSpecialSeparator.UserText("#!");
       },
       "a|b|c", ",#", three},
      {"a#b,c\r\n", click(&WizardControls::CBoxOtherChar), "a#b|c"},
      {"'a,b',\"c,d\"\r\n", delimiter(1), "a,b|\"c|d\"", ",", three},
      {"\"c,d\"\r\n", delimiter(2), "\"c|d\""},
      {"c\r\na,b\r\n\"d,e\r\nf,g\r\nh,i\r\n", delimiter(0), "c*|", ",",
       "2 records with another number of fields than most (in bold). "
       "1 record with a text delimiter that is not closed."},
      {"a,b\r\nc,d\r\n", options([](frmAdvanced& f) { f.EdtStartLine.UserText("2"); }), "c|d"},
      {"a,b\r\nc,d\r\n", options([](frmAdvanced& f) { f.CBoxUpper.UserClick(); }), "A|B"},
      {"a,b#c,d#e", options([](frmAdvanced& f) {
         f.RBtnOther.UserClick();
         f.EdtOtherChar.UserText("#");
       }),
       "a|b", ",", "1 record with another number of fields than most (in bold)."},
      {"a,b\rc,d\r", options([](frmAdvanced& f) { f.RBtnCR.UserClick(); }), "a|b"},
      {"ab,cd,ef,", options([](frmAdvanced& f) {
         f.RBtnNoSeparator.UserClick();
         f.EdtRecLength.UserText("3");
       }),
       "ab|"},
      {"a,\"b\r\nc\"\r\nd,e\r\n", options([](frmAdvanced& f) { f.CBoxQuotedLineEnds.UserClick(); }),
       "a|b  c"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.file);
    WizardRig rig(TableOf("Goods", {Text("Name")}, 1));
    rig.StartOn("in.csv", row.file);
    rig.Choose(rig.c->CBoxTypeFormat, "Delimited text");
    rig.c->BtnNext.UserClick();
    REQUIRE(rig.Shown()[0] == '2');
    if (!rig.c->CBoxComma.value()) rig.c->CBoxComma.UserClick();  // taken for columns
    row.act(rig);
    std::string first;
    for (const auto& cell : rig.c->PreviewGrid.rows().at(0))
      first += "|" + cell.text + (cell.bold ? "*" : "");
    CHECK(first.substr(1) == row.first);
    CHECK(rig.form->state().setting.SeparatorSet == row.set);
    CHECK(rig.c->LblStatus.caption() == row.status);
  }
}

TEST_CASE("Picking, ignoring and losing source fields") {
  WizardRig rig;
  rig.StartOn("in.csv", "a,b,a\r\n1,2,3\r\n4,5,6\r\n");
  rig.form->state().setting.StartingLine = 2;
  rig.form->state().setting.FieldMap[4] = {"Picture", 0, 0, -1, true, 5};
  rig.form->BtnDetect_Click();
  rig.Walk(rig.c->BtnNext);
  using Names = std::vector<std::string>;
  CHECK(rig.c->CBoxSourceFields.items() == Names{"a", "b", "Field 3", "(Ignored)", "(Ignore all)"});
  CHECK(rig.MapColumn(5) == "(Ignored)|(Ignored)|(Ignored)|(Ignored)|(Ignored)*");
  CHECK(rig.form->state().setting.FieldMap[4].Field == 5);  // kept until it is picked again
  CHECK(rig.c->CBoxSourceFields.text() == "(Ignored)");

  rig.Choose(rig.c->CBoxSourceFields, "b");
  CHECK(rig.form->state().setting.FieldMap[0].Field == 1);
  CHECK(rig.c->PreviewGrid.selected_column() == 1);
  rig.c->GrdMapping.UserRow(2);
  CHECK(rig.MapColumn(0) == "||->||");
  CHECK(rig.c->CBoxSourceFields.text() == "(Ignored)");
  CHECK(rig.c->PreviewGrid.selected_column() == -1);
  rig.Choose(rig.c->CBoxSourceFields, "a");
  rig.c->GrdMapping.UserRow(0);
  CHECK(rig.c->CBoxSourceFields.text() == "b");

  for (const bool ok : {false, true}) {
    rig.screen.answers = {ok ? Answer::kOk : Answer::kCancel};
    rig.Choose(rig.c->CBoxSourceFields, "(Ignore all)");
    CHECK(rig.screen.boxes.back() ==
          contract::MessageBox{"This action will reset all the mapping, continue ?", "Confirmation",
                               contract::Icon::kQuestion, contract::Buttons::kOkCancel, true});
    CHECK(rig.c->CBoxSourceFields.text() == (ok ? "(Ignored)" : "b"));
    CHECK(rig.c->BtnFinish.enabled() == !ok);
    CHECK(settings::HasMapping(rig.form->state().setting.FieldMap) == !ok);
  }
  CHECK(rig.MapColumn(5) == "(Ignored)|(Ignored)|(Ignored)|(Ignored)|(Ignored)");

  // A source with fewer fields: the row that lost its field says so.
  rig.Choose(rig.c->CBoxSourceFields, "Field 3");
  rig.Walk(rig.c->BtnPrev);
  rig.c->EdtFileName.UserText(rig.File("less.csv", "x,y\r\n1,2\r\n"));
  rig.Walk(rig.c->BtnNext);
  CHECK(rig.MapColumn(5) == "(Ignored)*|(Ignored)|(Ignored)|(Ignored)|(Ignored)");
  CHECK(rig.form->state().setting.FieldMap[0].Field == 2);
}

TEST_CASE("Two imports from one opening begin alike, and Return starts only the first") {
  // Emptying counts what the target holds: the second run has to see what the first one left.
  for (const bool odbc : {false, true}) {
    CAPTURE(odbc);
    WizardRig rig(Goods(), odbc);
    rig.StartOn("in.csv", kCsv);
    CHECK_FALSE(rig.c->LblEmptyTarget.visible());
    rig.form->state().setting.EmptyTarget = true;
    rig.Walk(rig.c->BtnNext);
    CHECK(rig.c->LblEmptyTarget.visible());
    CHECK(rig.c->BtnCancel.caption() == "Cancel");
    rig.c->BtnMapInOrder.UserClick();
    CHECK(rig.c->BtnFinish.default_button);
    for (const int run : {1, 2}) {
      CAPTURE(run);
      rig.c->BtnFinish.UserClick();
      CHECK(rig.LastError() == "");
      CHECK(rig.form->result().imported == 3);
      CHECK_FALSE(rig.c->BtnFinish.default_button);
      CHECK(rig.c->BtnFinish.enabled());
    }
    CHECK(rig.memory.Rows("shop", "Goods").size() == 3);
    CHECK(rig.c->BtnCancel.caption() == "Close");
    CHECK(rig.c->LblOutcome.caption() == "3 of 3 records imported.");
    rig.Choose(rig.c->CBoxSourceFields, "Field 2");
    CHECK(rig.c->BtnFinish.default_button);
  }
}

TEST_CASE("What came of a run is told on the form, and its report can be saved") {
  WizardRig rig;
  rig.StartOn("in.csv", "anameofmorethantwentyletters,1\r\npen,x\r\naxe,3\r\n");
  rig.form->state().setting.ShowErrors = false;
  rig.Import();
  CHECK(rig.c->LblOutcome.caption() ==
        "2 of 3 records imported, 1 rejected. 1 value was cut to the size of its field. 1 value is "
        "kept other than it was. The first is in line 1, field Name: "
        "'anameofmorethantwentyletters' is kept as 'anameofmorethantwent'.");
  rig.screen.In<wizard::frmRejected>("frmRejected", [&](wizard::frmRejected& list) {
    CHECK(list.LblOutcome.caption() == rig.c->LblOutcome.caption());
  });
  rig.c->BtnRejected.UserClick();
  rig.screen.file = rig.folder.File("report.txt");
  rig.c->BtnReport.UserClick();
  const std::string report = ReadWhole(rig.screen.file);
  CHECK(report.rfind("Import of " + rig.folder.File("in.csv") + " into Goods\r\nEnded at ", 0) ==
        0);
  CHECK(report.find(rig.c->LblOutcome.caption()) != std::string::npos);
  CHECK(report.find("\r\nline 2, field Amount, value 'x': ") != std::string::npos);
}

TEST_CASE("Values that would not arrive as they are, are marked before the run") {
  for (const bool odbc : {false, true}) {
    CAPTURE(odbc);
    WizardRig rig(TableOf("Goods", {Text("Name", 4), Typed("Amount", values::TypeCode::kLong),
                                    Typed("Day", values::TypeCode::kDate)}),
                  odbc);
    rig.StartOn("in.csv", "axe,3,2024-01-31\r\nhammer,x,31.1.2024\r\n-,1.5,\r\n");
    rig.form->state().setting.NullText = "-";
    rig.Walk(rig.c->BtnNext);
    const auto marks = [&] {
      std::string text;
      for (const auto& row : rig.c->PreviewGrid.rows())
        for (const auto& cell : row) text += cell.doubt.empty() ? '.' : '!';
      return text;
    };
    CHECK(marks() == ".........");
    rig.c->BtnMapInOrder.UserClick();
    CHECK(marks() == "...!!!.!.");
    CHECK(rig.c->PreviewGrid.rows()[1][0].doubt == "Field Name keeps it as 'hamm'.");
    CHECK(rig.c->PreviewGrid.rows()[1][1].doubt.rfind("Field Amount refuses it: ", 0) == 0);
    CHECK(rig.c->LblStatus.caption().find(
              "4 values shown would not arrive as they are (marked).") != std::string::npos);
    CHECK(rig.engine.Errors().empty());
    CHECK(rig.memory.Rows("shop", "Goods").empty());
    rig.screen.In<frmAdvanced>("frmAdvanced", [&](frmAdvanced& form) {
      const auto& sample = form.GrdSample;
      CHECK(sample.rows()[1][2].doubt.rfind("Field Day refuses it: ", 0) == 0);
      WizardRig::Choose(form.CBoxDateOrder, "day month year");
      CHECK(sample.rows()[1][2].doubt.empty());
      CHECK(sample.cell(2, 0) == "(Null)");
      form.EdtNullText.UserText("axe");
      CHECK(sample.cell(0, 0) == "(Null)");
      CHECK(sample.cell(2, 0) == "-");
      form.CBoxExact.UserClick();
      CHECK(sample.rows()[1][0].doubt == "Field Name would keep it as 'hamm', so it is refused.");
      form.bntOK.UserClick();
    });
    rig.c->BtnAdvanced.UserClick();
    CHECK(rig.form->state().setting.ExactValues == 1);
    CHECK(marks() == "...!!..!.");
    rig.form->state().setting.ShowErrors = false;
    rig.c->BtnFinish.UserClick();
    CHECK(rig.form->result().imported == 1);  // as the marks said
    // A host that changes values decides for itself.
    rig.host.before_field = [](auto, auto, auto, auto, auto&) {};
    rig.c->BtnMapInOrder.UserClick();
    CHECK(marks() == ".........");
    rig.form->Form_Unload();
  }
}

TEST_CASE("A run never writes over the settings file it was given") {
  WizardRig rig;
  rig.host.properties().ImportDBName = rig.File("in.csv", kCsv);
  WriteWhole(rig.host.properties().IniFile, "; mine\r\n");
  rig.Start();
  rig.form->state().setting.Trace = true;
  rig.form->state().setting.LogFileName = rig.host.properties().IniFile;
  rig.Import();
  CHECK(rig.form->result().fatal.value_or("").find("the settings file") != std::string::npos);
  CHECK(ReadWhole(rig.host.properties().IniFile).rfind("; mine\r\n", 0) == 0);
  CHECK(rig.memory.Rows("shop", "Goods").empty());
}

TEST_CASE("Text of the clipboard is a source while the wizard is open") {
  WizardRig rig;
  rig.Start();
  rig.Choose(rig.c->CBoxTypeFormat, "Delimited text");
  rig.c->BtnPaste.UserClick();
  CHECK(rig.screen.boxes.at(0).text == "The clipboard holds no text.");
  rig.screen.clipboard = "axe\t3\nK\xC3\xB6ln\t4\n";
  rig.c->BtnPaste.UserClick();
  const std::string file = rig.c->EdtFileName.text();
  CHECK(base::NamePart(file) == "clipboard.txt");
  rig.Import();
  CHECK(rig.form->result().imported == 2);
  rig.form->Form_Unload();
  CHECK_FALSE(base::FileExists(file));
}

TEST_CASE("A mapping made by hand is not thrown away without a question") {
  struct Row {
    const char* name;
    std::function<void(WizardRig&)> act;
    bool asks;
  };
  const Row kRows[] = {
      {"nothing mapped", [](WizardRig&) {}, false},
      {"mapped", [](WizardRig& rig) { rig.c->BtnMapInOrder.UserClick(); }, true},
      {"taken back",
       [](WizardRig& rig) {
         WizardRig::Choose(rig.c->CBoxSourceFields, "Field 1");
         WizardRig::Choose(rig.c->CBoxSourceFields, "(Ignored)");
       },
       false},
      {"imported",
       [](WizardRig& rig) {
         rig.c->BtnMapInOrder.UserClick();
         rig.c->BtnFinish.UserClick();
       },
       false},
      {"saved",
       [](WizardRig& rig) {
         rig.c->BtnMapInOrder.UserClick();
         rig.screen.input = "weekly";
         rig.c->BtnSaveSetting.UserClick();
       },
       false},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.name);
    WizardRig rig;
    rig.StartOn("in.csv", kCsv);
    rig.form->SetShown(true);
    rig.Walk(rig.c->BtnNext);
    row.act(rig);
    rig.screen.boxes.clear();
    rig.form->CloseRequested();
    CHECK(rig.screen.boxes.size() == (row.asks ? 1 : 0));
    CHECK(rig.form->shown() == row.asks);
    if (!row.asks) continue;
    CHECK(rig.screen.boxes[0].careful);
    rig.form->Abandoned();  // nobody is left to ask
    CHECK_FALSE(rig.form->shown());
  }
}

TEST_CASE(
    "The first line holds the names: the box, what it says, and the breaks as they are typed") {
  WizardRig rig;
  rig.StartOn("in.csv", "name,amount\r\naxe,3\r\npen,4\r\n");
  CHECK(rig.c->CBoxHeader.visible());
  CHECK_FALSE(rig.c->CBoxHeader.value());
  CHECK(rig.c->BtnSuggestion.visible());
  CHECK(rig.c->LblSuggestion.caption().find("heading in line 1") != std::string::npos);
  rig.c->BtnNext.UserClick();
  rig.c->CBoxHeader.UserClick();
  CHECK_FALSE(rig.c->BtnSuggestion.visible());
  CHECK(rig.form->state().setting.StartingLine == 2);
  CHECK(rig.c->PreviewGrid.headings() == std::vector<std::string>{"name", "amount"});
  CHECK(rig.c->PreviewGrid.rows().size() == 2);
  rig.c->CBoxHeader.UserClick();
  CHECK(rig.form->state().setting.StartingLine == 1);
  // Lines of a title above the names: the line before the first to import names the columns.
  rig.form->state().setting.StartingLine = 3;
  rig.form->BtnDetect_Click();
  CHECK(rig.c->CBoxHeader.caption() == "L&ine 2 holds the names");
  CHECK(rig.c->PreviewGrid.headings() == std::vector<std::string>{"axe", "3"});
  std::string wide = "0";
  for (int i = 1; i < 252; ++i) wide += "," + std::to_string(i);
  rig.form->state().setting.StartingLine = 1;
  rig.c->EdtFileName.UserText(rig.File("wide.csv", wide));
  CHECK(rig.c->LblStatus.caption() ==
        "1 record with more than 251 fields, which cannot be imported.");
}

TEST_CASE("Breaks stand as they are typed until they are done") {
  WizardRig rig;
  rig.StartOn("in.txt", kColumns);
  rig.c->BtnNext.UserClick();
  REQUIRE(rig.Shown()[0] == '3');
  const std::string before = rig.form->break_editor().Text();
  const std::string typed = "4, 1";
  for (std::size_t n = 1; n <= typed.size(); ++n) {
    rig.c->EdtBreaks.UserText(typed.substr(0, n));
    CHECK(rig.c->EdtBreaks.text() == typed.substr(0, n));
  }
  CHECK(rig.form->break_editor().Text() == "1, 4");
  CHECK(rig.c->LblStatus.caption().find("text behind the last break") != std::string::npos);
  rig.c->EdtBreaks.UserCommit();
  CHECK(rig.c->EdtBreaks.text() == "1, 4");
  rig.c->BtnUndoBreak.UserClick();  // all that was typed at once
  CHECK(rig.form->break_editor().Text() == before);
  CHECK(rig.c->EdtBreaks.text() == before);
}

TEST_CASE("Fixed columns carry their position into the mapping") {
  WizardRig rig;
  rig.StartOn("in.txt", kColumns);
  CHECK(rig.form->state().setting.TypeFormat == 1);
  rig.c->BtnNext.UserClick();
  REQUIRE(rig.Shown()[0] == '3');
  rig.c->EdtBreaks.UserText("7, 3,3 x 0");
  CHECK(rig.form->break_editor().Text() == "3, 7");
  CHECK(rig.c->PreviewGrid.widths() == std::vector<int>{360, 480});
  CHECK(rig.c->PreviewFixed.tool_tip == "Breaks at 3, 7");
  rig.c->BtnNext.UserClick();
  rig.c->GrdMapping.UserRow(1);
  rig.Choose(rig.c->CBoxSourceFields, "Field 2");
  const settings::FieldMapEntry& entry = rig.form->state().setting.FieldMap[1];
  CHECK(entry.Offset == 3);
  CHECK(entry.Length == 4);
  CHECK(rig.c->PreviewGrid.rows()[2][1].text == "   5");
}

TEST_CASE("Breaks: adding, dragging, removing and taking back") {
  textsource::BreakList breaks;
  wizard::BreakEditor editor(breaks);
  editor.SetLines({"abcdefghij"});
  struct Row {
    std::function<bool()> act;
    bool changes;
    const char* breaks;
  };
  const Row kRows[] = {
      {[&] { return editor.Add(4); }, true, "4"},
      {[&] { return editor.Add(4); }, false, "4"},
      {[&] { return editor.Add(0); }, true, "1, 4"},
      {[&] { return editor.Move(1, 4); }, false, "1, 4"},
      {[&] { return editor.Move(1, 9); }, true, "4, 9"},
      {[&] { return editor.Move(7, 2); }, false, "4, 9"},
      {[&] { return editor.Remove(4); }, true, "9"},
      {[&] { return editor.Remove(4); }, false, "9"},
      {[&] { return editor.Undo(); }, true, "4, 9"},
      {[&] { return editor.Undo(); }, true, "1, 4"},
      {[&] { return editor.Clear(); }, true, ""},
      {[&] { return editor.Undo(); }, true, "1, 4"},
      {[&] { return editor.Undo(); }, true, "4"},
      {[&] { return editor.Undo(); }, true, ""},
      {[&] { return editor.Undo(); }, false, ""},
  };
  int told = 0;
  int changes = 0;
  editor.on_change = [&] { ++told; };
  for (const Row& row : kRows) {
    CHECK(row.act() == row.changes);
    changes += row.changes ? 1 : 0;
    CHECK(editor.Text() == row.breaks);
    CHECK(told == changes);
  }
  for (int i = 1; i <= 300; ++i) editor.Add(i);
  CHECK(editor.Positions().size() == 251);
  editor.SetLines({"a\xC3\xB6z"});
  CHECK(editor.width() == (base::AnsiPage().is_utf8() ? 3 : 4));
  editor.Clear();
  editor.Add(2);
  editor.BeginDrag(2);
  editor.DragTo(3);
  CHECK(editor.DrawnAt(2) == 3);
  editor.CancelDrag();
  CHECK_FALSE(editor.Drop());
  CHECK(editor.Text() == "2");
}

TEST_CASE("Settings are saved, listed, opened and deleted") {
  WizardRig rig;
  rig.StartOn("in.csv", kCsv);
  rig.MapInOrder();
  rig.c->BtnSaveSetting.UserClick();  // cancelled
  CHECK(rig.screen.boxes.back() ==
        contract::MessageBox{"Type in the name of the setting:|", "Save Setting"});
  CHECK(settings::IniFile(rig.host.properties().IniFile).FillSettingsList().empty());
  for (const char* name : {"weekly", "daily"}) {
    rig.screen.input = name;
    rig.c->BtnSaveSetting.UserClick();
    CHECK(rig.form->caption() == std::string("Import Data - ") + name);
  }

  rig.screen.In<wizard::frmSettings>("frmSettings", [&](wizard::frmSettings& list) {
    CHECK(list.LBoxSettings.items() == std::vector<std::string>{"weekly", "daily"});
    CHECK(list.LBoxSettings.text() == "weekly");
    list.LBoxSettings.UserSelect(-1);
    list.LBoxSettings.UserDoubleClick();
    CHECK(list.shown());
    list.LBoxSettings.UserSelect(0);
    list.LBoxSettings.UserDoubleClick();
    CHECK_FALSE(list.shown());
  });
  rig.form->state().setting.Upper = true;
  rig.c->BtnSettings.UserClick();
  CHECK(rig.form->caption() == "Import Data - weekly");
  CHECK_FALSE(rig.form->state().setting.Upper);
  CHECK(rig.MapColumn(5).rfind("Field 1|Field 2|(Ignored)", 0) == 0);

  rig.screen.In<wizard::frmSettings>("frmSettings", [&](wizard::frmSettings& list) {
    // Under another name too, and under another name only: the keys are all there.
    rig.screen.input = "daily";
    list.BtnCopy.UserClick();
    CHECK(rig.screen.boxes.back().text == "There is a setting 'daily' already.");
    rig.screen.input = "weekly 2";
    list.BtnCopy.UserClick();
    CHECK(list.LBoxSettings.text() == "weekly 2");
    rig.screen.input = "Weekly 3";
    list.BtnRename.UserClick();
    CHECK(list.LBoxSettings.items() == std::vector<std::string>{"weekly", "daily", "Weekly 3"});
    CHECK(rig.form->caption() == "Import Data - weekly");
    settings::ImportSetting copied = rig.Stored("Weekly 3");
    copied.SettingName = "weekly";
    CHECK(copied == rig.Stored("weekly"));
    list.LBoxSettings.UserSelect(0);
    rig.screen.input = "monthly";
    list.BtnRename.UserClick();
    CHECK(rig.form->caption() == "Import Data - monthly");
    CHECK(rig.form->state().setting.SettingName == "monthly");
    for (const char* name : {"weekly", "weekly=x"}) {
      rig.screen.input = name;
      list.BtnRename.UserClick();
    }
    CHECK(rig.screen.boxes.back().title == "Error");  // a name that could not be found again
    rig.screen.answers = {Answer::kOk};
    WizardRig::Choose(list.LBoxSettings, "Weekly 3");
    list.BtnDelete.UserClick();
    WizardRig::Choose(list.LBoxSettings, "weekly");
    rig.screen.answers = {};
    list.BtnDelete.UserClick();
    CHECK(rig.screen.boxes.back() ==
          contract::MessageBox{"Are you sure that you want to delete the setting 'weekly' ?",
                               "Confirmation", contract::Icon::kQuestion,
                               contract::Buttons::kOkCancel});
    CHECK(list.LBoxSettings.items().size() == 2);
    rig.screen.answers = {Answer::kOk, Answer::kOk};
    list.BtnDelete.UserClick();
    CHECK(rig.form->caption() == "Import Data");
    CHECK(list.LBoxSettings.text() == "daily");
    list.BtnDelete.UserClick();
    CHECK_FALSE(list.BtnOpen.enabled());
    CHECK_FALSE(list.BtnDelete.enabled());
    list.CloseRequested();
  });
  rig.c->BtnSettings.UserClick();
  CHECK(rig.form->state().setting.SettingName == "weekly");
  CHECK(settings::IniFile(rig.host.properties().IniFile).FillSettingsList().empty());
}

TEST_CASE("Progress: cancelling asks, Finish runs once, rejected records stay") {
  struct Row {
    Answer answer;
    const char* outcome;
  };
  const Row kRows[] = {{Answer::kCancel, "4 3 1 0"}, {Answer::kOk, "2 1 1 0"}};
  for (const Row& row : kRows) {
    WizardRig rig;
    rig.host.properties().ImportDBName = rig.File("in.csv", "pen,x\r\naxe,3\r\nsaw,4\r\npin,5\r\n");
    rig.host.properties().ShowSummary = false;
    rig.Start();
    rig.form->state().setting.ShowErrors = false;
    rig.MapInOrder();
    wizard::frmProgress* progress = nullptr;
    rig.screen.In<wizard::frmProgress>("frmProgress",
                                       [&](wizard::frmProgress& form) { progress = &form; });
    std::string text;
    rig.screen.on_yield = [&] {
      rig.c->BtnFinish.UserClick();
      rig.form->BtnFinish_Click();
      progress->Refresh();
      if (progress->LblRecords.caption().rfind("2 out of", 0) == 0 && rig.screen.boxes.empty()) {
        rig.screen.answers = {row.answer};
        progress->CloseRequested();
        text = rig.screen.boxes.at(0).title + ": " + rig.screen.boxes.at(0).text;
      }
    };
    rig.c->BtnFinish.UserClick();
    CHECK(text == "Confirmation: Are you sure that you want to stop the import process?");
    CHECK(RunRig::Show(rig.form->result()).rfind(row.outcome, 0) == 0);
    CHECK(rig.form->result().cancelled == (row.answer == Answer::kOk));
    CHECK(rig.screen.shown == std::vector<std::string>{"frmProgress"});

    REQUIRE(rig.c->BtnRejected.visible());
    rig.screen.file = rig.folder.File("rejected.csv");
    rig.screen.In<wizard::frmRejected>("frmRejected", [&](wizard::frmRejected& list) {
      CHECK(list.LblRejected.caption() == "1 record was not imported.");
      CHECK(list.GrdRejected.cell(0, 0) + list.GrdRejected.cell(0, 1) +
                list.GrdRejected.cell(0, 2) ==
            "1Amountx");
      list.BtnSaveRejected.UserClick();
    });
    rig.c->BtnRejected.UserClick();
    CHECK(ReadWhole(rig.screen.file) == "pen,x\r\n");
  }
}

TEST_CASE("The animation goes round, and the second label tells the rate") {
  ScriptedPlatform platform;
  wizard::frmProgress form(platform);
  std::string frames;
  for (int i = 0; i < 14; ++i) {
    form.Timer1_Timer();
    frames += std::to_string(form.shown_frame()) + " ";
  }
  CHECK(frames == "1 2 3 4 5 6 7 8 9 10 11 12 1 2 ");
  form.SetMaximum(100000);
  form.SetCount(25000);
  form.UpdateRate(2000);
  CHECK(form.LblRate.caption() == "12,500 records per second, about 6 s left");
  form.Refresh();
  CHECK(form.LblRecords.caption() == "25000 out of 100000");
  form.SetCount(100001);
  form.Refresh();
  CHECK(form.LblRecords.caption() == "100001");
  CHECK(form.ProgressBar.number() == 100000);
  form.UpdateRate(2000);
  CHECK(form.LblRate.caption() == "50,000 records per second");
}

}  // namespace kelvorin::tests
