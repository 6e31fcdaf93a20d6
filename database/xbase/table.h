#pragma once
// One open table: its layout, its records by number, its memo file, its indexes, and the changes to
// them as storage brackets. Shared by all record sets on the same file in this process, so that
// they see the same count. Knows no cursors and no values; throws base::Error.

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "database/xbase/field_codec.h"
#include "database/xbase/memo_file.h"
#include "database/xbase/table_indexes.h"
#include "database/xbase/table_layout.h"
#include "database/xbase/text_page.h"
#include "storage/open_files.h"
#include "storage/shared_by_store.h"
#include "storage/store.h"

namespace kelvorin::database::xbase {

/// A memo field's new value, raw; applied when its record is stored.
struct MemoChange {
  const Column* column = nullptr;
  bool null = false;
  std::string_view value;
};

class Table final : private storage::GroupHook, private LiveRecords {
 public:
  /// Reads header, memo header and index definitions from a store just opened. `why_read_only` is
  /// empty when nothing that is known so far forbids writing.
  Table(std::shared_ptr<storage::Store> store, std::string why_read_only,
        const std::vector<IndexFileName>& indexes);
  ~Table();
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  const std::string& path() const noexcept { return store_->Path(storage::kMainFile); }
  const storage::Store& store() const noexcept { return *store_; }
  const TableLayout& layout() const noexcept { return layout_; }
  const TextPage& page() const noexcept { return page_; }
  const FieldCodec& codec() const noexcept { return codec_; }
  /// Null when the table has no memo fields.
  MemoFile* memo() noexcept { return memo_ ? &*memo_ : nullptr; }
  TableIndexes& indexes() noexcept { return *indexes_; }
  const TableIndexes& indexes() const noexcept { return *indexes_; }
  /// The tag that is out of date with the table, or null; looked for once.
  const Tag* FindStaleIndex();
  /// Rebuilds the indexes when one is out of date, and notes it. To be called before a change,
  /// and before a record is looked up that is to be changed.
  void FreshenIndexes();
  /// Writes all index files anew from the records. Returns the number of tags.
  std::size_t RebuildIndexes();
  /// Sentences that a user should hear before the table is written.
  std::vector<std::string>& notes() noexcept { return notes_; }
  /// Records that the header claims and that are not in the file.
  std::uint32_t MissingRecords() const noexcept {
    return layout_.record_count > records_ ? layout_.record_count - records_ : 0;
  }
  /// What forbids writing; empty when nothing does.
  const std::string& why_read_only() const noexcept { return why_read_only_; }

  /// Keeps programs that lock in the manner of this family out until the table is closed.
  void LockForExclusiveUse();

  /// Records that are there, deleted ones included. They are numbered from 1.
  std::uint32_t RecordCount() const noexcept { return records_; }
  /// Grows whenever an existing record was changed or deleted.
  std::uint64_t changes() const noexcept { return changes_; }
  /// Records that are not deleted; the first call reads all of them.
  std::uint32_t LiveCount();
  bool IsLive(std::uint32_t record);
  /// Copies a record into `row` (record_bytes long) unless it is deleted; says whether it did.
  bool ReadLive(std::uint32_t record, base::MutableByteSpan row);
  /// The raw record, deleted or not. Valid until the next call.
  base::ByteSpan View(std::uint32_t record);

  std::byte ByteAt(std::uint64_t offset) {
    return store_->View(storage::kMainFile, offset, 1, scratch_)[0];
  }

  /// Appends a record. Block numbers of the changed memos and, where `numbered` says so, the next
  /// automatic number are put into `row`. Fails with kDuplicateKey; nothing is changed then.
  Status Append(base::MutableByteSpan row, std::span<const MemoChange> memos, bool numbered);
  /// Stores an existing record. Fails as `Append` does.
  Status Rewrite(std::uint32_t record, base::MutableByteSpan row,
                 std::span<const MemoChange> memos);
  void Delete(std::uint32_t record);
  /// Everything changed so far is on the disk when it returns.
  void Flush() { store_->Flush(); }

 private:
  void BeforeGroup(storage::Store& store) override;
  bool IsLiveRecord(std::uint32_t record) override {
    return record >= 1 && record <= records_ && IsLive(record);
  }
  void OpenMemo();
  void FindAutoColumn();
  std::uint64_t Offset(std::uint32_t record) const noexcept {
    return layout_.header_bytes + std::uint64_t{record - 1} * layout_.record_bytes;
  }
  void StoreMemos(base::MutableByteSpan row, std::span<const MemoChange> memos);
  void CheckRoom() const;
  template <typename F>
  void InBracket(F&& change);

  std::shared_ptr<storage::Store> store_;
  TableLayout layout_;
  TextPage page_;
  FieldCodec codec_;
  std::optional<MemoFile> memo_;
  std::optional<TableIndexes> indexes_;
  std::string why_read_only_;
  std::vector<std::string> notes_;
  std::optional<const Tag*> stale_;
  std::uint32_t records_ = 0;
  std::uint64_t changes_ = 0;
  std::optional<std::uint32_t> live_;
  bool appended_ = false;  // since the last group
  bool locked_ = false;
  const Column* auto_column_ = nullptr;
  std::uint32_t next_number_ = 0;
  std::uint8_t number_step_ = 1;
  std::vector<std::byte> scratch_;
  std::vector<std::byte> before_;  // the record being changed, as it was
  std::vector<std::byte> after_;   // and as a deleted one
};

/// The tables open in this process; belongs to the driver, and so to the engine.
class OpenTables {
 public:
  OpenTables(storage::FileSystem& fs, std::shared_ptr<storage::OpenFiles> files)
      : fs_(&fs), files_(std::move(files)) {}

  /// Opens a table, or shares it where it is open already. It is opened for reading only when
  /// `write` is false or something forbids writing. Errors: `kLocked`, `kCorrupt`, `kNotSupported`,
  /// `kNotFound` (a memo or index file).
  std::shared_ptr<Table> Open(const std::string& path, bool write, bool exclusive);
  /// Writes all index files of a table anew from its records, which nobody may have open. `added`
  /// is entered into `kind`'s file beside what is there. Returns the number of tags.
  std::size_t RebuildIndexes(const std::string& path, const IndexFileName* into = nullptr,
                             const TagDefinition* added = nullptr);
  storage::FileSystem& fs() const noexcept { return *fs_; }
  storage::OpenFiles& files() const noexcept { return *files_; }

 private:
  std::shared_ptr<Table> Share(const std::string& path, bool read_only, bool exclusive,
                               const std::string& why_read_only);

  storage::FileSystem* fs_;
  std::shared_ptr<storage::OpenFiles> files_;
  storage::SharedByStore<Table> tables_;
};

}  // namespace kelvorin::database::xbase
