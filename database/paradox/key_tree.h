#pragma once
// The tree over the blocks of a sorted file: a table's primary index, and the second file of each
// secondary index. An entry is the key of the first record of a block, the block's number and how
// many records lie under it. Finds the block that a key belongs to, and follows every change of the
// blocks. Changes happen inside a storage bracket.

#include <array>
#include <cstdint>
#include <vector>

#include "database/paradox/block_file.h"

namespace kelvorin::database::paradox {

/// How keys compare: as bytes, runs of them in falling order.
class KeyOrder {
 public:
  KeyOrder() = default;
  /// The first `fields` of the columns; `descending` holds a flag for each of the leading ones.
  KeyOrder(const std::vector<Column>& columns, std::size_t fields,
           const std::vector<bool>& descending = {});

  std::size_t bytes() const noexcept { return bytes_; }
  /// Compares the first `count` bytes of two keys.
  int Compare(const std::byte* a, const std::byte* b, std::size_t count) const noexcept;

 private:
  struct Run {
    std::size_t end;
    bool descending;
  };
  std::vector<Run> runs_;
  std::size_t bytes_ = 0;
};

class KeyTree {
 public:
  static constexpr int kMaxLevels = 8;

  /// Way from the root to the entry of one block.
  struct Path {
    std::array<Place, kMaxLevels> steps;
    int levels = 0;
    BlockNo block = 0;  // that the lowest entry names
    Place leaf() const noexcept { return steps[static_cast<std::size_t>(levels - 1)]; }
  };
  /// What the lowest level says of a block.
  struct Entry {
    std::vector<std::byte> key;
    BlockNo block = 0;
    std::uint16_t records = 0;
  };

  KeyTree(storage::Store& store, storage::FileNo file, const KeyOrder& order);

  BlockFile& blocks() noexcept { return blocks_; }
  bool empty() const noexcept { return blocks_.counts().levels == 0; }

  /// The way to the last block whose first key is below `key` (or not above it, when `or_equal`),
  /// comparing the first `count` bytes; else to the first block. The tree is not empty.
  void Find(const std::byte* key, std::size_t count, bool or_equal, Path& path);

  /// The first block's entry of a tree without entries.
  void Plant(base::ByteSpan key, BlockNo block, std::uint16_t records);
  /// Adds to the counts of the entries of a way; the lowest one is left out when
  /// `above_leaf`.
  void AddRecords(const Path& path, int delta, bool above_leaf = false);
  void SetRecords(const Path& path, std::uint16_t records);
  void SetBlock(const Path& path, BlockNo block);
  /// Gives the entry another key, and its parents where it is the first of theirs.
  void SetKey(const Path& path, base::ByteSpan key);
  /// A new entry behind that of the way, which is then no longer good.
  void InsertBehind(const Path& path, base::ByteSpan key, BlockNo block, std::uint16_t records);
  /// Removes the entry of the way, which is then no longer good.
  void Remove(const Path& path);

  /// Builds the tree from entries that arrive in order: `Start`, `Add` each, `Finish`.
  void StartBuilding();
  void AddBuilt(base::ByteSpan key, BlockNo block, std::uint16_t records);
  void FinishBuilding();

  /// Lists the tree's entries in order, its own blocks in `own`; throws `kCorrupt` for a tree that
  /// is none. Says in `problems` where counts and keys of its levels disagree.
  void Walk(std::vector<Entry>& entries, std::vector<BlockNo>& own,
            std::vector<std::string>& problems);

 private:
  struct Level {  // being built
    std::vector<std::byte> records;
    std::uint32_t entries = 0;
    std::uint32_t blocks = 0;  // closed ones
  };
  std::size_t key_bytes() const noexcept { return order_->bytes(); }
  std::uint16_t Word(base::ByteSpan entry, std::size_t which) const noexcept;
  /// The last entry of a block that compares below `limit`, else its first; `below` becomes the
  /// block it names.
  Place Descend(BlockNo block, const std::byte* key, std::size_t count, int limit, BlockNo& below);
  void MakeEntry(base::ByteSpan key, BlockNo block, std::uint16_t records);
  std::uint16_t SumOf(BlockNo block);
  void Put16(Place at, std::size_t which, std::uint16_t value);
  void InsertAt(const Path& path, int level);
  void SplitRoot(BlockNo left, BlockNo right);
  void SetKeyAt(const Path& path, int level, base::ByteSpan key);
  void FreeTreeBlock(BlockNo block, Path& way);
  void Repoint(const std::byte* key, BlockNo from, BlockNo to);
  void AddToLevel(std::size_t level);
  void CloseBuilt(std::size_t level, bool last);
  std::uint16_t WalkBlock(BlockNo block, int level, const Entry* parent, std::vector<bool>& seen,
                          std::vector<Entry>& entries, std::vector<std::string>& problems);

  BlockFile blocks_;
  const KeyOrder* order_;
  std::vector<std::byte> entry_;  // the one being inserted
  std::vector<Level> building_;
};

}  // namespace kelvorin::database::paradox
