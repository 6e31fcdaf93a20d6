#include "catalog/source_kinds.h"
#include "contract/enums.h"
#include "settings/setting_store.h"
#include "wizard/frm_kelvorin.h"
#include "wizard/frm_odbc_logon.h"

namespace kelvorin::wizard {

bool frmKelvorin::SourceHasFileBox() const noexcept {
  const catalog::SourceKind* row = catalog::FindSourceKind(state_.setting.TypeFormat);
  return row != nullptr && !row->named_by_list;
}

// --- The target table

void frmKelvorin::CBoxTables_Click() {
  const std::string name = controls.CBoxTables.text();
  if (name.empty()) return;
  controls.LblTableNote.SetCaption({});
  const contract::Properties& properties = caller_->properties();
  std::int16_t kind = properties.DefaultSourceType;
  if (!state_.target.database) {  // could not be opened anew before
    const Status again =
        OpenTarget(catalog::AddressFromProperties(properties, kind, caller_->connect_type_name()));
    if (!again.ok()) {
      ReportError("Error in opening DataBase " + properties.DataBaseName, again);
      return;
    }
  }
  if (state_.target.database->IsOdbc()) kind = contract::kOdbc;
  const Status opened = OpenTargetTable(name, kind);
  if (!opened.ok()) ReportError("Error in opening Table " + name, opened);
  UpdateControls();
}

// --- The kind of source

void frmKelvorin::CBoxTypeFormat_Click() {
  const int selected = controls.CBoxTypeFormat.list_index();
  if (selected < 0) return;
  const int kind = controls.CBoxTypeFormat.item_data(static_cast<std::size_t>(selected));
  settings::ImportSetting& setting = state_.setting;
  const std::int32_t old_kind = setting.TypeFormat;
  if (kind == old_kind) return;
  setting.TypeFormat = kind;
  settings::RebuildDelimiter(setting);
  if (catalog::IsSameTableFamily(old_kind, kind)) {
    // Another version of the same family: the file and everything taken from it stay.
    if (!catalog::FindSourceKind(kind)->type_word.empty())
      state_.source.SourceConnectString = catalog::FindSourceKind(kind)->type_word;
    RefreshPreview();
  } else if (contract::IsTextKind(static_cast<std::int16_t>(kind))) {
    const bool was_text = contract::IsTextKind(static_cast<std::int16_t>(old_kind));
    if (!was_text) {
      // The layout that the user chose just now is not guessed away.
      applying_setting_ = true;
      EdtFileName_Change(controls.EdtFileName.text());
      applying_setting_ = false;
    }
    ShowSourceControls();
    TakeSample();
    ShowCurrentStep();
  } else {
    catalog::Source& source = state_.source;
    source.exists = false;
    steps_.loaded = false;
    source.SourceConnectString.clear();
    if (kind == contract::kOdbc) source.SourceDBName.clear();
    if (kind == contract::kAccess || kind == contract::kOdbc) {
      controls.lstTables.Clear();
      source.file_name.clear();
    }
    ShowSourceControls();
    ShowCurrentStep();
  }
  UpdateControls();
}

void frmKelvorin::ShowSourceControls() {
  WizardControls& c = controls;
  const std::int32_t kind = state_.setting.TypeFormat;
  const catalog::SourceKind* row = catalog::FindSourceKind(kind);
  for (std::size_t i = 0; i < c.CBoxTypeFormat.items().size(); ++i)
    if (c.CBoxTypeFormat.item_data(i) == kind) c.CBoxTypeFormat.SelectItem(static_cast<int>(i));
  const bool file_box = SourceHasFileBox();
  c.EdtFileName.SetVisible(file_box);
  c.LblSelectFile.SetVisible(file_box);
  c.lstTables.SetVisible(!file_box);
  c.LblLstTables.SetVisible(!file_box);
  const bool listed = !file_box && state_.source.exists;
  c.lstTables.SetEnabled(listed);
  c.LblLstTables.SetEnabled(listed);
  if (row != nullptr) c.BtnBrowseFiles.SetCaption(row->browse_caption);
  c.LblDetected.SetVisible(IsText());
  c.BtnDetect.SetVisible(IsText());
}

void frmKelvorin::ShowFileName() {
  if (!SourceHasFileBox()) return;
  const std::string path = catalog::SourceFilePath(state_.setting.TypeFormat, state_.source);
  controls.EdtFileName.ShowText(path.empty() ? state_.source.file_name : path);
}

void frmKelvorin::ShowTableList() {
  if (SourceHasFileBox()) return;
  controls.lstTables.SetItems(source_tables_);
  for (std::size_t i = 0; i < source_tables_.size(); ++i)
    if (source_tables_[i] == state_.source.file_name)
      controls.lstTables.SelectItem(static_cast<int>(i));
}

// --- The file

void frmKelvorin::FileNameBox_Change() {
  if (!SourceHasFileBox()) return;
  EdtFileName_Change(controls.EdtFileName.text());
  ShowSourceControls();
  ShowSeparators();
  TakeSample();
  if (!steps_.starting) ShowCurrentStep();
}

void frmKelvorin::BtnDetect_Click() {
  EdtFileName_Change(controls.EdtFileName.text());
  ShowSourceControls();
  ShowSeparators();
  TakeSample();
  ShowCurrentStep();
}

void frmKelvorin::BtnBrowseFiles_Click() {
  if (!SourceHasFileBox()) {
    BrowseDatabase();
    return;
  }
  contract::FileDialog dialog;
  dialog.filter = catalog::FileFilter();
  dialog.filter_index = catalog::FileFilterIndex(state_.setting.TypeFormat);
  dialog.file_name = controls.EdtFileName.text();
  const std::string chosen = platform_.ChooseFile(dialog);
  if (chosen.empty()) return;
  if (chosen == controls.EdtFileName.text()) {
    FileNameBox_Change();  // the same file is read again
  } else {
    controls.EdtFileName.SetText(chosen);
  }
}

void frmKelvorin::BrowseDatabase() {
  contract::Properties& properties = caller_->properties();
  const bool odbc = state_.setting.TypeFormat == contract::kOdbc;
  frmODBCLogon logon(platform_, engine_, odbc);
  logon.EdtUserId.SetText(properties.UserName);
  logon.EdtPassword.SetText(properties.Password);
  if (!odbc) logon.EdtDBName.SetText(state_.source.SourceDBName);
  logon.Form_Load();
  platform_.ShowModal(logon);
  if (!logon.Confirmed()) return;

  // The credentials of the source replace those of the control: they are shared.
  properties.UserName = logon.EdtUserId.text();
  properties.Password = logon.EdtPassword.text();
  caller_->PropertyChanged("UserName");
  caller_->PropertyChanged("Password");
  catalog::Source& source = state_.source;
  source.password = properties.Password;
  source.file_name = properties.ImportTable;
  if (odbc) {
    source.SourceConnectString = catalog::OdbcConnectString(
        logon.CBoxDataSources.text(), properties.UserName, properties.Password);
  } else {
    source.SourceDBName = logon.EdtDBName.text();
  }
  const Status listed = odbc ? ListOdbcTables() : ListAccessTables();
  if (!listed.ok()) {
    ReportError({}, listed);
    return;
  }
  ShowTableList();
  ShowSourceControls();
  ShowCurrentStep();
}

void frmKelvorin::lstTables_Click() {
  const std::string& name = controls.lstTables.text();
  if (name == state_.source.file_name) return;
  state_.source.file_name = name;
  UpdateSrcTablePreview();
  UpdateControls();
}

}  // namespace kelvorin::wizard
