#include "engine/import_run.h"

#include "base/M_Const.h"
#include "base/M_STRING.h"
#include "contract/enums.h"
#include "engine/run.h"

#include <algorithm>
#include <utility>

namespace kelvorin::engine {

RunResult StartImport(const RunInputs& inputs) {
  contract::ProgressView* view =
      inputs.caller.properties().ShowProgress ? inputs.platform.Progress() : nullptr;
  if (view == nullptr) return DoImport(inputs, nullptr);
  view->Show();
  RunResult result = DoImport(inputs, view);
  view->Unload();
  return result;
}

RunResult DoImport(const RunInputs& inputs, contract::ProgressView* progress) {
  return ImportRun(inputs, progress).Run();
}

ImportRun::ImportRun(const RunInputs& inputs, contract::ProgressView* view)
    : in_(inputs),
      setting_(inputs.setting),
      events_(inputs.caller.events()),
      policy_(setting_, inputs.options.batch, inputs.engine, inputs.caller, inputs.platform, log_),
      progress_(view, inputs.platform, inputs.caller.properties()),
      conversion_(setting_),
      mode_(WriteModeOf(setting_)),
      hears_before_post_(events_.Listens(contract::Event::kValidateBeforePost)),
      hears_after_post_(events_.Listens(contract::Event::kValidateAfterPost) &&
                        !inputs.options.dry_run) {}

RunResult ImportRun::Run() {
  policy_.Begin();
  Status status = Prepare();
  policy_.TellNotices(result_.notices);
  for (bool more = true; status.ok() && more;) status = OneRecord(more);
  if (writer_) {
    writer_->Cancel();
    // Records that the source gave before the run ended are stored, however it ended.
    const Step at = step_;
    const bool stopped_before = stop_;
    const bool refused_before = std::exchange(refused_, false);
    Status flushed = FlushPosts();
    if (status.ok() || !flushed.ok() || (stop_ && !stopped_before)) {
      // What a record that waited leads to comes before what a later one led to.
      status = std::move(flushed);
    } else {
      step_ = at;
      refused_ = refused_before;
    }
  }
  result_.stopped = stop_;
  policy_.TellNotices(result_.notices);  // of what came to light when the first record was stored
  if (status.ok()) status = Finish();
  if (!status.ok()) Fail(status);
  if (source_) {
    result_.replaced_characters += source_->replaced_characters();
    result_.unclosed_delimiters = source_->unclosed_delimiters();
  }
  CloseAll();
  result_.errors = policy_.error_count();
  return std::move(result_);
}

// --- The loop

Status ImportRun::OneRecord(bool& more) {
  bool taken = false;
  KV_TRY(ReadRecord(taken, more));
  if (!taken) return Status();
  KV_TRY(FillRecord());
  if (!stop_) KV_TRY(PostRecord());
  CountRecord();
  if (setting_.MaxLines > 0 && processed_ == setting_.MaxLines) more = false;
  return Status();
}

bool ImportRun::EndsBeforeRecord() {
  if (updates_in_order() && writer_->AtEnd()) {
    if (!setting_.AppendIfEof) return true;
    appending_after_end_ = true;
  }
  if (source_->AtEnd()) return true;
  result_.cancelled = progress_.cancelled();
  return result_.cancelled || stop_;
}

Status ImportRun::ReadRecord(bool& taken, bool& more) {
  in_.platform.Yield();
  KV_TRY(HostFailure());
  values_.Clear();
  dropped_ = rejected_ = false;
  refused_value_.field = nullptr;
  losses_.Clear();
  replaced_before_ = ReplacedSoFar();
  step_ = Step::kReadFields;
  more = !EndsBeforeRecord();
  if (!more) return Status();
  KV_TRY(source_->Read(taken));
  if (!taken) return Status();
  ++result_.read;
  line_number_ = source_->line_number();
  step_ = Step::kSplit;
  return source_->Split(values_);
}

Status ImportRun::FillRecord() {
  step_ = Step::kPosition;
  Status status = writer_->Position(values_, appending_after_end_, place_, refused_value_);
  // A key value that does not fit its field costs the record, as it would if it were assigned.
  if (!status.ok() && refused_value_.field == nullptr) return status;
  dropped_ = status.ok() && place_ == Place::kMissing;
  step_ = Step::kAssign;
  if (status.ok() && !dropped_) status = DamagedField();
  if (status.ok() && !dropped_)
    status = assignment_->AssignAll(values_, place_, *source_, *writer_, !result_.first_changed,
                                    losses_, refused_value_);
  if (!status.ok()) {
    KV_TRY(HostFailure());
    KV_TRY(FlushPosts());
    if (stop_) return Status();
    step_ = Step::kAssign;
    KV_TRY(RecordError(status));
  }
  step_ = Step::kPost;
  if (is_table()) {
    status = source_->Advance();
    if (!status.ok()) KV_TRY(RecordError(status));
  }
  progress_.Update(++processed_);
  return Status();
}

// A value that its table cannot make sense of costs the record as one that cannot be assigned does.
Status ImportRun::DamagedField() {
  for (const DamagedValue& damaged : source_->damaged()) {
    for (const AssignedField& field : plan_.fields) {
      if (field.source_no != damaged.field_no) continue;
      refused_value_.field = &field;
      refused_value_.value = damaged.text;
      return damaged.why;
    }
  }
  return Status();
}

Status ImportRun::PostRecord() {
  if (hears_before_post_) {
    bool record_canceled = dropped_;
    events_.ValidateBeforePost(record_canceled, stop_);
    KV_TRY(HostFailure());
    // The host can drop a record but not revive one that has no place or lacks a value.
    dropped_ = dropped_ || record_canceled;
  }
  if (dropped_) {
    // A dropped record of an ODBC source is abandoned by the next one: kept as it is.
    if (setting_.TypeFormat != contract::kOdbc) writer_->Cancel();
    return Status();
  }
  if (stop_) return Status();
  if (writer_->Grouped()) return PostLater();
  Status status = writer_->Post(place_);
  if (writer_->LostTable())
    return EndWithoutTable(status,
                           {line_number_, {}, result_.read, result_.skipped, processed_, {}});
  if (!status.ok()) KV_TRY(RecordError(status));
  if (status.ok()) dropped_ = place_ == Place::kMissing;
  if (!dropped_) {
    MakeCounts(counts_);
    CountImported(counts_, line_number_);
  }
  if (updates_in_order()) {
    // The target goes on behind a record that was refused, too.
    status = writer_->MoveOn();
    if (!status.ok()) KV_TRY(RecordError(status, false));
  }
  if (dropped_ || !hears_after_post_) return Status();
  bool process_canceled = stop_;
  events_.ValidateAfterPost(process_canceled);
  stop_ = stop_ || process_canceled;
  return HostFailure();
}

// --- Records posted in groups

Status ImportRun::PostLater() {
  WaitingRecord& record = waiting_.emplace_back();
  record.line_number = line_number_;
  if (WantsRejects()) source_->Mark(record.mark);
  record.read = result_.read;
  record.skipped = result_.skipped;
  record.processed = processed_;
  MakeCounts(record.counts);
  const Status status = writer_->Post(place_);
  KV_TRY(std::exchange(receiver_failure_, Status()));
  if (status.ok() || stop_ || GaveUp(status)) return Status();
  waiting_.pop_back();  // it was not taken
  if (answered_ == waiting_.size()) ForgetWaiting();
  KV_TRY(FlushPosts());
  return stop_ ? Status() : RecordError(status);
}

Status ImportRun::FlushPosts() {
  if (waiting_.empty()) return Status();
  Status status = writer_->Flush();
  KV_TRY(std::exchange(receiver_failure_, Status()));
  if (status.ok() || stop_ || GaveUp(status)) return Status();
  step_ = Step::kPost;
  return status;
}

bool ImportRun::GaveUp(const Status& status) noexcept {
  if (status.code() != Code::kStopped || !progress_.cancelled()) return false;
  result_.cancelled = true;
  ForgetWaiting();
  return true;
}

WaitingRecord ImportRun::TakeWaiting() {
  WaitingRecord record = std::move(waiting_[answered_]);
  if (++answered_ == waiting_.size()) ForgetWaiting();
  return record;
}

void ImportRun::Stored(std::int64_t) {
  WaitingRecord& record = waiting_[answered_];
  CountImported(record.counts, record.line_number);
  if (++answered_ == waiting_.size()) ForgetWaiting();
}

void ImportRun::Gone(std::int64_t, const Status& why) {
  const WaitingRecord first = std::move(waiting_.front());
  waiting_.clear();
  receiver_failure_ = EndWithoutTable(why, first);
}

bool ImportRun::RejectWaiting(const Status& why, bool doubtful) {
  const WaitingRecord record = TakeWaiting();
  ++result_.rejected;
  step_ = Step::kOpenFile;  // what the log refuses counts as a failure of the first step
  if (doubtful) ++doubtful_;
  // Whoever cancelled is asked nothing more.
  Status told = why.code() == Code::kStopped
                    ? Status()
                    : policy_.Record(PostMessage(in_.engine, why), why, stop_, record.line_number);
  if (told.ok()) {
    RejectedRecord rejected;
    rejected.line_number = record.line_number;
    rejected.reason = why.message();
    told = ReportRejected(rejected, record.mark, doubtful);
  }
  if (!told.ok()) {
    receiver_failure_ = std::move(told);
    stop_ = true;
  } else {
    step_ = Step::kPost;
  }
  if (!stop_) return true;
  result_.read = record.read;
  result_.skipped = record.skipped;
  processed_ = record.processed;
  ForgetWaiting();
  return false;
}

// --- What values lost

std::int64_t ImportRun::ReplacedSoFar() const noexcept {
  return conversion_.replaced_characters() + writer_->replaced_characters();
}

// Values in columns that the mapping could not know of, and that no field takes.
std::int64_t ImportRun::LeftOutValues() const noexcept {
  std::int64_t count = 0;
  for (std::size_t i = *columns_; i < values_.count(); ++i) {
    const bool taken = std::any_of(plan_.fields.begin(), plan_.fields.end(),
                                   [&](const AssignedField& f) { return f.source_no == i; });
    if (!taken && !values_[i].empty()) ++count;
  }
  return count;
}

// Of the record that is being posted.
void ImportRun::MakeCounts(RecordCounts& counts) {
  counts.truncated = losses_.truncated;
  counts.changed = losses_.changed;
  counts.replaced = ReplacedSoFar() - replaced_before_;
  for (const AlteredValue& altered : source_->altered())
    if (std::any_of(plan_.fields.begin(), plan_.fields.end(),
                    [&](const AssignedField& f) { return f.source_no == altered.field_no; }))
      counts.replaced += altered.lost_characters;
  counts.left_out = columns_ && values_.count() > *columns_ ? LeftOutValues() : 0;
  counts.first_changed.reset();
  if (losses_.field != nullptr)
    counts.first_changed = std::make_unique<contract::ChangedValue>(contract::ChangedValue{
        line_number_, std::string(losses_.field->name), losses_.was, losses_.is});
}

void ImportRun::CountImported(RecordCounts& counts, std::int64_t line_number) {
  ++result_.imported;
  result_.truncated_values += counts.truncated;
  result_.replaced_characters += counts.replaced;
  result_.changed_values += counts.changed;
  if (counts.first_changed && !result_.first_changed)
    result_.first_changed = std::move(*counts.first_changed);
  if (result_.left_out_values == 0 && counts.left_out != 0)
    result_.first_left_out_line = line_number;
  result_.left_out_values += counts.left_out;
}

void ImportRun::CountRecord() noexcept {
  if (rejected_) {
    ++result_.rejected;
  } else if (dropped_) {
    ++result_.skipped;
  }
}

// --- Failures

Status ImportRun::Refuse(Message message) {
  refused_ = true;
  refusal_ = std::move(message);
  return Status(Code::kInvalidArgument, refusal_.plain);
}

Status ImportRun::Note(std::string text) {
  const bool told = in_.options.observer != nullptr && in_.options.observer->OnNote(text);
  step_ = Step::kOpenFile;  // what the log refuses counts as a failure of the first step
  KV_TRY(log_.Write(text + std::string(base::kCrLf)));
  if (!told) result_.notices.push_back(std::move(text));
  return Status();
}

// Told with the number of records that nobody tried, and the line to go on from.
Status ImportRun::EndWithoutTable(const Status& why, const WaitingRecord& first) {
  std::int64_t untried = result_.read - first.read + 1;
  std::int64_t line = -1;
  while (!progress_.cancelled() && !source_->AtEnd() && line != source_->line_number()) {
    in_.platform.Yield();
    line = source_->line_number();
    bool taken = false;
    if (!(is_table() ? source_->Advance() : source_->Read(taken)).ok()) break;
    if (taken) ++untried;
  }
  const bool all = source_->AtEnd();
  if (is_table()) untried = source_->line_number() - first.line_number;
  if (setting_.MaxLines > 0)
    untried = std::min<std::int64_t>(untried, setting_.MaxLines - first.processed + 1);
  result_.read = first.read - 1;
  result_.skipped = first.skipped;
  processed_ = first.processed - 1;
  return Refuse("No record can be stored in table '" + in_.target.table_name + "' (" +
                base::ToDecimal(result_.imported) + " records are imported, " +
                (all ? "" : "at least ") + base::ToDecimal(untried) +
                " were not tried, the first of them in line " + base::ToDecimal(first.line_number) +
                "): " + std::string(why.message()));
}

Status ImportRun::HostFailure() {
  const Status failure = events_.Failure();
  return failure.ok() ? Status() : Refuse(std::string(failure.message()));
}

void ImportRun::Fail(const Status& why) {
  if (refused_) {
    const bool known = refusal_.plain == why.message();
    result_.fatal = policy_.Refuse(known ? refusal_ : Message(std::string(why.message())));
  } else {
    const SourceNames names{is_table(), in_.source.file_name, in_.source.SourceDBName};
    result_.fatal = policy_.Fatal(FatalMessage(step_, names), why);
  }
}

Status ImportRun::RecordError(const Status& why, bool rejects) {
  const Message message =
      step_ == Step::kAssign ? AssignMessage(line_number_, refused_value_.value,
                                             refused_value_.field->name, refused_value_.field->type)
                             : PostMessage(in_.engine, why);
  if (rejects) dropped_ = true;
  const Step at = step_;
  step_ = Step::kOpenFile;  // what the log refuses counts as a failure of the first step
  KV_TRY(policy_.Record(message, why, stop_,
                        at == Step::kAssign ? std::nullopt : std::optional(line_number_)));
  step_ = at;
  if (!rejects || rejected_) return Status();
  rejected_ = true;
  RejectedRecord record;
  record.line_number = line_number_;
  if (refused_value_.field != nullptr && step_ == Step::kAssign) {
    record.field = refused_value_.field->name;
    record.value = refused_value_.value;
  }
  record.reason = why.message();
  if (WantsRejects()) source_->Mark(mark_);
  return ReportRejected(record, mark_);
}

Status ImportRun::WriteReject(const RejectedRecord& record, bool doubtful) {
  if (doubtful && !doubtful_file_) {
    auto opened = RejectFile::Open(setting_.RejectFile + std::string(kDoubtfulEnd), false,
                                   *in_.options.files);
    if (!opened.ok()) return opened.status();
    doubtful_file_ = *std::move(opened);
  }
  RejectFile& file = doubtful ? *doubtful_file_ : *reject_file_;
  if (!is_table()) file.SetPreface(in_.source.file_name, source_->preface_bytes());
  return file.OnReject(record);
}

Status ImportRun::ReportRejected(RejectedRecord record, const RecordMark& mark, bool doubtful) {
  if (!WantsRejects()) return Status();
  const Status read = source_->Raw(mark, raw_);
  if (!read.ok()) return Refuse(std::string(read.message()));
  record.raw = raw_;
  if (reject_file_) {
    if (const Status written = WriteReject(record, doubtful); !written.ok())
      return Refuse(std::string(written.message()));
  }
  if (in_.options.observer == nullptr) return Status();
  const Status told = in_.options.observer->OnReject(record);
  return told.ok() ? Status() : Refuse(std::string(told.message()));
}

}  // namespace kelvorin::engine
