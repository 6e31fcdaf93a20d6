#pragma once
// One maintained secondary index of a table: a sorted file of its own whose records are the indexed
// fields, the primary key and a hint where the record stands. Makes entries of records; the table
// keeps them in step.

#include <memory>
#include <string>
#include <vector>

#include "database/paradox/record_file.h"
#include "database/table_def.h"

namespace kelvorin::database::paradox {

class SecondaryIndex {
 public:
  /// Opens an index of a table. `extension` is the file's, e.g. "X06". Throws `kCorrupt` when its
  /// fields are not those of the table.
  SecondaryIndex(storage::Store& store, storage::FileNo file, std::string_view extension,
                 const Header& table, const std::array<std::uint8_t, 256>& capitals);

  /// Whether a file is kept up to date by those who change the table.
  static bool IsMaintained(FileType type) noexcept {
    return type == FileType::kField || type == FileType::kGroup;
  }

  RecordFile& file() noexcept { return *file_; }
  const IndexDef& def() const noexcept { return def_; }
  bool unique() const noexcept { return def_.Unique; }
  bool has_text() const noexcept { return has_text_; }
  /// Positions of the indexed fields in the table.
  const std::vector<std::size_t>& fields() const noexcept { return fields_; }
  std::size_t indexed_bytes() const noexcept { return indexed_bytes_; }
  std::size_t key_bytes() const noexcept { return file_->order().bytes(); }

  /// The entry of a record of the table, with a hint of its block.
  void MakeEntry(base::ByteSpan row, BlockNo block, std::vector<std::byte>& out) const;
  /// The first `count` indexed fields alone, as they stand in an entry.
  void MakeKey(base::ByteSpan row, std::size_t count, std::vector<std::byte>& out) const;
  /// Primary key in an entry.
  base::ByteSpan PrimaryKeyOf(base::ByteSpan entry) const noexcept {
    return entry.subspan(indexed_bytes_, primary_bytes_);
  }
  BlockNo HintOf(base::ByteSpan entry) const noexcept;
  void SetHint(Place at, BlockNo block);

 private:
  struct Part {
    std::uint16_t offset;  // in the table's record
    std::uint16_t bytes;
    bool capitals;
  };
  IndexDef def_;
  std::unique_ptr<RecordFile> file_;
  std::vector<std::size_t> fields_;
  std::vector<Part> parts_;
  const std::array<std::uint8_t, 256>* capitals_;
  std::size_t indexed_bytes_ = 0;
  std::size_t primary_bytes_ = 0;
  bool has_text_ = false;
};

}  // namespace kelvorin::database::paradox
