#pragma once
// Records in order: a file of blocks with, when it is sorted by a key, the tree over them. A table
// and its primary index are one, and so is each secondary index. Finds, inserts and erases records;
// knows neither values nor other indexes. Changes happen inside a storage bracket.

#include <optional>
#include <string>
#include <vector>

#include "database/paradox/key_tree.h"

namespace kelvorin::database::paradox {

class RecordFile {
 public:
  /// `key_fields` leading fields sort the records; 0 for a file without order.
  RecordFile(storage::Store& store, storage::FileNo file, std::size_t key_fields,
             const std::vector<bool>& descending = {});
  RecordFile(const RecordFile&) = delete;
  RecordFile& operator=(const RecordFile&) = delete;
  void AttachTree(storage::Store& store, storage::FileNo file);

  BlockFile& blocks() noexcept { return blocks_; }
  const Header& header() const noexcept { return blocks_.header(); }
  const Counts& counts() const noexcept { return blocks_.counts(); }
  KeyTree* tree() noexcept { return tree_ ? &*tree_ : nullptr; }
  const KeyOrder& order() const noexcept { return order_; }
  bool sorted() const noexcept { return order_.bytes() > 0; }
  /// Whether there is a tree that says it belongs to this state of the file.
  bool tree_is_current() const noexcept { return tree_current_; }

  /// The raw record. Valid until the next call.
  base::ByteSpan View(Place at);

  /// First record whose leading `count` key bytes are not below `key`; above it, when `above`.
  Place Bound(const std::byte* key, std::size_t count, bool above);
  /// The record before `Bound`.
  Place BoundBefore(const std::byte* key, std::size_t count, bool above);
  /// The record with exactly this key, compared over its leading `count` bytes.
  Place Find(const std::byte* key, std::size_t count);
  /// The same, looked for in one block that may be any block of the file.
  Place FindInBlock(BlockNo block, const std::byte* key);
  /// Whether the record at a place has these leading key bytes.
  bool Matches(Place at, const std::byte* key, std::size_t count);

  /// False when a record with this key is there; nothing is changed then.
  bool Insert(base::ByteSpan record, Place& at);
  /// Behind all others, in a file without order.
  Place Append(base::ByteSpan record);
  void Erase(Place at);
  /// The block whose records were elsewhere before the last change, 0 for none.
  BlockNo moved() const noexcept { return moved_to_; }
  /// Where they were, when all of that block moved.
  BlockNo moved_from() const noexcept { return moved_from_; }

  /// Makes the tree anew from the chain. Throws `kCorrupt` when the records are not in order.
  void RebuildTree();
  /// Whether each record's key is above the one before it; names the first that is not.
  std::optional<std::string> WhereOutOfOrder();

  /// Takes the header's count of records anew from the chain.
  void CountRecords();

  /// Puts counts, change count and stamp into the headers, when something changed.
  void FinishGroup();

  // What a bracket that fails has to take back.
  struct Saved {
    Counts blocks, tree;
    bool blocks_touched = false, tree_touched = false, tree_current = false;
  };
  Saved Save() noexcept;
  void Restore(const Saved& saved) noexcept;

 private:
  std::uint32_t SlotOf(base::ByteSpan view, std::uint32_t records, const std::byte* key,
                       std::size_t count, bool above) const noexcept;
  BlockNo BlockFor(const std::byte* key, std::size_t count, bool or_equal);
  void PathTo(const std::byte* key, BlockNo block, KeyTree::Path& path);
  [[noreturn]] void ThrowMisled(BlockNo block);
  bool BeginsAbove(BlockNo block, base::ByteSpan key);
  void EraseLastOf(BlockNo block);
  std::vector<std::byte> KeyAt(Place at);

  BlockFile blocks_;
  KeyOrder order_;
  std::optional<KeyTree> tree_;
  bool tree_current_ = false;
  BlockNo moved_to_ = 0;
  BlockNo moved_from_ = 0;
};

}  // namespace kelvorin::database::paradox
