// Every text that a person sees passes through the language, and nothing else does: names, values
// and what is kept in files stay as they are. The language of these cases sets its texts in marks.

#include <doctest/doctest.h>

#include <set>

#include "base/language.h"
#include "tests/wizard/wizard_rig.h"

namespace kelvorin::tests {
namespace {

std::set<std::string> asked;

std::string Marked(std::string_view text) {
  asked.insert(std::string(text));
  return "{" + std::string(text) + "}";
}

struct MarkingLanguage {
  MarkingLanguage() {
    asked.clear();
    base::SetTranslation(&Marked);
  }
  ~MarkingLanguage() { base::SetTranslation(nullptr); }
};

// Data of these cases begins with "zq". What stands outside all marks and is none of it.
std::string Outside(std::string_view text) {
  std::string left;
  int depth = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    depth += c == '{' ? 1 : c == '}' ? -1 : 0;
    if (depth > 0 || !std::isalpha(static_cast<unsigned char>(c))) continue;
    if (c == 'z' && text.substr(i, 2) == "zq") {
      while (i + 1 < text.size() && std::isalnum(static_cast<unsigned char>(text[i + 1]))) ++i;
      continue;
    }
    left += c;
  }
  return left;
}

void Look(const contract::Form& form) {
  CAPTURE(form.name());
  CHECK(Outside(form.caption()).empty());
  for (const contract::Control* control : form.controls()) {
    CAPTURE(control->name());
    CHECK(Outside(control->caption()) == "");
    CHECK(Outside(control->accessible_name) == "");
    CHECK(Outside(control->tool_tip) == "");
    const auto* grid = dynamic_cast<const contract::Grid*>(control);
    // The preview's headings are names of source fields.
    if (grid != nullptr && control->name() != "PreviewGrid")
      for (const std::string& heading : grid->headings()) CHECK(Outside(heading) == "");
    if (control->kind() == contract::ControlKind::kCombo ||
        control->kind() == contract::ControlKind::kTabs)
      for (const std::string& item : control->items())
        // Names of encodings are names.
        if (control->name() != "CBoxAnsiPage" && control->name() != "CBoxOemPage")
          CHECK(Outside(item) == "");
  }
}

}  // namespace

TEST_CASE("Every text of the forms passes through the language, and no data does") {
  const MarkingLanguage language;
  database::TableDef table =
      TableOf("Goods", {Text("zqname", 3), Typed("zqamount", values::TypeCode::kLong)}, 1);
  table.Indexes[0].Name = "zqkey";
  WizardRig rig(table);
  rig.host.properties().MultiTable = true;
  rig.host.properties().ImportCaption = "zqhost";
  rig.host.properties().ImportDBName =
      rig.File("zqin.csv", "zqname,zqamount\r\nzqlong,3\r\nzqa,zqx\r\nzqb,\r\n");
  const auto plain = rig.host.properties().IniFile;
  rig.Start();
  rig.c->CBoxTables.SetItems({"zqtable"});
  Look(*rig.form);
  rig.c->BtnNext.UserClick();
  for (int kind = 0; kind < 15; ++kind) {
    rig.c->CBoxTypeFormat.UserSelect(kind);
    Look(*rig.form);
  }
  rig.c->CBoxTypeFormat.UserSelect(0);
  rig.c->CBoxHeader.UserClick();
  rig.screen.In<wizard::frmAdvanced>("frmAdvanced", [&](wizard::frmAdvanced& form) {
    Look(form);
    form.RBtnTraceOn.UserClick();
    form.EdtLogFile.UserText(rig.folder.File("run.log"));
    form.EdtStartLine.UserText("99999");
    form.bntOK.UserClick();
    form.EdtStartLine.UserText("2");
    form.bntOK.UserClick();
  });
  rig.c->BtnAdvanced.UserClick();
  while (rig.c->BtnNext.enabled()) {
    rig.c->BtnNext.UserClick();
    Look(*rig.form);
  }
  rig.c->BtnMapEqualNames.UserClick();
  Look(*rig.form);
  CHECK(rig.c->PreviewGrid.rows()[0][0].doubt == "{Field zqname keeps it as 'zql'.}");
  CHECK(rig.c->PreviewGrid.rows()[1][1].doubt ==
        "{Field zqamount refuses it: {'zqx' is no number}}");
  rig.c->CBoxSourceFields.UserSelect(2);
  CHECK(rig.MapColumn(5) == "{(Ignored)}|zqamount");
  rig.c->BtnMapEqualNames.UserClick();
  for (const char* name : {"zqjob", "zqother"}) {
    rig.screen.input = name;
    rig.c->BtnSaveSetting.UserClick();
  }
  rig.screen.In<wizard::frmSettings>("frmSettings", [&](wizard::frmSettings& form) {
    Look(form);
    rig.screen.input = "zqother";
    form.LBoxSettings.UserSelect(0);
    form.BtnCopy.UserClick();
    form.BtnDelete.UserClick();
  });
  rig.c->BtnSettings.UserClick();
  rig.screen.answers = {contract::Answer::kYes, contract::Answer::kNo};
  rig.c->BtnFinish.UserClick();
  CHECK(rig.form->result().imported == 2);
  CHECK(rig.form->result().rejected == 1);
  Look(*rig.form);
  CHECK(rig.c->LblOutcome.caption().find("{%1 value") == std::string::npos);
  rig.screen.In<wizard::frmRejected>("frmRejected", [&](wizard::frmRejected& form) {
    Look(form);
    CHECK(form.GrdRejected.cell(0, 3) == "{'zqx' is no number}");
  });
  rig.c->BtnRejected.UserClick();
  rig.screen.In<wizard::frmNewTable>("frmNewTable", [&](wizard::frmNewTable& form) {
    Look(form);
    form.EdtTableName.UserText("");
    form.BtnMake.UserClick();
  });
  rig.c->BtnMakeTable.UserClick();
  rig.c->CBoxTables.SetItems({"zqnone"});
  rig.c->CBoxTables.UserSelect(0);
  for (const bool odbc : {false, true}) {
    wizard::frmODBCLogon logon(rig.screen, rig.engine, odbc);
    Look(logon);
  }
  Look(wizard::frmDBPWD());
  wizard::frmProgress progress(rig.screen);
  progress.SetMaximum(100000);
  progress.SetCount(25000);
  progress.Refresh();
  progress.UpdateRate(2000);
  Look(progress);

  CHECK(rig.screen.boxes.size() > 8);
  for (const contract::MessageBox& box : rig.screen.boxes) {
    CAPTURE(box.text);
    CHECK(Outside(box.title) == "");
    CHECK(Outside(box.details) == "");
    // The reason behind a message is the engine's own word.
    CHECK(box.text.find('{') != std::string::npos);
  }
  // What is stored or compared by others is in the language of the sources.
  for (const std::string& kept :
       {ReadWhole(plain), ReadWhole(rig.folder.File("run.log")), rig.host.properties().LastError})
    CHECK(kept.find('{') == std::string::npos);
  CHECK(rig.host.properties().LastError.rfind("Error in opening Table zqnone", 0) == 0);
  for (const std::string& text : asked) {
    CAPTURE(text);
    CHECK(text.find("zq") == std::string::npos);
  }
}

TEST_CASE("A reason is taken apart and put together around its data, whatever that is") {
  const MarkingLanguage language;
  struct Row {
    const char* reason;
    const char* shown;
    const char* pattern;
  };
  const Row kRows[] = {
      {"'x' is no number", "{'x' is no number}", "'%1' is no number"},
      {"'' is no number", "{'' is no number}", "'%1' is no number"},
      {"'' is no number' is no number", "{'' is no number' is no number}", "'%1' is no number"},
      {"'%1' is no date in the order %9", "{'%1' is no date in the order %9}",
       "'%1' is no date in the order %2"},
      {"0.4 would become 0 in field 'A', which has 0 decimals",
       "{0.4 would become 0 in field 'A', which has 0 decimals}",
       "%1 would become 0 in field '%2', which has %3 decimals"},
      {"'x is no number", "'x is no number", nullptr},
      {"x' is no number", "x' is no number", nullptr},
      {"' is no number", "' is no number", nullptr},
      {"the server's own word", "the server's own word", nullptr},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.reason);
    asked.clear();
    CHECK(base::TrReason(row.reason) == row.shown);
    CHECK(asked.size() == (row.pattern != nullptr ? 1 : 0));
    if (row.pattern != nullptr) CHECK(asked.contains(row.pattern));
  }
}

}  // namespace kelvorin::tests
