#include "base/M_FILE.h"
#include "base/M_STRING.h"
#include "catalog/source_kinds.h"
#include "contract/enums.h"
#include "settings/setting_store.h"
#include "wizard/frm_kelvorin.h"
#include "wizard/frm_odbc_logon.h"
#include "wizard/plain_path.h"

#include "base/language.h"

namespace kelvorin::wizard {

using base::Tr;
namespace {

catalog::Family FamilyOf(std::int32_t kind) noexcept {
  const catalog::SourceKind* row = catalog::FindSourceKind(kind);
  return row != nullptr ? row->family : catalog::Family::kText;
}

}  // namespace

bool frmKelvorin::SourceHasFileBox() const noexcept {
  const catalog::SourceKind* row = catalog::FindSourceKind(state().setting.TypeFormat);
  return row != nullptr && !row->named_by_list;
}

// --- The target table

void frmKelvorin::CBoxTables_Click() {
  const std::string name = controls.CBoxTables.text();
  if (name.empty()) return;
  // Picked once more, the table that is open keeps its mapping.
  if (name == state().target.table_name && state().target.recordset != nullptr) return;
  controls.LblTableNote.SetCaption({});
  if (!state().target.database) {  // could not be opened anew before
    const Status again = job_.OpenHostTarget();
    if (!again.ok()) {
      ReportError({"Error in opening DataBase %1", {caller().properties().DataBaseName}}, again);
      return;
    }
  }
  const Status opened = job_.OpenTargetTable(name);
  if (!opened.ok()) ReportError({"Error in opening Table %1", {name}}, opened);
  UpdateControls();
}

// --- The kind of source

void frmKelvorin::CBoxTypeFormat_Click() {
  const int selected = controls.CBoxTypeFormat.list_index();
  if (selected < 0) return;
  const int kind = controls.CBoxTypeFormat.item_data(static_cast<std::size_t>(selected));
  settings::ImportSetting& setting = state().setting;
  const std::int32_t old_kind = setting.TypeFormat;
  if (kind == old_kind) return;
  setting.TypeFormat = kind;
  settings::RebuildDelimiter(setting);
  if (catalog::IsSameTableFamily(old_kind, kind)) {
    // Another version of the same family: the file and everything taken from it stay.
    if (!catalog::FindSourceKind(kind)->type_word().empty())
      state().source.SourceConnectString = catalog::FindSourceKind(kind)->type_word();
    RefreshPreview();
  } else {
    if (FamilyOf(old_kind) != FamilyOf(kind)) {
      LeaveSource(old_kind);
      EnterSource(kind);
    }
    ShowSourceControls();
    ShowTableList();
    TakeSample();
    ShowCurrentStep();
  }
  UpdateControls();
}

void frmKelvorin::LeaveSource(std::int32_t old_kind) {
  catalog::Source& source = state().source;
  std::string password = source.password;
  std::string database = old_kind == contract::kOdbc ? std::string() : source.SourceDBName;
  if (source.exists)
    left_[FamilyOf(old_kind)] = {std::exchange(source, {}), controls.EdtFileName.text()};
  static_cast<void>(job_.CloseSource().ok());  // it was only read
  source = {};
  source.password = std::move(password);
  source.SourceDBName = std::move(database);
  steps_.loaded = false;
}

void frmKelvorin::EnterSource(std::int32_t kind) {
  const catalog::SourceKind& row = *catalog::FindSourceKind(kind);
  catalog::Source& source = state().source;
  const auto left = left_.find(row.family);
  if (row.named_by_list) {
    if (left != left_.end()) {
      source = std::move(left->second.source);
      left_.erase(left);
    }
    if (kind == contract::kOdbc) source.SourceDBName.clear();
    return;
  }
  std::string name = controls.EdtFileName.text();
  const auto fits = [&] {
    return catalog::FamilyOfFile(name) == row.family && catalog::SourceFileExists(name);
  };
  if (!fits() && left != left_.end()) name = left->second.box;
  if (fits()) {
    left_.erase(row.family);
    controls.EdtFileName.ShowText(name);
    // The kind, and the layout that belongs to it, are what the user chose just now.
    job_.TakeFile(name, job::Layout::kOfSetting);
    state().setting.TypeFormat = kind;
    settings::RebuildDelimiter(state().setting);
    source.SourceConnectString = row.type_word();
  } else {
    state().preview.ClearLines();
    state().preview.valid = state().preview.file_present = false;
    source.file_name = controls.EdtFileName.text();
  }
}

void frmKelvorin::ShowSourceControls() {
  WizardControls& c = controls;
  const std::int32_t kind = state().setting.TypeFormat;
  const catalog::SourceKind* row = catalog::FindSourceKind(kind);
  for (std::size_t i = 0; i < c.CBoxTypeFormat.items().size(); ++i)
    if (c.CBoxTypeFormat.item_data(i) == kind) c.CBoxTypeFormat.SelectItem(static_cast<int>(i));
  if (c.CBoxTypeFormat.list_index() >= 0 &&
      c.CBoxTypeFormat.item_data(static_cast<std::size_t>(c.CBoxTypeFormat.list_index())) != kind)
    c.CBoxTypeFormat.SelectItem(-1);  // the host does not offer this kind
  const bool file_box = SourceHasFileBox();
  c.EdtFileName.SetVisible(file_box);
  c.LblSelectFile.SetVisible(file_box);
  c.lstTables.SetVisible(!file_box);
  c.LblLstTables.SetVisible(!file_box);
  const bool listed = !file_box && state().source.exists;
  c.lstTables.SetEnabled(listed);
  c.LblLstTables.SetEnabled(listed);
  if (row != nullptr) c.BtnBrowseFiles.SetCaption(Tr(row->browse_caption));
  c.BtnDetect.SetVisible(IsText());
  c.BtnPaste.SetVisible(IsText());
}

void frmKelvorin::ShowFileName() {
  if (!SourceHasFileBox()) return;
  const std::string path = catalog::SourceFilePath(state().setting.TypeFormat, state().source);
  controls.EdtFileName.ShowText(path.empty() ? state().source.file_name : path);
}

void frmKelvorin::ShowTableList() {
  if (SourceHasFileBox()) return;
  controls.lstTables.SetItems(state().source.tables);
  for (std::size_t i = 0; i < state().source.tables.size(); ++i)
    if (state().source.tables[i] == state().source.file_name)
      controls.lstTables.SelectItem(static_cast<int>(i));
}

std::string frmKelvorin::SourceNote() const {
  const std::int32_t kind = state().setting.TypeFormat;
  const catalog::Source& source = state().source;
  const catalog::SourceKind* row = catalog::FindSourceKind(kind);
  if (row == nullptr) return {};
  if (row->named_by_list) {
    if (!source.exists)
      return Tr("Choose what to import from with the button \"%1\".", {Tr(row->browse_caption)});
    return state().source.tables.empty() ? Tr("There is no table to import from.") : std::string();
  }
  if (source.exists) return sample_.problem;
  const std::string name = PlainPath(controls.EdtFileName.text());
  if (name.empty()) return Tr("Choose the file to import.");
  if (!catalog::SourceFileExists(name)) return Tr("There is no such file.");
  const char* const kinds[] = {"a text file", "an Access database", "a Paradox table",
                               "a dBASE or FoxPro table", "a data source"};
  return Tr("'%1' is %2, not %3. Choose another file or source type.",
            {base::NamePart(name), Tr(kinds[static_cast<int>(catalog::FamilyOfFile(name))]),
             Tr(kinds[static_cast<int>(row->family)])});
}

// --- The file

void frmKelvorin::FileNameBox_Change() {
  if (!SourceHasFileBox()) return;
  job_.TakeFile(PlainPath(controls.EdtFileName.text()), job::Layout::kDetected);
  ShowSourceControls();
  ShowSeparators();
  TakeSample();
  if (!steps_.starting) ShowCurrentStep();
}

void frmKelvorin::BtnDetect_Click() {
  job_.TakeFile(PlainPath(controls.EdtFileName.text()), job::Layout::kDetected);
  ShowSourceControls();
  ShowSeparators();
  TakeSample();
  ShowCurrentStep();
}

void frmKelvorin::BtnPaste_Click() {
  const std::string text = platform_.ClipboardText();
  if (text.empty()) {
    platform_.Ask({Tr("The clipboard holds no text."), Tr("Information"),
                   contract::Icon::kInformation, contract::Buttons::kOk});
    return;
  }
  Result<PastedText> pasted = PastedText::Keep(text);
  if (!pasted.ok()) return ReportError({}, pasted.status());
  pasted_ = *std::move(pasted);
  controls.EdtFileName.SetText(pasted_->path());
}

void frmKelvorin::BtnBrowseFiles_Click() {
  if (!SourceHasFileBox()) {
    BrowseDatabase();
    return;
  }
  contract::FileDialog dialog;
  dialog.filter = catalog::FileFilter();
  dialog.filter_index = catalog::FileFilterIndex(state().setting.TypeFormat);
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
  contract::Properties& properties = caller().properties();
  const bool odbc = state().setting.TypeFormat == contract::kOdbc;
  frmODBCLogon logon(platform_, engine_, odbc);
  logon.EdtUserId.SetText(properties.UserName);
  logon.EdtPassword.SetText(properties.Password);
  if (!odbc) logon.EdtDBName.SetText(state().source.SourceDBName);
  logon.Form_Load();
  platform_.ShowModal(logon);
  if (!logon.Confirmed()) return;

  // The credentials of the source replace those of the control: they are shared.
  properties.UserName = logon.EdtUserId.text();
  properties.Password = logon.EdtPassword.text();
  caller().PropertyChanged("UserName");
  caller().PropertyChanged("Password");
  catalog::Source candidate;
  candidate.password = properties.Password;
  candidate.file_name = properties.ImportTable;
  if (odbc) {
    candidate.SourceConnectString = catalog::OdbcConnectString(
        logon.CBoxDataSources.text(), properties.UserName, properties.Password);
  } else {
    candidate.SourceDBName = PlainPath(logon.EdtDBName.text());
  }
  const Status listed = job_.TakeDatabase(state().setting.TypeFormat, std::move(candidate));
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
  if (name == state().source.file_name) return;
  state().source.file_name = name;
  UpdateSrcTablePreview();
  UpdateControls();
}

}  // namespace kelvorin::wizard
