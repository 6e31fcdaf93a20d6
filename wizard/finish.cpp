#include "base/M_FILE.h"
#include "contract/enums.h"
#include "engine/source_reader.h"
#include "wizard/frm_kelvorin.h"
#include "wizard/frm_progress.h"

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
  const Status applied = habits_->Apply(state_.setting);
  if (!applied.ok()) {
    ReportError({}, applied);
  } else if (caller_->properties().ShowProgress) {
    frmProgress progress(platform_);
    progress.SetCaller([this, &progress] { DoImport(&progress); });
    platform_.ShowModal(progress);
  } else {
    DoImport(nullptr);
  }
  running_ = false;
  if (applied.ok()) SaveLastSetting();
  controls.BtnRejected.SetVisible(rejected_.count() > 0);
  const std::string file = catalog::SourceFilePath(state_.setting.TypeFormat, state_.source);
  if (state_.setting.DeleteImportFile && !file.empty())
    state_.source.exists = catalog::SourceFileExists(file);
  UpdateControls();
  if (close_after_run_ || caller_->properties().QuitAfterImport) Close();
}

void frmKelvorin::DoImport(contract::ProgressView* progress) {
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
  frmRejected list(platform_, rejected_, preface_);
  platform_.ShowModal(list);
}

}  // namespace kelvorin::wizard
