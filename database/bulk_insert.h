#pragma once
// Posting many records to a server in groups, with the outcome of every record as if each had been
// sent alone. A database that can do so is also a `BulkDatabase`; the run asks it for an inserter,
// hands it finished records and learns their outcomes in the order of the records.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "database/database.h"
#include "database/sql_text.h"

namespace kelvorin::database {

/// The values of one record as SQL literals, in field order. Reused from record to record; its
/// text is what stands between the parentheses of VALUES.
class LiteralRow {
 public:
  void Clear() noexcept {
    text_.clear();
    ends_.clear();
  }
  /// Appends one literal as `AppendLiteral` writes it; after a failure the row is as before.
  Status Append(const values::Value& value, values::TypeCode type, const SqlDialect& dialect) {
    const std::size_t before = text_.size();
    if (before != 0) text_ += ',';
    Status status = AppendLiteral(value, type, dialect, text_);
    if (status.ok()) {
      ends_.push_back(text_.size());
    } else {
      text_.resize(before);
    }
    return status;
  }
  /// Appends a literal that is written already.
  void AppendWritten(std::string_view literal) {
    if (!text_.empty()) text_ += ',';
    text_ += literal;
    ends_.push_back(text_.size());
  }

  std::size_t size() const noexcept { return ends_.size(); }
  /// Lives until the row changes.
  std::string_view operator[](std::size_t i) const noexcept {
    const std::size_t from = i == 0 ? 0 : ends_[i - 1] + 1;
    return std::string_view(text_).substr(from, ends_[i] - from);
  }
  const std::string& text() const noexcept { return text_; }

 private:
  std::string text_;               // literals with "," between them
  std::vector<std::size_t> ends_;  // of each literal in `text_`
};

/// Where the outcomes of records arrive, in the order in which the records were added.
class BulkReceiver {
 public:
  virtual ~BulkReceiver() = default;
  /// The server has the record for good.
  virtual void Stored(std::int64_t record_no) = 0;
  /// The record was refused; the engine's pending errors are those of its own statement, and all
  /// records before it are stored for good. False ends the posting: no later record is stored.
  virtual bool Refused(std::int64_t record_no, const Status& status) = 0;
};

/// Posts records into one table. Outcomes arrive inside `Add` and `Flush` only. Nothing is posted
/// by destroying it. The database outlives it.
class BulkInserter {
 public:
  virtual ~BulkInserter() = default;
  /// Takes a copy of the record's literals, one for each field the inserter was made with.
  /// `record_no` is the caller's own number. Fails with kStopped when a receiver ended the posting,
  /// also when that happened inside this very call; other failures come from `receiver` calls or
  /// lack of memory.
  virtual Status Add(std::int64_t record_no, const LiteralRow& row) noexcept = 0;
  /// Posts what is waiting. To be called before anything that waits for a person, before counts are
  /// shown as final, and at the end.
  virtual Status Flush() noexcept = 0;
  /// Records added whose outcome has not arrived yet.
  virtual std::size_t Waiting() const noexcept = 0;
  /// Whether more than one record may wait at a time. When false every `Add` posts its record.
  virtual bool Grouped() const noexcept = 0;
};

/// How an inserter may work.
struct BulkOptions {
  /// One statement and one outcome per record, e.g. since a host watches each post.
  bool one_by_one = false;
};

/// A database whose tables take records in groups.
class BulkDatabase {
 public:
  virtual ~BulkDatabase() = default;
  /// `table` as for `FindTableDef`, `fields` by their names. `receiver` outlives the inserter.
  virtual Result<std::unique_ptr<BulkInserter>> MakeBulkInserter(
      std::string_view table, const std::vector<std::string>& fields, BulkReceiver& receiver,
      BulkOptions options) noexcept = 0;
};

/// The database's own way of posting in groups, or null when it has none.
inline BulkDatabase* AsBulkDatabase(Database& database) noexcept {
  return dynamic_cast<BulkDatabase*>(&database);
}

}  // namespace kelvorin::database
