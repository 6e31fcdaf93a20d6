#include "base/code_page.h"
#include "catalog/source.h"
#include "settings/setting_store.h"
#include "wizard/frm_advanced.h"
#include "wizard/frm_kelvorin.h"

namespace kelvorin::wizard {

void frmKelvorin::BtnAdvanced_Click() {
  if (!state_.target.database) return;  // could not be opened anew
  std::vector<std::string> indexes;
  const Result<database::TableDef> def =
      state_.target.database->FindTableDef(state_.target.table_name);
  if (def.ok()) {
    for (const database::IndexDef& index : def->Indexes) indexes.push_back(index.Name);
  } else {
    ReportError({}, def.status());
  }
  frmAdvanced options(platform_);
  options.Fill(state_.setting, indexes, caller_->properties());
  if (IsText() && state_.source.exists)
    options.SetSample(
        [this](const settings::ImportSetting& setting) { return SampleUnder(setting); });
  platform_.ShowModal(options);
  if (!options.Confirmed()) return;
  const Status taken = options.CopyBack(state_.setting);
  if (!taken.ok()) ReportError({}, taken);
  TakeHabits();
  if (IsText() && state_.source.exists) {
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
  if (habits_->Apply(setting).ok()) {
    TextSample sample;
    if (ReadSample(state_.source.file_name, setting, sample).ok())
      table = CutSample(sample, setting, state_.breaks);
  }
  const base::Converter converter(base::AnsiPage(), page);
  // The habits of the setting at hand were in force before.
  static_cast<void>(habits_->Apply(state_.setting).ok());
  if (table.rows.size() > kRows) table.rows.resize(kRows);
  for (std::string& heading : table.headings)
    converter.Append(heading, shown.headings.emplace_back());
  for (contract::Grid::Row& row : table.rows)
    for (contract::Grid::Cell& cell : row) {
      std::string text;
      converter.Append(cell.text, text);
      cell.text = std::move(text);
    }
  shown.rows = std::move(table.rows);
  return shown;
}

void frmKelvorin::BtnSettings_Click() {
  chosen_setting_.clear();
  frmSettings list(platform_, settings::IniFile(caller_->properties().IniFile));
  list.SetCaller(*this);
  list.Form_Load();
  platform_.ShowModal(list);
  if (chosen_setting_.empty()) return;
  const std::string before = state_.setting.SettingName;
  state_.setting.SettingName = chosen_setting_;
  Status status = ReadSetting(caller_->properties().IniFile);
  if (!status.ok()) {
    state_.setting.SettingName = before;
    ReportError("Error in reading the setting " + chosen_setting_, status);
    return;
  }
  TakeHabits();
  // Whatever was open belongs to the setting before.
  CloseKeptSource();
  source_tables_.clear();
  left_.clear();
  state_.source.exists = false;
  mapped_by_hand_ = false;
  applying_setting_ = true;
  status = ConnectToSourceTable();
  applying_setting_ = false;
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
  settings::ImportSetting& setting = state_.setting;
  const std::string name =
      platform_.InputBox("Save Setting", "Type in the name of the setting:", setting.SettingName);
  if (name.empty()) return;
  setting.SettingName = name;
  if (!caption().empty()) ShowSettingCaption();
  catalog::StoreSource(state_.source, setting);
  settings::IniFile ini(caller_->properties().IniFile);
  const Status saved = settings::SaveSetting(ini, setting, state_.breaks);
  if (!saved.ok()) {
    ReportError({}, saved);
  } else {
    mapped_by_hand_ = false;
  }
}

void frmKelvorin::SaveLastSetting() {
  settings::ImportSetting& setting = state_.setting;
  const std::string name = std::exchange(setting.SettingName, std::string(settings::kLastSetting));
  catalog::StoreSource(state_.source, setting);
  settings::IniFile ini(caller_->properties().IniFile);
  // A file that cannot be written keeps its contents, quietly.
  static_cast<void>(settings::SaveSetting(ini, setting, state_.breaks).ok());
  setting.SettingName = name;
}

}  // namespace kelvorin::wizard
