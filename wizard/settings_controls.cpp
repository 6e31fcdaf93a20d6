#include "base/code_page.h"
#include "settings/setting_store.h"
#include "wizard/frm_advanced.h"
#include "wizard/frm_kelvorin.h"

#include "base/language.h"

namespace kelvorin::wizard {

using base::Tr;

void frmKelvorin::BtnAdvanced_Click() {
  if (!state().target.database) return;  // could not be opened anew
  std::vector<std::string> indexes;
  const Result<database::TableDef> def =
      state().target.database->FindTableDef(state().target.table_name);
  if (def.ok()) {
    for (const database::IndexDef& index : def->Indexes) indexes.push_back(index.Name);
  } else {
    ReportError({}, def.status());
  }
  frmAdvanced options(platform_);
  options.Fill(state().setting, indexes, caller().properties());
  if (IsText() && state().source.exists)
    options.SetSample(
        [this](const settings::ImportSetting& setting) { return SampleUnder(setting); });
  platform_.ShowModal(options);
  if (!options.Confirmed()) return;
  const Status taken = options.CopyBack(state().setting);
  if (!taken.ok()) ReportError({}, taken);
  TakeLocale();
  if (IsText() && state().source.exists) {
    ReadAgain();  // lines may end elsewhere now
  } else {
    ShowCurrentStep();
  }
}

// The texts come in the page at hand, whatever page they would be read in.
frmAdvanced::Sample frmKelvorin::SampleUnder(const settings::ImportSetting& setting) {
  constexpr std::size_t kRows = 5;
  frmAdvanced::Sample shown;
  const base::CodePage& page = base::AnsiPage();
  PreviewTable table;
  std::vector<job::ValueDoubt> doubts;
  if (job_.ApplyLocale(setting).ok()) {
    TextSample sample;
    if (ReadSample(state().source.file_name, setting, sample).ok())
      table = CutSample(sample, setting, state().breaks);
    // As far as they are mapped already.
    const bool same_page = base::AnsiPage().number() == page.number();
    auto found =
        job::CheckValues(table.values, setting, state().target, engine_.Format(), same_page);
    engine_.ClearErrors();
    if (found.ok()) doubts = *std::move(found);
  }
  const base::Converter converter(base::AnsiPage(), page);
  // The locale of the setting at hand was in force before.
  static_cast<void>(job_.ApplyLocale(state().setting).ok());
  if (table.rows.size() > kRows) table.rows.resize(kRows);
  for (std::string& heading : table.headings)
    converter.Append(heading, shown.headings.emplace_back());
  for (contract::Grid::Row& row : table.rows)
    for (contract::Grid::Cell& cell : row) {
      std::string text;
      converter.Append(cell.text, text);
      cell.text = std::move(text);
    }
  for (const job::ValueDoubt& doubt : doubts) {
    if (doubt.record >= table.rows.size() || doubt.column >= table.rows[doubt.record].size())
      continue;
    contract::Grid::Cell& cell = table.rows[doubt.record][doubt.column];
    if (doubt.kind == job::ValueDoubt::Kind::kNull) {
      cell.text = Tr("(Null)");
    } else {
      cell.doubt += (cell.doubt.empty() ? "" : " ") + doubt.reason;
    }
  }
  shown.rows = std::move(table.rows);
  return shown;
}

void frmKelvorin::BtnSettings_Click() {
  chosen_setting_.clear();
  frmSettings list(platform_, settings::IniFile(caller().properties().IniFile));
  list.SetCaller(*this);
  list.Form_Load();
  platform_.ShowModal(list);
  if (chosen_setting_.empty()) return;
  const std::string before = state().setting.SettingName;
  state().setting.SettingName = chosen_setting_;
  Status status = job_.ReadSetting(caller().properties().IniFile);
  if (!status.ok()) {
    state().setting.SettingName = before;
    ReportError({"Error in reading the setting %1", {chosen_setting_}}, status);
    return;
  }
  TakeLocale();
  // Whatever was open belongs to the setting before.
  static_cast<void>(job_.CloseSource().ok());  // it was only read
  state().source.tables.clear();
  left_.clear();
  state().source.exists = false;
  mapped_by_hand_ = false;
  status = job_.ConnectToSourceTable(job::Layout::kOfSetting);
  if (!status.ok()) ReportError({}, status);
  if (!caption().empty()) ShowSettingCaption();
  ShowSourceControls();
  ShowFileName();
  ShowTableList();
  ShowSeparators();
  TakeSample();
  GoToStepOfKind();
}

void frmKelvorin::BtnSaveSetting_Click() {
  settings::ImportSetting& setting = state().setting;
  const std::string name = platform_.InputBox(
      Tr("Save Setting"), Tr("Type in the name of the setting:"), setting.SettingName);
  if (name.empty()) return;
  setting.SettingName = name;
  if (!caption().empty()) ShowSettingCaption();
  const Status saved = job_.SaveSetting(caller().properties().IniFile);
  if (!saved.ok()) {
    ReportError({}, saved);
  } else {
    mapped_by_hand_ = false;
  }
}

void frmKelvorin::SaveLastSetting() {
  settings::ImportSetting& setting = state().setting;
  const std::string name = std::exchange(setting.SettingName, std::string(settings::kLastSetting));
  // A file that cannot be written keeps its contents, quietly.
  static_cast<void>(job_.SaveSetting(caller().properties().IniFile).ok());
  setting.SettingName = name;
}

}  // namespace kelvorin::wizard
