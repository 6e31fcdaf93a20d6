#include "base/M_Const.h"
#include "base/M_FILE.h"
#include "base/M_STRING.h"
#include "contract/enums.h"
#include "engine/run.h"

namespace kelvorin::engine {

Status ImportRun::Finish() {
  step_ = Step::kPost;
  KV_TRY(writer_->WriteOut());
  if (in_.caller.properties().ShowSummary && !in_.options.batch) {
    in_.platform.Ask({base::Tr(kSummary, {base::ToDecimal(result_.imported)}),
                      base::Tr(kTitleInformation), contract::Icon::kInformation,
                      contract::Buttons::kOk});
  }
  reached_end_ = ReadToEnd();
  step_ = Step::kOpenFile;  // what the log refuses counts as a failure of the first step
  for (const std::string& entry : LossMessages(result_))
    KV_TRY(log_.Write(entry + std::string(base::kCrLf)));
  if (log_.is_open())
    KV_TRY(log_.Footer(GeneralDate(in_.options.now(), in_.engine.Format()), result_.imported));
  step_ = Step::kClose;
  KV_TRY(source_->Close());
  KV_TRY(CloseRejects());
  step_ = Step::kOpenFile;
  KV_TRY(log_.Close(setting_.DeleteImportFile));
  step_ = Step::kClose;
  if (reached_end_) KV_TRY(DeleteSource());
  in_.engine.ClearErrors();
  return Status();
}

// Whether nothing of the source is left to import. Only a text that gives no further record is
// known to be at its end.
bool ImportRun::ReadToEnd() {
  if (result_.stopped || result_.cancelled ||
      (!is_table() && !setting_.DeleteImportFile && !reads_rejects_))
    return false;
  for (bool taken = false; !source_->AtEnd();)
    if (is_table() || !source_->Read(taken).ok() || taken) return false;
  return true;
}

// The reject file of a run that read an older one takes its place, unless that would lose records
// which were not read.
Status ImportRun::CloseRejects() {
  if (doubtful_ != 0) {
    if (doubtful_file_) KV_TRY(doubtful_file_->Close(true, false));
    KV_TRY(Note(
        base::ToDecimal(doubtful_) +
        " rejected records may be stored, since the connection was lost behind them" +
        (doubtful_file_ ? "; they stand in '" + doubtful_file_->path() + "'" : std::string())));
  }
  if (!reject_file_) return Status();
  const bool replace = reads_rejects_ && reached_end_;
  const Status closed = reject_file_->Close(setting_.DeleteImportFile, replace);
  if (!closed.ok()) return Refuse(std::string(closed.message()));
  if (!reads_rejects_ || replace) return Status();
  return Note("The import ended early: '" + setting_.RejectFile +
              "' stays as it was, and the records rejected now stand in '" + reject_file_->path() +
              "'");
}

// Deleted is only what is kept elsewhere, on disk: every record was imported, skipped by the user's
// own rule, or stands in the reject file.
Status ImportRun::DeleteSource() {
  const bool kept = result_.rejected == 0 || reject_file_ != nullptr;
  const bool is_file =
      setting_.TypeFormat != contract::kAccess && setting_.TypeFormat != contract::kOdbc;
  if (!setting_.DeleteImportFile || !kept || !is_file || result_.imported == 0 ||
      is_target_itself_ || reads_rejects_ || in_.options.dry_run)
    return Status();
  return base::DeleteFile(catalog::SourceFilePath(setting_.TypeFormat, in_.source),
                          *in_.options.files);
}

void ImportRun::CloseAll() noexcept {
  // Reached with everything closed, or behind a failure that was reported already.
  if (source_) static_cast<void>(source_->Close().ok());
  source_.reset();
  reject_file_.reset();
  doubtful_file_.reset();
  static_cast<void>(log_.Close(false).ok());
}

}  // namespace kelvorin::engine
