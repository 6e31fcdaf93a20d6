#pragma once
// A file of blocks: the chain of blocks in use, the list of free ones, and the records in each.
// Tables, their trees and their secondary indexes are all such files, each one a file of the
// table's store. Knows no keys. Changes happen inside a storage bracket; the counts of the header
// are kept in memory and written once per group.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "database/paradox/cipher.h"
#include "database/paradox/table_header.h"
#include "storage/store.h"

namespace kelvorin::database::paradox {

using BlockNo = std::uint16_t;  // from 1; 0 is none

struct BlockHead {
  BlockNo next = 0;
  BlockNo previous = 0;
  std::uint32_t records = 0;
};

/// A record by where it stands.
struct Place {
  BlockNo block = 0;
  std::uint16_t slot = 0;  // from 0
  explicit operator bool() const noexcept { return block != 0; }
  bool operator==(const Place&) const = default;
};

class BlockFile {
 public:
  /// Reads the header. `store` outlives this object.
  BlockFile(storage::Store& store, storage::FileNo file);

  const Header& header() const noexcept { return header_; }
  const std::string& path() const noexcept { return store_->Path(file_); }
  storage::FileNo file() const noexcept { return file_; }
  std::uint32_t capacity() const noexcept { return capacity_; }
  std::uint16_t record_bytes() const noexcept { return header_.record_bytes; }

  const Counts& counts() const noexcept { return counts_; }
  /// For whoever takes a failed bracket back, and for trees.
  Counts& counts() noexcept { return counts_; }

  /// The whole block, decrypted. Valid until the next call on this file or its store. Throws
  /// `kCorrupt` for a block that is not there.
  base::ByteSpan View(BlockNo block);
  /// Head of a block from its view, checked against the file.
  BlockHead HeadOf(BlockNo block, base::ByteSpan view) const;
  BlockHead Head(BlockNo block) { return HeadOf(block, View(block)); }
  base::ByteSpan RecordOf(base::ByteSpan view, std::uint32_t slot) const noexcept {
    return view.subspan(kBlockHead + std::size_t{slot} * header_.record_bytes,
                        header_.record_bytes);
  }

  // --- The chain. A neighbour that does not name the block in turn is `kCorrupt`, so that no walk
  // runs in circles.
  Place First();
  Place Last();
  Place Next(Place at);
  Place Previous(Place at);
  /// Whether the chain leads to a block, as far as the blocks beside it tell. No number of it is
  /// trusted; false for one that is not there.
  bool InChain(BlockNo block);
  BlockNo NextBlock(BlockNo block);
  BlockNo PreviousBlock(BlockNo block);

  // --- Changes, inside a bracket.
  void InsertRecord(Place at, base::ByteSpan record);
  void EraseRecord(Place at);
  /// Bytes of a record in place.
  void Overwrite(Place at, std::size_t offset, base::ByteSpan bytes);
  /// Moves the records from `slot` on to the empty block `to`.
  void MoveTail(BlockNo from, std::uint32_t slot, BlockNo to);
  /// Replaces the records of a block; its neighbours stay.
  void PutRecords(BlockNo block, base::ByteSpan records);
  /// An empty block, behind `behind` in the chain (0: the file has none yet). `kNoSpace` when the
  /// format's 65,535 are used up.
  BlockNo AddBlock(BlockNo behind);
  /// Takes a block out of the chain and puts it in front of the free ones.
  void FreeBlock(BlockNo block);
  /// Forgets all blocks; the file ends with its header.
  void Clear();

  // What of the header follows the changes, for the end of a group. Always written whole: a group
  // that could not be finished leaves nothing noted as done.
  void WriteCounts();
  void WriteByte(std::size_t at, std::uint8_t value);
  void WriteCounter(std::uint32_t counter);
  /// Takes away the mark that somebody did not close the file properly.
  void MarkClosed();
  /// Something of a block was changed since `set_touched(false)`.
  bool touched() const noexcept { return touched_; }
  void set_touched(bool touched) noexcept { touched_ = touched; }
  /// To be called when a bracket was given up.
  void Forget() noexcept;

  [[noreturn]] void Damaged(BlockNo block, const std::string& what) const;

 private:
  static constexpr std::size_t kOpenBlocks = 8;
  struct OpenBlock {  // a decrypted one
    BlockNo block = 0;
    std::vector<std::byte> bytes;
  };
  std::uint64_t Offset(BlockNo block) const noexcept {
    return header_.header_bytes + std::uint64_t{block - 1u} * header_.block_bytes;
  }
  void CheckBlock(BlockNo block) const;
  base::MutableByteSpan OpenDecrypted(BlockNo block);
  base::ByteSpan RawView(BlockNo block);
  void Put(BlockNo block, std::size_t at, base::ByteSpan bytes);
  void PutWhole(BlockNo block, base::ByteSpan bytes);
  void PutHead(BlockNo block, const BlockHead& head);
  void PutSize(BlockNo block, std::uint32_t records);

  storage::Store* store_;
  storage::FileNo file_;
  Header header_;
  std::uint32_t capacity_;
  Cipher cipher_;
  Counts counts_;
  bool touched_ = false;
  std::array<OpenBlock, kOpenBlocks> open_;
  std::vector<std::byte> scratch_;  // of a block that its file cuts short
  std::vector<std::byte> store_scratch_;
  std::vector<std::byte> image_;  // of what is being moved
};

}  // namespace kelvorin::database::paradox
