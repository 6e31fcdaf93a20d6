#include "database/odbc/chunk_poster.h"

#include <algorithm>
#include <utility>

namespace kelvorin::database::odbc {
namespace {

constexpr std::size_t kFirstChunk = 64;
// How much smaller the chunk gets after a failed one. Where the server tells which record was bad,
// a failure costs little.
constexpr std::size_t kShrink = 4;
constexpr std::size_t kShrinkWhenTold = 2;
constexpr std::int64_t kLongestWaitMilliseconds = 500;
constexpr std::size_t kMostUncommittedBytes = 4 << 20;
constexpr int kRecordsUnasked = 15;

// After a good one. Half as much again: doubling meets the next bad record with too large a chunk.
constexpr std::size_t Grown(std::size_t chunk) noexcept {
  return chunk + chunk / 2 + 1;
}

}  // namespace

std::vector<database::PendingError> ErrorsOf(const Status& status) {
  return {{status.number(), {}, std::string(status.message())}};
}

void MarkDoubtful(PostFailure& failure) {
  constexpr std::string_view kWords = "the record may be stored: ";
  failure.doubtful = true;
  failure.status =
      Status(failure.status.code(), std::string(kWords) + std::string(failure.status.message()),
             failure.status.number());
  if (!failure.errors.empty()) failure.errors.front().description.insert(0, kWords);
}

ChunkPoster::ChunkPoster(PostStrategy& strategy, std::vector<values::TypeCode> types, Stored stored,
                         Refuse refuse, Clock clock)
    : strategy_(strategy),
      stored_(std::move(stored)),
      refuse_(std::move(refuse)),
      clock_(std::move(clock)),
      limits_(strategy.limits()),
      batch_(std::move(types)),
      chunk_records_(std::min(kFirstChunk, limits_.most_records)) {}

Status ChunkPoster::Outcome() {
  if (stopped_) return Status(Code::kStopped, "the posting was ended");
  return Status();
}

// The clock is asked for each record where they come slowly, and for some where several come in a
// millisecond.
std::int64_t ChunkPoster::Now() {
  if (records_unasked_ > 0) {
    --records_unasked_;
    return now_;
  }
  const std::int64_t before = std::exchange(now_, clock_());
  if (now_ == before) records_unasked_ = kRecordsUnasked;
  return now_;
}

Status ChunkPoster::Add(std::int64_t record_no, std::span<const values::Value> row) {
  KV_TRY(Outcome());
  const std::int64_t now = Now();
  if (Waiting() == 0) waiting_since_ = now;
  Status added = batch_.Add(record_no, row);
  if (!added.ok()) {
    // Refused without asking the server, but behind the records that came before it.
    KV_TRY(Flush());
    PostFailure failure;
    failure.errors = ErrorsOf(added);
    failure.status = std::move(added);
    if (!refuse_(record_no, failure)) stopped_ = true;
    return Outcome();
  }
  const bool late = now - waiting_since_ >= kLongestWaitMilliseconds;
  if (late) return Flush();
  const std::size_t unsent = batch_.size() - sent_;
  const bool enough =
      limits_.whole_batches
          ? unsent >= limits_.most_records || BytesFrom(sent_) >= kMostUncommittedBytes
          : unsent >= chunk_records_ || BytesFrom(sent_) >= limits_.most_bytes;
  if (enough) {
    SendWaiting();
    if (!stopped_ && in_transaction_ &&
        (sent_ >= limits_.commit_records || BytesFrom(0) >= kMostUncommittedBytes))
      CommitSent(sent_);
    if (stopped_ || acknowledged_ == batch_.size()) {
      batch_.Clear();
      acknowledged_ = sent_ = 0;
    }
  }
  return Outcome();
}

Status ChunkPoster::Flush() {
  KV_TRY(Outcome());
  SendWaiting();
  if (!stopped_ && in_transaction_) CommitSent(sent_);
  batch_.Clear();
  acknowledged_ = sent_ = 0;
  return Outcome();
}

bool ChunkPoster::SendWaiting() {
  while (!stopped_ && sent_ < batch_.size()) {
    const std::size_t failures_before = failures_;
    told_where_ = false;
    SendSome(std::min(batch_.size(), sent_ + chunk_records_));
    const std::size_t shrink = told_where_ ? kShrinkWhenTold : kShrink;
    chunk_records_ = failures_ != failures_before
                         ? std::max<std::size_t>(chunk_records_ / shrink, 1)
                         : std::min(Grown(chunk_records_), limits_.most_records);
  }
  return !stopped_;
}

void ChunkPoster::Acknowledge(std::size_t end) {
  while (acknowledged_ < end) stored_(batch_.RecordNo(acknowledged_++));
  sent_ = std::max(sent_, end);
  waiting_since_ = now_ = clock_();
}

bool ChunkPoster::RefuseRecord(std::size_t record, const PostFailure& failure) {
  KV_ASSERT(acknowledged_ == record, "outcomes arrive in order");
  acknowledged_ = sent_ = record + 1;
  if (!refuse_(batch_.RecordNo(record), failure)) stopped_ = true;
  return !stopped_;
}

bool ChunkPoster::SendSome(std::size_t end, bool suspected) {
  const BatchRange range{sent_, end};
  if (suspected && range.size() > 1) return SendHalves(end);
  if (limits_.commit_records != 0 && !in_transaction_) {
    const PostFailure begun = strategy_.Begin();
    in_transaction_ =
        !begun.failed();  // else each statement commits itself, which is slow but right
  }
  PostFailure failure = strategy_.Send(batch_, range);
  if (failure.try_again && range.size() > 1) failure = strategy_.Send(batch_, range);
  // What no commit followed dies with the connection.
  if (failure.cancelled())
    return Cancel(in_transaction_ ? acknowledged_ : range.end, std::move(failure));
  if (!failure.failed()) {
    sent_ = range.end;
    if (!in_transaction_) Acknowledge(range.end);
    return true;
  }
  ++failures_;
  if (failure.lost) return Resolve({acknowledged_, range.end}, failure);
  if (failure.undone) return SendAgain(range);
  if (range.size() == 1) {
    // What stands before the bad record is made sure of first: whoever hears of the error may stop
    // the run or wait for a person.
    if (in_transaction_ && sent_ > acknowledged_) {
      if (!CommitSent(range.end)) return false;
      if (acknowledged_ == range.end) return !stopped_;  // the commit failed, all were sent again
    }
    return RefuseRecord(range.first, failure);
  }
  // A lock held elsewhere says nothing about the records, so looking for the bad one is no use.
  if (failure.status.code() == Code::kLocked) return SendSingly(end);
  if (!failure.stopped_at) return SendHalves(end);
  told_where_ = true;
  return SendUpTo(*failure.stopped_at) && SendSome(*failure.stopped_at + 1);
}

bool ChunkPoster::SendUpTo(std::size_t end) {
  while (sent_ < end)
    if (!SendSome(end)) return false;
  return true;
}

bool ChunkPoster::SendHalves(std::size_t end) {
  const std::size_t middle = sent_ + (end - sent_) / 2;
  const std::size_t failures_before = failures_;
  if (!SendUpTo(middle)) return false;
  const bool suspected = failures_ == failures_before;
  return SendSome(end, suspected) && SendUpTo(end);
}

bool ChunkPoster::SendSingly(std::size_t end) {
  while (sent_ < end)
    if (!SendSome(sent_ + 1)) return false;
  return true;
}

// The failure took back what had been sent before it. All of it goes again, and from now on every
// statement commits itself, so that a later failure finds nothing to take back.
bool ChunkPoster::SendAgain(BatchRange undone) {
  in_transaction_ = false;
  limits_.commit_records = 0;
  sent_ = acknowledged_;
  return SendUpTo(undone.first) && SendSome(undone.end);
}

// Nobody waits for what was sent. Where the server did not even answer that it gave up, it may
// still store the records up to `end`.
bool ChunkPoster::Cancel(std::size_t end, PostFailure failure) {
  if (failure.lost && !failure.unsent) {
    MarkDoubtful(failure);
    while (acknowledged_ < end && RefuseRecord(acknowledged_, failure)) {
    }
  }
  stopped_ = true;
  return false;
}

// The server went away with these records: it may have them or not. One that is refused as a
// duplicate when it is sent again may be the duplicate of itself.
bool ChunkPoster::Resolve(BatchRange doubtful, const PostFailure& failure) {
  in_transaction_ = false;
  const bool back = strategy_.Reconnect();
  for (std::size_t i = doubtful.first; i < doubtful.end; ++i) {
    PostFailure one;
    if (back && (failure.unsent || strategy_.RefusesDoubles())) {
      one = strategy_.Send(batch_, {i, i + 1});
      if (!failure.unsent && one.failed() && (one.lost || one.status.code() == Code::kDuplicateKey))
        MarkDoubtful(one);
    } else {
      one = failure;
      if (!failure.unsent) MarkDoubtful(one);
    }
    if (one.cancelled()) {
      // Those behind it were sent once, before the loss.
      one.lost = one.lost || !failure.unsent;
      return Cancel(failure.unsent ? i + 1 : doubtful.end, std::move(one));
    }
    if (!one.failed()) {
      Acknowledge(i + 1);
    } else if (!RefuseRecord(i, one)) {
      return false;
    }
  }
  return true;
}

// Commits what was sent. When that fails the server has taken it all back, and the records up to
// `replay_to` are sent again, each alone.
bool ChunkPoster::CommitSent(std::size_t replay_to) {
  in_transaction_ = false;
  PostFailure failure = strategy_.Commit();
  if (!failure.failed()) {
    Acknowledge(sent_);
    return true;
  }
  if (failure.cancelled()) return Cancel(sent_, std::move(failure));
  if (failure.lost) return Resolve({acknowledged_, replay_to}, failure);
  for (std::size_t i = acknowledged_; i < replay_to; ++i) {
    PostFailure one = strategy_.Send(batch_, {i, i + 1});
    if (one.cancelled()) return Cancel(i + 1, std::move(one));
    if (!one.failed()) {
      Acknowledge(i + 1);
    } else if (!RefuseRecord(i, one)) {
      return false;
    }
  }
  return true;
}

}  // namespace kelvorin::database::odbc
