#pragma once
// One open table with all its companions: records by place and by key, primary and secondary
// indexes, blobs, and the changes to them as storage brackets. Shared by all record sets on the
// same file in this process. Knows no cursors and no values; throws base::Error.
//
// Each change is one bracket over all files. Counts, change counts and the stamps by which other
// programs take an index for current go into the headers once per group of brackets, so that every
// state that reaches the disk is whole.

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "database/paradox/blob_file.h"
#include "database/paradox/field_codec.h"
#include "database/paradox/record_file.h"
#include "database/paradox/secondary_index.h"
#include "database/paradox/table_files.h"
#include "storage/open_files.h"
#include "storage/shared_by_store.h"

namespace kelvorin::database::paradox {

/// A blob field's new value, raw; applied when its record is stored.
struct BlobChange {
  const Column* column = nullptr;
  bool null = false;
  std::string_view value;
};

/// A place in a table without key, and the number of changes it has seen.
struct Trace {
  Place place;
  std::uint64_t seen = 0;
};

class Table final : private storage::GroupHook {
 public:
  /// Reads the headers of a store just opened and of the table's companions. Throws `kPassword`
  /// when the table is encrypted with another password.
  Table(std::shared_ptr<storage::Store> store, std::string_view password);
  ~Table();
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  const std::string& path() const noexcept { return store_->Path(storage::kMainFile); }
  storage::Store& store() noexcept { return *store_; }
  const Header& header() const noexcept { return data_->header(); }
  const std::vector<Column>& columns() const noexcept { return header().columns; }
  const TextPage& page() const noexcept { return page_; }
  const FieldCodec& codec() const noexcept { return codec_; }
  RecordFile& data() noexcept { return *data_; }
  std::vector<SecondaryIndex>& indexes() noexcept { return indexes_; }
  BlobFile* blobs() noexcept { return blobs_ ? &*blobs_ : nullptr; }
  const Companions& companions() const noexcept { return companions_; }
  std::uint32_t last_number() const noexcept { return last_number_; }
  bool keyed() const noexcept { return header().type == FileType::kKeyedTable; }
  /// Whether the field's text is sorted by an order that is not that of its bytes.
  bool order_is_known() const noexcept { return order_known_; }
  /// Positions of fields that must not be blank.
  const std::vector<std::size_t>& required() const noexcept { return required_; }
  /// What forbids writing; empty when nothing does.
  const std::string& why_read_only() const noexcept { return why_read_only_; }
  void set_why_read_only(std::string why) { why_read_only_ = std::move(why); }
  void CheckPassword(std::string_view password) const;

  std::uint32_t RecordCount() const noexcept { return data_->counts().records; }
  /// Grows whenever a record was changed, and whenever records changed their places.
  std::uint64_t changes() const noexcept { return changes_; }
  std::uint64_t moves() const noexcept { return moves_; }

  /// Reads a blob field of a record. False for Null. Throws `kCorrupt` with what is wrong.
  bool ReadBlob(const Column& column, base::ByteSpan row, std::string& out);
  /// What is wrong with a blob field, or nothing; `reference` is what the field names in the file.
  std::string CheckBlob(const Column& column, base::ByteSpan row, BlobReference& reference,
                        std::string& scratch);

  // --- Changes. Expected failures (a key that is there already) are returned and change nothing.
  /// Stores a new record; references of blobs and, where it is unassigned, the automatic number
  /// are put into `row`.
  Status Append(base::MutableByteSpan row, std::span<const BlobChange> blobs, bool numbered,
                Place& at);
  /// Stores another version of the record at a place, which may then stand elsewhere.
  Status Rewrite(Place& at, base::MutableByteSpan row, std::span<const BlobChange> blobs);
  void Delete(Place at);
  /// Throws when an index does not belong to this state of the table and cannot be made anew.
  void RequireCurrent(SecondaryIndex& index);
  /// Makes anew what does not belong to this state of the table; done before the first change.
  void MakeReady();
  /// Makes the primary index and all secondary ones anew.
  void Reindex();
  /// Everything changed so far is on the disk when it returns.
  void Flush() { store_->Flush(); }

  // --- Places in a table without key stay good over changes.
  Trace TraceOf(Place place) const noexcept { return {place, first_shift_ + shifts_.size()}; }
  /// Where the record is now. False when it is gone: then `place` is the record that followed, or
  /// none.
  bool Follow(Trace& trace);

 private:
  /// One deletion in a table without key.
  struct Shift {
    Place erased;
    BlockNo moved_from = 0;  // a block whose records all went to `moved_to`
    BlockNo moved_to = 0;
    BlockNo behind = 0;  // of a block that was let go: the one behind it
    bool freed = false;
  };

  void BeforeGroup(storage::Store& store) override;
  void OpenPrimary();
  void OpenBlobs();
  void OpenSecondaries();
  void ReadRules();
  void CheckOrder();
  void Refuse(std::string why) {
    if (why_read_only_.empty()) why_read_only_ = std::move(why);
  }
  template <typename F>
  void InBracket(F&& change);
  void FillIndex(SecondaryIndex& index);
  Status CheckKeys(base::ByteSpan row, base::ByteSpan old) const;
  Status CheckUnique(base::ByteSpan row, base::ByteSpan old);
  Status Duplicate(const std::string& index) const;
  void StoreBlobs(base::MutableByteSpan row, std::span<const BlobChange> blobs);
  void FreeBlobs(base::ByteSpan row, std::span<const BlobChange> blobs, bool all);
  void InsertEntry(SecondaryIndex& index, base::ByteSpan row, BlockNo block);
  void EraseEntry(SecondaryIndex& index, base::ByteSpan row);
  void FixHints(Place except);

  std::shared_ptr<storage::Store> store_;
  std::unique_ptr<RecordFile> data_;
  TextPage page_;
  FieldCodec codec_;
  Companions companions_;
  std::vector<SecondaryIndex> indexes_;
  std::optional<BlobFile> blobs_;
  std::string missing_blobs_;
  std::string why_read_only_;
  std::vector<std::size_t> required_;
  bool order_known_ = true;
  bool ready_ = false;
  std::uint64_t changes_ = 1;
  std::uint64_t moves_ = 1;
  const Column* auto_column_ = nullptr;
  std::uint32_t last_number_ = 0;
  bool number_given_ = false;
  std::vector<Shift> shifts_;
  std::uint64_t first_shift_ = 0;
  std::vector<RecordFile::Saved> saved_;  // of the bracket that is open
  std::vector<std::byte> old_row_, entry_, other_entry_, moved_;
  std::string scratch_;
};

/// The tables open in this process; belongs to the driver, and so to the engine.
class OpenTables {
 public:
  OpenTables(storage::FileSystem& fs, std::shared_ptr<storage::OpenFiles> files)
      : fs_(&fs), files_(std::move(files)) {}

  /// Opens a table, or shares it where it is open already. It is opened for reading only when
  /// `write` is false or something forbids writing. Errors: `kLocked`, `kCorrupt`, `kPassword`.
  std::shared_ptr<Table> Open(const std::string& path, bool write, bool exclusive,
                              std::string_view password);
  storage::FileSystem& fs() const noexcept { return *fs_; }

 private:
  std::shared_ptr<Table> Share(const std::string& path, bool read_only, bool exclusive,
                               std::string_view password);

  storage::FileSystem* fs_;
  std::shared_ptr<storage::OpenFiles> files_;
  storage::SharedByStore<Table> tables_;
};

}  // namespace kelvorin::database::paradox
