#include "base/M_FILE.h"
#include "base/M_Misc.h"
#include "job/outcome.h"
#include "wizard/frm_kelvorin.h"
#include "wizard/frm_progress.h"
#include "wizard/frm_rejected.h"

namespace kelvorin::wizard {

void frmKelvorin::BtnFinish_Click() {
  if (running_) return;
  running_ = true;
  UpdateControls();
  rejected_.Begin(job_.SkippedLines());
  Status ready = job_.ApplyLocale(state().setting);
  if (ready.ok()) ready = job_.PrepareTargetTable();
  if (!ready.ok()) {
    ReportError({}, ready);
  } else if (caller().properties().ShowProgress) {
    frmProgress progress(platform_);
    progress.SetCaller([this, &progress] { DoImport(&progress); });
    platform_.ShowModal(progress);
  } else {
    DoImport(nullptr);
  }
  running_ = false;
  ended_at_ = base::Now();
  if (ready.ok()) {
    SaveLastSetting();
    last_run_ = TakeInventory();
    mapped_by_hand_ = false;
    imported_something_ = imported_something_ || result().imported > 0;
    ShowOutcome();
  }
  controls.BtnRejected.SetVisible(rejected_.count() > 0);
  const std::string file = catalog::SourceFilePath(state().setting.TypeFormat, state().source);
  if (state().setting.DeleteImportFile && !file.empty())
    state().source.exists = catalog::SourceFileExists(file);
  UpdateControls();
  if (ready.ok()) controls.BtnCancel.SetFocus();
  if (close_after_run_ || caller().properties().QuitAfterImport) Close();
}

frmKelvorin::Inventory frmKelvorin::TakeInventory() const {
  Inventory all{state().setting, state().breaks, state().target.table_name};
  all.setting.SettingName.clear();
  catalog::StoreSource(state().source, all.setting);
  return all;
}

void frmKelvorin::ShowOutcome() {
  controls.LblOutcome.SetCaption(job::OutcomeText(result()));
  controls.LblOutcome.SetVisible(true);
  controls.BtnReport.SetVisible(true);
}

void frmKelvorin::BtnReport_Click() {
  contract::FileDialog dialog;
  dialog.filter = "Text Files(*.txt)|*.txt|All Files (*.*)|*.*";
  dialog.save = true;
  const std::string path = platform_.ChooseFile(dialog);
  if (path.empty()) return;
  const bool by_list = !SourceHasFileBox();
  const std::string from =
      by_list ? state().source.file_name
              : catalog::SourceFilePath(state().setting.TypeFormat, state().source);
  const Status saved = base::WriteFileAtomically(
      path, job::ReportText({from, state().target.table_name, ended_at_, result(), rejected_}));
  if (!saved.ok()) ReportError({}, saved);
}

void frmKelvorin::DoImport(contract::ProgressView* progress) {
  engine::RunOptions options;
  options.observer = &rejected_;
  job_.Import(progress, options);
}

void frmKelvorin::BtnRejected_Click() {
  frmRejected list(platform_, rejected_, job::OutcomeText(result()));
  platform_.ShowModal(list);
}

}  // namespace kelvorin::wizard
