#pragma once
// All indexes of one open table: attached, listed, and kept right with every change of a record.
// Belongs to the table, whose brackets it changes in.

#include <memory>
#include <string>
#include <vector>

#include "base/status.h"
#include "database/xbase/index_file.h"
#include "database/xbase/tag.h"

namespace kelvorin::database::xbase {

/// Whether a record is there and not deleted; answered by the table.
class LiveRecords {
 public:
  virtual bool IsLiveRecord(std::uint32_t record) = 0;

 protected:
  ~LiveRecords() = default;
};

class TableIndexes {
 public:
  /// Attaches the files. What is wrong with one of them is no error here: it stands in `why_not`.
  TableIndexes(storage::Store& store, const std::vector<IndexFileName>& names,
               const TableLayout& layout, const TextPage& page);

  /// What keeps an index from being kept up to date, and so the table from being written; empty
  /// when nothing does.
  const std::string& why_not() const noexcept { return why_not_; }
  const std::vector<std::unique_ptr<Tag>>& tags() const noexcept { return tags_; }
  const std::vector<IndexFile>& files() const noexcept { return files_; }
  /// The tag of this name without regard to case, or null.
  Tag* Find(std::string_view name) const noexcept;

  /// Makes ready what a change of a record means: `before` is empty for a new record. Fails with
  /// kDuplicateKey when an index that allows no key twice would get one.
  Status Plan(base::ByteSpan before, base::ByteSpan after, std::uint32_t record,
              LiveRecords& records);
  /// Changes the trees as planned, in the bracket of the record.
  void Apply();
  /// After a bracket that was given up.
  void Forget() noexcept;
  /// Before a group of changes is written.
  void Stamp();

  /// Opens the index file at `file` of `files` anew after another one took its place.
  void Reopen(storage::Store& store, std::size_t file);

  /// The first tag that lacks one of the last records or names some behind them, or null. Looks at
  /// few pages: an index that a program forgot about lacks what was appended since, and one whose
  /// table was replaced by an older one names what is not there.
  const Tag* FindStale(storage::Store& store, const TableLayout& layout, std::uint32_t records);

 private:
  struct Planned {
    bool erase = false;
    bool insert = false;
    std::uint32_t record = 0;
    std::vector<std::uint32_t> evicted;  // deleted records that make room for a live one
    std::vector<std::byte> before;
    std::vector<std::byte> after;
  };

  static void LockFile(storage::Store& store, const IndexFile& file);
  void Attach(storage::Store& store, const IndexFileName& name, std::uint32_t number,
              const TableLayout& layout, const TextPage& page);
  Status PlanUnique(Tag& tag, Planned& planned, LiveRecords& records);
  bool IsWrongAbout(Tag& tag, base::ByteSpan row, std::uint32_t record, std::uint32_t last);

  std::vector<IndexFile> files_;
  std::vector<std::unique_ptr<Tag>> tags_;
  std::vector<Planned> planned_;  // one a tag
  std::string why_not_;
  IndexTree::Place place_;
};

}  // namespace kelvorin::database::xbase
