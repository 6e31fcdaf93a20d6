#pragma once
// Posting records as values into a table of a server. A database whose tables take records so is
// also a `RowDatabase`; the run asks it for a poster, hands it finished records and learns their
// outcomes in the order of the records, whether they went one by one or in groups. Which statements
// that takes is the driver's business alone.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "database/database.h"
#include "values/value.h"

namespace kelvorin::database {

/// Where the outcomes of records arrive, in the order in which the records were added.
class RowReceiver {
 public:
  virtual ~RowReceiver() = default;
  /// The server has the record for good.
  virtual void Stored(std::int64_t record_no) = 0;
  /// The record was refused; the engine's pending errors are those of its own statement, and all
  /// records before it are stored for good. False ends the posting: no later record is stored.
  virtual bool Refused(std::int64_t record_no, const Status& status) = 0;
  /// As `Refused`, but nobody knows whether the server has the record: the connection was lost
  /// behind it.
  virtual bool Doubtful(std::int64_t record_no, const Status& status) {
    return Refused(record_no, status);
  }
  /// The table is not there any more as the posting knew it: it was deleted or renamed, or lost one
  /// of the fields. Neither this record nor one behind it is stored, and the posting is ended.
  virtual void Gone(std::int64_t record_no, const Status& status) { Refused(record_no, status); }
  /// An update found no record with this key; nothing was changed.
  virtual void Missed(std::int64_t /*record_no*/) {}
};

enum class PostMode : std::uint8_t {
  kInsert,
  kUpdate,          // changes the records with the key, a record without a match is missed
  kUpdateOrInsert,  // a record without a match is inserted
};

struct PostOptions {
  PostMode mode = PostMode::kInsert;
  /// Of an update: the fields that find the record, as numbers into the poster's fields. They are
  /// written by an insert only.
  std::vector<std::size_t> keys{};
  /// One statement and one outcome per record, e.g. since a host watches each post.
  bool one_by_one = false;
};

/// Posts records into one table. Outcomes arrive inside `Add` and `Flush` only. Nothing is posted
/// by destroying it. The database outlives it.
class RowPoster {
 public:
  virtual ~RowPoster() = default;
  /// Whether the server reads this text into the field, though no value of the engine's holds all
  /// that it says: digits behind the milliseconds, a date before the year 1, an endless one.
  virtual bool TakesText(std::size_t field, std::string_view text) const noexcept = 0;
  /// Takes a copy of the record's values, one for each field the poster was made with: text for
  /// whatever the server shall read by itself, else a value of the field's own kind. A Null key of
  /// an update finds the records whose field is Null. `record_no` is the caller's own number. Fails
  /// with kStopped when a receiver ended the posting, also when that happened inside this very
  /// call; other failures come from `receiver` calls or lack of memory.
  virtual Status Add(std::int64_t record_no, std::span<const values::Value> row) noexcept = 0;
  /// Posts what is waiting. To be called before anything that waits for a person, before counts are
  /// shown as final, and at the end.
  virtual Status Flush() noexcept = 0;
  /// Records added whose outcome has not arrived yet.
  virtual std::size_t Waiting() const noexcept = 0;
  /// Whether more than one record may wait at a time. When false every `Add` posts its record.
  virtual bool Grouped() const noexcept = 0;
  /// Asked several times a second from now on while the server or a lock is waited for; true ends
  /// the waiting and the posting: `Add` and `Flush` fail with kStopped, records without an outcome
  /// may be stored or not. By default a poster waits as long as the driver is set to.
  virtual void StopWhen(std::function<bool()> stop) = 0;
  /// Deletes all records of the table. To be called before the first `Add`.
  virtual Status DeleteAll() noexcept = 0;
};

/// A database whose tables take records as values.
class RowDatabase {
 public:
  virtual ~RowDatabase() = default;
  /// `table` as for `FindTableDef`, `fields` by their names. `receiver` outlives the poster.
  virtual Result<std::unique_ptr<RowPoster>> MakeRowPoster(std::string_view table,
                                                           const std::vector<std::string>& fields,
                                                           RowReceiver& receiver,
                                                           PostOptions options) noexcept = 0;
};

/// The database's own way of posting records, or null when its record sets are written instead.
inline RowDatabase* AsRowDatabase(Database& database) noexcept {
  return dynamic_cast<RowDatabase*>(&database);
}

}  // namespace kelvorin::database
