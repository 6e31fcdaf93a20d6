#pragma once
// The scheme by which records are posted in chunks and yet tell the same story as one by one: a
// chunk is one statement, all or nothing; a chunk that fails is halved in order until the bad
// record stands alone. Knows no ODBC; what a server needs comes through a `PostStrategy`. Used by
// this room's row poster and by its tests.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "database/errors.h"
#include "database/odbc/record_batch.h"

namespace kelvorin::database::odbc {

/// Why a statement failed.
struct PostFailure {
  Status status;
  std::vector<database::PendingError> errors;
  bool lost = false;       // the server is gone; whether it has the records is unknown
  bool unsent = false;     // it was gone before: it does not have them
  bool doubtful = false;   // of a record that is told: it may be stored
  bool try_again = false;  // the server undid the statement for the sake of another writer
  bool undone = false;     // the whole open transaction is gone with it
  bool no_table = false;   // of one record: none can be stored, the table is gone or another
  /// The record that the server stopped at, where it tells: those of the range before it are good.
  std::optional<std::size_t> stopped_at;
  bool failed() const noexcept { return !status.ok(); }
  /// Somebody ended the waiting for the server: nothing more is to be sent.
  bool cancelled() const noexcept { return status.code() == Code::kStopped; }
};

/// Marks the failure of a record that may be stored all the same, and says so in its texts.
void MarkDoubtful(PostFailure& failure);

/// What people are shown of a failure that no server told.
std::vector<database::PendingError> ErrorsOf(const Status& status);

/// How one target takes records.
class PostStrategy {
 public:
  struct Limits {
    std::size_t most_records = 1;  // in one statement
    std::size_t most_bytes = 1 << 20;
    /// Records between commits, 0 when every statement commits itself.
    std::size_t commit_records = 0;
    /// Nothing is sent before so many records wait, or `Flush` is called.
    bool whole_batches = false;
  };
  virtual ~PostStrategy() = default;
  virtual Limits limits() const noexcept = 0;
  /// Sends the records as one statement that is stored whole or leaves nothing. One record alone
  /// goes as the plain statement whose errors people are to see.
  virtual PostFailure Send(const RecordBatch& batch, BatchRange range) = 0;
  /// For strategies with commits of their own. A failed commit must leave no transaction open.
  virtual PostFailure Begin() { return {}; }
  virtual PostFailure Commit() { return {}; }
  /// After a loss: whether the server is back, and whether records sent once more would be refused
  /// as duplicates of themselves.
  virtual bool Reconnect() { return false; }
  virtual bool RefusesDoubles() const noexcept { return false; }
};

class ChunkPoster {
 public:
  /// Tells of a refused record; false ends the posting.
  using Refuse = std::function<bool(std::int64_t record_no, const PostFailure& failure)>;
  using Stored = std::function<void(std::int64_t record_no)>;
  /// Milliseconds that only go forward.
  using Clock = std::function<std::int64_t()>;

  /// `types` of the fields of every record.
  ChunkPoster(PostStrategy& strategy, std::vector<values::TypeCode> types, Stored stored,
              Refuse refuse, Clock clock);

  Status Add(std::int64_t record_no, std::span<const values::Value> row);
  Status Flush();
  std::size_t Waiting() const noexcept { return batch_.size() - acknowledged_; }
  bool Grouped() const noexcept { return limits_.most_records > 1; }

 private:
  bool SendWaiting();
  /// Sends the next records in order, up to `end` or to the first bad one; false when the posting
  /// was ended. Those `suspected` to hold a bad record, since what stood before them was good, are
  /// not tried whole.
  bool SendSome(std::size_t end, bool suspected = false);
  bool SendUpTo(std::size_t end);
  bool SendHalves(std::size_t end);
  bool SendSingly(std::size_t end);
  bool SendAgain(BatchRange undone);
  bool Cancel(std::size_t end, PostFailure failure);
  bool Resolve(BatchRange doubtful, const PostFailure& failure);
  bool CommitSent(std::size_t replay_to);
  bool RefuseRecord(std::size_t record, const PostFailure& failure);
  void Acknowledge(std::size_t end);
  std::size_t BytesFrom(std::size_t i) const noexcept { return batch_.Bytes({i, batch_.size()}); }
  Status Outcome();
  std::int64_t Now();

  PostStrategy& strategy_;
  Stored stored_;
  Refuse refuse_;
  Clock clock_;
  PostStrategy::Limits limits_;
  RecordBatch batch_;
  // Invariant: acknowledged_ <= sent_ <= batch_.size(); records below `acknowledged_` have their
  // outcome, those below `sent_` stand in the open transaction.
  std::size_t acknowledged_ = 0;
  std::size_t sent_ = 0;
  std::size_t chunk_records_;
  std::int64_t waiting_since_ = 0;  // of the first record without outcome
  std::int64_t now_ = -1;           // when the clock was last asked
  int records_unasked_ = 0;         // that may still come before it is asked again
  bool in_transaction_ = false;
  std::size_t failures_ = 0;  // statements that failed
  bool told_where_ = false;   // one of them with the record that it stopped at
  bool stopped_ = false;
};

}  // namespace kelvorin::database::odbc
