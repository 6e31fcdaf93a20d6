#pragma once
// One import run while it is under way: its state, its preparation, the loop over the records and
// the end. Each step is a method that returns a `Status`; what fails goes to one handler, which
// knows from the step what to say.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "contract/enums.h"
#include "engine/error_policy.h"
#include "engine/field_assignment.h"
#include "engine/field_plan.h"
#include "engine/import_run.h"
#include "engine/messages.h"
#include "engine/progress.h"
#include "engine/reject_file.h"
#include "engine/source_reader.h"
#include "engine/target_writer.h"
#include "engine/trace_log.h"

namespace kelvorin::engine {

/// What counts only when the record is imported.
struct RecordCounts {
  std::int64_t truncated = 0, replaced = 0, changed = 0, left_out = 0;
  std::unique_ptr<contract::ChangedValue> first_changed;  // null: of no value, or told before
};

/// A record that a server was given and has not answered for, with the counts up to it: when the
/// run ends with its refusal, later records have not happened.
struct WaitingRecord {
  std::int64_t line_number = 0;
  RecordMark mark;
  std::int64_t read = 0, skipped = 0, processed = 0;
  RecordCounts counts;
};

class ImportRun final : private database::RowReceiver {
 public:
  ImportRun(const RunInputs& inputs, contract::ProgressView* view);
  RunResult Run();

 private:
  // --- Preparation (run_preparation.cpp), in this order.
  Status Prepare();
  Status OpenLogs();
  Status OpenSource();
  Status OpenTableSource();
  Status CheckJob();
  Status CheckOrder(const database::IndexDef& index);
  Status CheckColumns();
  Status ResolveIndex();
  Status MakeWriter();
  Status EstimateTotal();
  Status GoToStart();

  // --- The loop. `more` is false when the run is over.
  Status OneRecord(bool& more);
  Status ReadRecord(bool& taken, bool& more);
  Status FillRecord();
  Status DamagedField();
  Status PostRecord();
  bool EndsBeforeRecord();
  void CountRecord() noexcept;
  std::int64_t ReplacedSoFar() const noexcept;
  std::int64_t LeftOutValues() const noexcept;
  void MakeCounts(RecordCounts& counts);
  void CountImported(RecordCounts& counts, std::int64_t line_number);

  // --- Records posted in groups.
  Status PostLater();
  Status FlushPosts();
  /// Whether the user cancelled while the server was waited for; what waits has no outcome then.
  bool GaveUp(const Status& status) noexcept;
  void Stored(std::int64_t record_no) override;
  bool Refused(std::int64_t, const Status& why) override { return RejectWaiting(why, false); }
  bool Doubtful(std::int64_t, const Status& why) override { return RejectWaiting(why, true); }
  void Gone(std::int64_t, const Status& why) override;
  bool RejectWaiting(const Status& why, bool doubtful);
  WaitingRecord TakeWaiting();
  void ForgetWaiting() noexcept {
    waiting_.clear();
    answered_ = 0;
  }

  // --- The end (run_end.cpp).
  Status Finish();
  Status CloseRejects();
  bool ReadToEnd();
  Status DeleteSource();
  void CloseAll() noexcept;

  // --- Failures.
  /// A failure that is not the step's own but has a text of its own.
  Status Refuse(Message message);
  Status HostFailure();
  /// No record can be stored any more, `first` and those behind it have not been.
  Status EndWithoutTable(const Status& why, const WaitingRecord& first);
  void Fail(const Status& why);
  /// Tells the user something before the first record, or at the end.
  Status Note(std::string text);
  /// Reports a failure of the current record and goes on. With `rejects` the record is lost by it.
  Status RecordError(const Status& why, bool rejects = true);
  Status ReportRejected(RejectedRecord record, const RecordMark& mark, bool doubtful = false);
  /// Writes a record to its file, which a doubtful one has for itself.
  Status WriteReject(const RejectedRecord& record, bool doubtful);
  bool WantsRejects() const noexcept {
    return reject_file_ != nullptr || in_.options.observer != nullptr;
  }

  bool is_table() const noexcept { return !contract::IsTextKind(setting_.TypeFormat); }
  /// Whether the target's records can be gone through and edited one after the other.
  bool walks_target() const noexcept {
    return in_.target.database->Traits().table_type == database::RecordsetType::kTable;
  }
  bool updates_in_order() const noexcept {
    return mode_ == WriteMode::kInOrder && !appending_after_end_;
  }

  const RunInputs& in_;
  const settings::ImportSetting& setting_;
  contract::EventSink& events_;
  TraceLog log_;
  ErrorPolicy policy_;
  Progress progress_;
  TextConversion conversion_;
  FieldPlan plan_;
  std::unique_ptr<SourceReader> source_;
  std::unique_ptr<TargetWriter> writer_;
  std::optional<FieldAssignment> assignment_;
  std::unique_ptr<RejectFile> reject_file_;
  std::unique_ptr<RejectFile> doubtful_file_;  // once there is such a record
  std::int64_t doubtful_ = 0;                  // records that may be stored
  WriteMode mode_;
  bool hears_before_post_;
  bool hears_after_post_;

  Step step_ = Step::kOpenFile;
  bool is_target_itself_ = false;  // source and target are one table
  bool reached_end_ = false;       // nothing of the source is left to import
  bool reads_rejects_ = false;     // the source is the job's own reject file
  bool refused_ = false;           // the failure under way has a text of its own
  Message refusal_;                // that text
  bool stop_ = false;
  bool appending_after_end_ = false;
  std::int64_t processed_ = 0;
  RunResult result_;

  // The current record.
  textsource::FieldValues values_;
  std::int64_t line_number_ = 0;
  Place place_ = Place::kNew;
  bool dropped_ = false;
  bool rejected_ = false;  // dropped because of an error
  RefusedValue refused_value_;
  RecordLosses losses_;
  RecordCounts counts_;
  std::int64_t replaced_before_ = 0;
  RecordMark mark_;
  std::string raw_;
  std::optional<std::size_t> columns_;  // of the source, where they are known
  // In the order of their records, without outcome from `answered_` on. They are let go when the
  // last has its outcome, as all of a group soon have.
  std::vector<WaitingRecord> waiting_;
  std::size_t answered_ = 0;
  Status receiver_failure_;  // what went wrong while an outcome was being reported
};

}  // namespace kelvorin::engine
