#include "base/M_Const.h"
#include "base/M_STRING.h"
#include "base/code_page.h"
#include "catalog/tables.h"
#include "contract/enums.h"
#include "engine/messages.h"
#include "settings/setting_store.h"
#include "wizard/frm_kelvorin.h"

#include "base/language.h"

namespace kelvorin::wizard {

using base::Tr;

using contract::Control;

namespace {

// The kinds of source in the words of the list.
constexpr const char* kKindNames[] = {
    "Delimited text", "Fixed-width text", "HTML tags",  "Access",     "Paradox 3.x",
    "Paradox 4.x",    "Paradox 5.x",      "dBASE III",  "dBASE IV",   "dBASE 5.0",
    "FoxPro 2.0",     "FoxPro 2.5",       "FoxPro 2.6", "FoxPro 3.0", "ODBC"};

}  // namespace

void frmKelvorin::Execute() {
  job_.SetLastError({});
  const Status windows = platform_.CanShowForms();
  if (!windows.ok()) {
    job_.SetLastError(std::string(windows.message()));
    return;
  }
  if (Form_Load().ok()) platform_.ShowModal(*this);
  Form_Unload();
}

void frmKelvorin::ConnectControls() {
  WizardControls& c = controls;
  const auto click = [this](Control& control, void (frmKelvorin::*procedure)()) {
    control.on_click = [this, procedure] { (this->*procedure)(); };
  };
  click(c.BtnNext, &frmKelvorin::BtnNext_Click);
  click(c.BtnPrev, &frmKelvorin::BtnPrev_Click);
  click(c.BtnCancel, &frmKelvorin::BtnCancel_Click);
  click(c.BtnFinish, &frmKelvorin::BtnFinish_Click);
  click(c.BtnSettings, &frmKelvorin::BtnSettings_Click);
  click(c.BtnSaveSetting, &frmKelvorin::BtnSaveSetting_Click);
  click(c.BtnAdvanced, &frmKelvorin::BtnAdvanced_Click);
  click(c.BtnRejected, &frmKelvorin::BtnRejected_Click);
  click(c.CBoxTables, &frmKelvorin::CBoxTables_Click);
  for (Control* button : {&c.BtnNewTable, &c.BtnMakeTable})
    click(*button, &frmKelvorin::BtnNewTable_Click);
  click(c.CBoxTypeFormat, &frmKelvorin::CBoxTypeFormat_Click);
  click(c.BtnBrowseFiles, &frmKelvorin::BtnBrowseFiles_Click);
  click(c.BtnPaste, &frmKelvorin::BtnPaste_Click);
  click(c.BtnDetect, &frmKelvorin::BtnDetect_Click);
  click(c.lstTables, &frmKelvorin::lstTables_Click);
  for (Control* box : {&c.CBoxComma, &c.CBoxSemiColon, &c.CBoxSpace, &c.CBoxTab})
    click(*box, &frmKelvorin::CBoxComma_Click);
  click(c.CBoxOtherChar, &frmKelvorin::CBoxOtherChar_Click);
  click(c.CBoxDelimiter, &frmKelvorin::CBoxDelimiter_Click);
  click(c.CBoxSourceFields, &frmKelvorin::CBoxSourceFields_Click);
  click(c.BtnMapEqualNames, &frmKelvorin::BtnMapEqualNames_Click);
  click(c.BtnMapInOrder, &frmKelvorin::BtnMapInOrder_Click);
  c.EdtFileName.on_change = [this] { FileNameBox_Change(); };
  c.EdtSpecialSeparator.on_change = [this] { CBoxComma_Click(); };
  c.EdtBreaks.on_change = [this] { EdtBreaks_Change(); };
  c.BtnHelp.on_click = [this] { HelpRequested(); };
  click(c.BtnReport, &frmKelvorin::BtnReport_Click);
  click(c.BtnSuggestion, &frmKelvorin::BtnSuggestion_Click);
  click(c.CBoxHeader, &frmKelvorin::CBoxHeader_Click);
  c.EdtBreaks.on_commit = [this] { EdtBreaks_Commit(); };
  c.BtnUndoBreak.on_click = [this] { break_editor_.Undo(); };
  c.BtnClearBreaks.on_click = [this] { break_editor_.Clear(); };
  c.GrdMapping.on_row_change = [this](int old_row) { GrdMapping_RowChange(old_row); };
  break_editor_.on_change = [this] {
    UpdateFixedPreview();
    UpdateControls();
  };

  c.BtnCancel.cancel_button = true;
  c.BtnBrowseFiles.shortcut = 'R';
  c.BtnReport.shortcut = 'W';
  c.GrdMapping.shortcut = 'G';
  c.CBoxSourceFields.shortcut = 'C';
  c.BtnNext.default_button = c.BtnFinish.default_button = true;
  c.BtnPrev.accessible_name = Tr("Back");
  c.BtnNext.accessible_name = Tr("Next");
  c.CBoxTables.accessible_name = Tr("Target table");
  c.CBoxTypeFormat.accessible_name = Tr("Source type");
  c.EdtFileName.accessible_name = Tr("File name");
  c.lstTables.accessible_name = Tr("Table");
  c.EdtSpecialSeparator.accessible_name = Tr("Other separator");
  c.CBoxDelimiter.accessible_name = Tr("Text delimiter");
  c.EdtBreaks.accessible_name = Tr("Breaks");
  c.GrdMapping.accessible_name = Tr("Mapping of fields");
  c.CBoxSourceFields.accessible_name = Tr("Source field");
  c.PreviewText.accessible_name = Tr("File preview");
  c.PreviewGrid.accessible_name = Tr("Preview of the records");
  c.PreviewFixed.accessible_name = Tr("Column breaks");

  c.BtnPaste.tool_tip = Tr("Takes the text of the clipboard as the file to import");
  c.EdtFileName.file_name = true;

  c.CBoxDelimiter.SetItems({"\"", "'", Tr("(none)")});
  c.CBoxTypeFormat.Clear();
  for (std::int16_t kind = contract::kDelimitedText; kind <= contract::kOdbc; ++kind)
    c.CBoxTypeFormat.AddItem(Tr(kKindNames[kind]), kind);
  FillMapping({});
  c.PreviewGrid.Fill({}, {});
  for (Control* frame :
       {&c.frameSteps_0, &c.frameSteps_1, &c.frameSteps_2, &c.frameSteps_3, &c.frameSteps_4})
    frame->SetVisible(false);
  for (Control* button : {&c.BtnPrev, &c.BtnNext, &c.BtnFinish, &c.BtnSaveSetting, &c.BtnAdvanced})
    button->SetEnabled(false);
  for (Control* control : {&c.CBoxSourceFields, &c.BtnRejected, &c.LblOutcome, &c.BtnReport})
    control->SetVisible(false);
  c.BtnHelp.SetVisible(caller().HelpAvailable());
  for (Control* control : {&c.EdtFileName, &c.EdtSpecialSeparator, &c.EdtBreaks, &c.PreviewText})
    control->keeps_return = true;
  for (Control* control :
       {static_cast<Control*>(&c.PreviewGrid), static_cast<Control*>(&c.GrdMapping),
        &c.PreviewFixed, &c.CBoxSourceFields})
    control->keeps_return = true;
}

Status frmKelvorin::Form_Load() {
  contract::Properties& properties = caller().properties();
  steps_ = {};
  steps_.starting = true;
  ConnectControls();
  if (properties.IniFile.empty()) {
    properties.IniFile = settings::DefaultIniFile();
    caller().PropertyChanged("IniFile");
  }
  SetCaption(properties.ImportCaption);
  ApplyStartLocale();
  KV_TRY(StartTarget());
  steps_.current = steps_.first;
  controls.frame(steps_.current).SetVisible(true);
  OfferSourceKinds();
  if (Status failed = caller().events().Failure(); !failed.ok()) {
    ReportError({}, failed);
    return failed;
  }
  ApplySource(LoadStartSetting());
  steps_.starting = false;
  UpdateControls();
  ShowCurrentStep();
  return Status();
}

// The locale counts before the target is opened, though the setting is loaded only after it.
void frmKelvorin::ApplyStartLocale() {
  const contract::Properties& properties = caller().properties();
  settings::ImportSetting ahead;
  textsource::BreakList breaks;
  ahead.SettingName = properties.AutoLoadSettingName;
  if (ahead.SettingName.empty() && properties.LoadLastSetting)
    ahead.SettingName = settings::kLastSetting;
  if (ahead.SettingName.empty()) return;
  // What cannot be read or applied is reported when the setting's turn comes.
  if (settings::ReadSetting(settings::IniFile(properties.IniFile), ahead, breaks).ok())
    static_cast<void>(job_.ApplyLocale(ahead).ok());
}

// Another setting is at hand: its code pages and formats count at once. The target is opened anew
// where its texts are encoded otherwise now, and its tables' names with them.
void frmKelvorin::TakeLocale() {
  const base::CodePage& before = base::AnsiPage();
  const Status applied = job_.ApplyLocale(state().setting);
  if (!applied.ok()) ReportError({}, applied);
  catalog::Target& target = state().target;
  if (base::AnsiPage().number() == before.number()) return;
  const base::Converter converter(before, base::AnsiPage());
  const auto converted = [&](const std::string& name) {
    std::string out;
    converter.Append(name, out);
    return out;
  };
  std::vector<std::string> names;
  for (const std::string& name : controls.CBoxTables.items()) names.push_back(converted(name));
  const int selected = controls.CBoxTables.list_index();
  controls.CBoxTables.SetItems(std::move(names));
  controls.CBoxTables.SelectItem(selected);
  if (!target.recordset) return;
  const std::string table = converted(target.table_name);
  const Status opened = job_.ReopenTarget(table);
  if (!opened.ok()) ReportError({"Error in opening Table %1", {table}}, opened);
}

Status frmKelvorin::StartTarget() {
  contract::Properties& properties = caller().properties();
  platform_.SetWaitCursor(true);
  Status status = job_.OpenHostTarget();
  platform_.SetWaitCursor(false);
  if (!status.ok()) {
    ReportError({"Error in opening DataBase %1", {properties.DataBaseName}}, status);
    return status;
  }
  const bool multi_table = properties.MultiTable;
  auto tables = catalog::FillTargetTables(*state().target.database, properties, caller().events());
  if (properties.MultiTable != multi_table) caller().PropertyChanged("MultiTable");
  if (!tables.ok()) {
    ReportError({"Error in opening DataBase %1", {properties.DataBaseName}}, tables.status());
    return tables.status();
  }
  steps_.first = tables->fixed ? WizardStep::kSource : WizardStep::kTarget;
  for (Control* button : {&controls.BtnNewTable, &controls.BtnMakeTable})
    button->SetVisible(!tables->fixed);
  controls.CBoxTables.SetItems(tables->names);
  controls.CBoxTables.SelectItem(tables->selected);
  if (tables->table_name.empty()) {
    controls.LblTableNote.SetCaption(
        Tr("The database has no table that records can be imported into."));
    return Status();
  }
  status = job_.OpenTargetTable(tables->table_name);
  if (!status.ok()) {
    ReportError({"Error in opening Table %1", {tables->table_name}}, status);
    return status;
  }
  if (!tables->fixed && !properties.tableName.empty() &&
      !base::EqualIgnoreCase(tables->table_name, properties.tableName))
    controls.LblTableNote.SetCaption(
        Tr("There is no table '%1' in the database.", {properties.tableName}));
  return Status();
}

void frmKelvorin::OfferSourceKinds() {
  std::size_t removed = 0;
  for (std::int16_t kind = 1; kind <= contract::kOdbc; ++kind) {
    bool hide = false;
    caller().events().FilterType(kind, hide);
    if (hide) controls.CBoxTypeFormat.RemoveItem(static_cast<std::size_t>(kind) - removed++);
  }
}

bool frmKelvorin::LoadStartSetting() {
  const contract::Properties& properties = caller().properties();
  const settings::IniFile ini(properties.IniFile);
  settings::ImportSetting& setting = state().setting;
  const std::string& wanted = properties.AutoLoadSettingName;
  const bool named = !wanted.empty();
  job_.SetDefaultSetting();
  if (!named && !properties.LoadLastSetting) return false;
  const std::string name = named ? wanted : std::string(settings::kLastSetting);
  bool loaded = false;
  if (ini.SettingExists(settings::kIndexSection, name)) {
    setting.SettingName = name;
    const Status read = job_.ReadSetting(properties.IniFile);
    if (!read.ok()) {
      ReportError({"Error in reading the setting %1", {name}}, read);
      setting.SettingName.clear();
    } else {
      loaded = true;
      TakeLocale();
      if (named) ShowSettingCaption();
    }
  }
  // The reserved name is never offered for a later save.
  if (!named) setting.SettingName.clear();
  return loaded;
}

void frmKelvorin::ApplySource(bool setting_loaded) {
  state().source.password = caller().properties().Password;
  const Status connected =
      job_.ConnectToSourceTable(setting_loaded ? job::Layout::kOfSetting : job::Layout::kDetected);
  if (!connected.ok()) ReportError({}, connected);
  ShowSourceControls();
  ShowFileName();
  ShowTableList();
  ShowSeparators();
  TakeSample();
}

void frmKelvorin::ShowSettingCaption() {
  SetCaption(caller().properties().ImportCaption + " - " + state().setting.SettingName);
}

void frmKelvorin::BtnCancel_Click() {
  if (running_) {
    close_after_run_ = true;
    return;
  }
  if (mapped_by_hand_ && settings::HasMapping(state().setting.FieldMap) &&
      platform_.Ask(
          {Tr("The mapping of the fields was neither imported nor saved. Close all the same ?"),
           Tr("Confirmation"), contract::Icon::kQuestion, contract::Buttons::kOkCancel, true}) !=
          contract::Answer::kOk)
    return;
  Close();
}

void frmKelvorin::HelpRequested() {
  if (caller().HelpAvailable()) caller().HelpRequested();
}

void frmKelvorin::Abandoned() {
  if (running_) {
    close_after_run_ = true;
  } else {
    Close();
  }
}

void frmKelvorin::Form_Unload() {
  job_.Close([this](const Status& failed) { ReportError({}, failed); });
  pasted_.reset();
}

void frmKelvorin::ReportError(const base::Message& message, const Status& why) {
  const std::string end(base::kCrLf);
  const auto lines = [&](const std::string& text) { return text.empty() ? text : text + end; };
  std::string shown = Tr("The following Error Occured:") + end + end + lines(message.shown) +
                      engine::ShownErrors(engine_, why);
  engine_.ClearErrors();
  job_.SetLastError(lines(message.plain) + std::string(why.message()));
  platform_.Ask({std::move(shown), Tr("Error"), contract::Icon::kCritical, contract::Buttons::kOk});
}

}  // namespace kelvorin::wizard
