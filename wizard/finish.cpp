#include "base/M_FILE.h"
#include "base/M_Misc.h"
#include "catalog/tables.h"
#include "contract/enums.h"
#include "engine/source_reader.h"
#include "wizard/frm_kelvorin.h"
#include "wizard/frm_progress.h"
#include "wizard/outcome.h"

namespace kelvorin::wizard {
namespace {

constexpr std::int32_t kLongestPreface = 1000;  // lines

}  // namespace

void frmKelvorin::BtnFinish_Click() {
  if (running_) return;
  running_ = true;
  UpdateControls();
  rejected_.Clear();
  preface_ = Preface();
  Status ready = habits_->Apply(state_.setting);
  if (ready.ok() && recordset_used_) ready = ReopenTargetTable();
  if (!ready.ok()) {
    ReportError({}, ready);
  } else if (caller_->properties().ShowProgress) {
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
    imported_something_ = imported_something_ || result_.imported > 0;
    ShowOutcome();
  }
  controls.BtnRejected.SetVisible(rejected_.count() > 0);
  const std::string file = catalog::SourceFilePath(state_.setting.TypeFormat, state_.source);
  if (state_.setting.DeleteImportFile && !file.empty())
    state_.source.exists = catalog::SourceFileExists(file);
  UpdateControls();
  if (ready.ok()) controls.BtnCancel.SetFocus();
  if (close_after_run_ || caller_->properties().QuitAfterImport) Close();
}

Status frmKelvorin::ReopenTargetTable() {
  catalog::Target& target = state_.target;
  const std::int16_t kind = target.database->IsOdbc() ? std::int16_t{contract::kOdbc}
                                                      : caller_->properties().DefaultSourceType;
  if (target.recordset) KV_TRY(target.recordset->Close());
  target.recordset.reset();
  recordset_used_ = false;
  auto opened = catalog::OpenTableRecordset(*target.database, target.table_name, kind, platform_);
  if (!opened.ok()) return opened.status();
  for (const catalog::TargetField& field : target.fields)
    if (field.position >= (*opened)->FieldCount() ||
        (*opened)->Fields(field.position).Name() != field.Name)
      return Status(Code::kNotFound, "The table '" + target.table_name +
                                         "' has been changed: its field '" + field.Name +
                                         "' is not where it was. Choose the table again.");
  target.recordset = *std::move(opened);
  return Status();
}

frmKelvorin::Inventory frmKelvorin::TakeInventory() const {
  Inventory all{state_.setting, state_.breaks, state_.target.table_name};
  all.setting.SettingName.clear();
  catalog::StoreSource(state_.source, all.setting);
  return all;
}

void frmKelvorin::ShowOutcome() {
  controls.LblOutcome.SetCaption(OutcomeText(result_));
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
  const std::string from = by_list
                               ? state_.source.file_name
                               : catalog::SourceFilePath(state_.setting.TypeFormat, state_.source);
  const Status saved = base::WriteFileAtomically(
      path, ReportText({from, state_.target.table_name, ended_at_, result_, rejected_}));
  if (!saved.ok()) ReportError({}, saved);
}

void frmKelvorin::DoImport(contract::ProgressView* progress) {
  recordset_used_ = true;
  engine::RunOptions options;
  options.observer = &rejected_;
  result_ = engine::DoImport({state_.setting, state_.breaks, state_.target, state_.source, engine_,
                              *caller_, platform_, options},
                             progress);
}

// The lines that the job passes over, so that saved records can be read by the same job.
std::string frmKelvorin::Preface() const {
  const settings::ImportSetting& setting = state_.setting;
  std::string preface;
  if (!IsText() || setting.StartingLine < 2 || setting.StartingLine > kLongestPreface)
    return preface;
  auto reader =
      textsource::RecordReader::Open(state_.source.file_name, engine::RecordFormatOf(setting));
  if (!reader.ok()) return preface;
  std::span<char> record;
  for (std::int32_t line = 1; line < setting.StartingLine && !reader->AtEnd(); ++line)
    if (!reader->ReadRecord(record).ok()) return preface;
  if (!reader->ReadRaw(0, reader->position(), preface).ok()) preface.clear();
  return preface;
}

void frmKelvorin::BtnRejected_Click() {
  frmRejected list(platform_, rejected_, preface_, OutcomeText(result_));
  platform_.ShowModal(list);
}

}  // namespace kelvorin::wizard
