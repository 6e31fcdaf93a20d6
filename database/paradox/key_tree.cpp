#include "database/paradox/key_tree.h"

#include "database/errors.h"

#include <algorithm>
#include <cstring>

// Entry: key | block number | records below it, modulo 65536 | 0, each a big-endian word with the
// sign bit flipped. The chain of the file runs through the blocks of all levels in no order.

namespace kelvorin::database::paradox {
namespace {

constexpr std::size_t kBlockWord = 0;
constexpr std::size_t kRecordsWord = 1;
constexpr std::uint16_t kFlip = 0x8000;

constexpr std::uint16_t Flipped(std::uint16_t word) noexcept {
  return static_cast<std::uint16_t>(word ^ kFlip);
}

}  // namespace

KeyOrder::KeyOrder(const std::vector<Column>& columns, std::size_t fields,
                   const std::vector<bool>& descending) {
  for (std::size_t i = 0; i < fields; ++i) {
    const bool falling = i < descending.size() && descending[i];
    bytes_ = std::size_t{columns[i].offset} + columns[i].bytes;
    if (!runs_.empty() && runs_.back().descending == falling) {
      runs_.back().end = bytes_;
    } else {
      runs_.push_back({bytes_, falling});
    }
  }
}

int KeyOrder::Compare(const std::byte* a, const std::byte* b, std::size_t count) const noexcept {
  std::size_t at = 0;
  for (const Run& run : runs_) {
    const std::size_t end = std::min(run.end, count);
    if (end <= at) break;
    const int found = std::memcmp(a + at, b + at, end - at);
    if (found != 0) return run.descending ? -found : found;
    at = end;
  }
  return 0;
}

KeyTree::KeyTree(storage::Store& store, storage::FileNo file, const KeyOrder& order)
    : blocks_(store, file), order_(&order) {
  if (!blocks_.header().is_tree() || blocks_.record_bytes() != key_bytes() + kTreeWords ||
      blocks_.capacity() < 2)
    Throw(Code::kCorrupt, ErrorNumber::kCorrupt,
          "index file '" + blocks_.path() + "' has entries of " +
              std::to_string(blocks_.record_bytes()) + " bytes where its table's key needs " +
              std::to_string(key_bytes() + kTreeWords));
}

std::uint16_t KeyTree::Word(base::ByteSpan entry, std::size_t which) const noexcept {
  return Flipped(base::LoadBE16(entry, key_bytes() + 2 * which));
}

Place KeyTree::Descend(BlockNo block, const std::byte* key, std::size_t count, int limit,
                       BlockNo& below) {
  const base::ByteSpan view = blocks_.View(block);
  const std::uint32_t entries = blocks_.HeadOf(block, view).records;
  if (entries == 0) blocks_.Damaged(block, "it belongs to the tree and has no entry");
  // The first entry that is too high lies behind the one that is looked for.
  std::uint32_t low = 1, high = entries;
  while (low < high) {
    const std::uint32_t middle = (low + high) / 2;
    if (order_->Compare(blocks_.RecordOf(view, middle).data(), key, count) < limit) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  below = Word(blocks_.RecordOf(view, low - 1), kBlockWord);
  return {block, static_cast<std::uint16_t>(low - 1)};
}

void KeyTree::Find(const std::byte* key, std::size_t count, bool or_equal, Path& path) {
  path.levels = blocks_.counts().levels;
  path.block = blocks_.counts().root;
  for (int level = 0; level < path.levels; ++level)
    path.steps[static_cast<std::size_t>(level)] =
        Descend(path.block, key, count, or_equal ? 1 : 0, path.block);
}

// --- Following changes

void KeyTree::MakeEntry(base::ByteSpan key, BlockNo block, std::uint16_t records) {
  entry_.resize(key_bytes() + kTreeWords);
  std::memcpy(entry_.data(), key.data(), key_bytes());
  base::StoreBE16(entry_, key_bytes(), Flipped(block));
  base::StoreBE16(entry_, key_bytes() + 2, Flipped(records));
  base::StoreBE16(entry_, key_bytes() + 4, kFlip);
}

void KeyTree::Put16(Place at, std::size_t which, std::uint16_t value) {
  std::array<std::byte, 2> word{};
  base::StoreBE16(word, 0, Flipped(value));
  blocks_.Overwrite(at, key_bytes() + 2 * which, word);
}

void KeyTree::Plant(base::ByteSpan key, BlockNo block, std::uint16_t records) {
  Counts& counts = blocks_.counts();
  const BlockNo root = counts.used > 0 ? counts.first : blocks_.AddBlock(0);
  if (blocks_.Head(root).records != 0)
    blocks_.Damaged(root, "it holds entries, and the header says that there are no levels");
  MakeEntry(key, block, records);
  blocks_.InsertRecord({root, 0}, entry_);
  counts.root = root;
  counts.levels = 1;
}

void KeyTree::AddRecords(const Path& path, int delta, bool above_leaf) {
  for (int level = 0; level < path.levels - (above_leaf ? 1 : 0); ++level) {
    const Place at = path.steps[static_cast<std::size_t>(level)];
    const std::uint16_t before =
        Word(blocks_.RecordOf(blocks_.View(at.block), at.slot), kRecordsWord);
    Put16(at, kRecordsWord, static_cast<std::uint16_t>(before + delta));
  }
}

void KeyTree::SetRecords(const Path& path, std::uint16_t records) {
  Put16(path.leaf(), kRecordsWord, records);
}
void KeyTree::SetBlock(const Path& path, BlockNo block) {
  Put16(path.leaf(), kBlockWord, block);
}

void KeyTree::SetKey(const Path& path, base::ByteSpan key) {
  SetKeyAt(path, path.levels - 1, key);
}

void KeyTree::SetKeyAt(const Path& path, int level, base::ByteSpan key) {
  for (; level >= 0; --level) {
    const Place at = path.steps[static_cast<std::size_t>(level)];
    blocks_.Overwrite(at, 0, key.first(key_bytes()));
    if (at.slot != 0) return;
  }
}

std::uint16_t KeyTree::SumOf(BlockNo block) {
  const base::ByteSpan view = blocks_.View(block);
  const std::uint32_t entries = blocks_.HeadOf(block, view).records;
  std::uint16_t sum = 0;
  for (std::uint32_t i = 0; i < entries; ++i)
    sum = static_cast<std::uint16_t>(sum + Word(blocks_.RecordOf(view, i), kRecordsWord));
  return sum;
}

void KeyTree::InsertBehind(const Path& path, base::ByteSpan key, BlockNo block,
                           std::uint16_t records) {
  MakeEntry(key, block, records);
  InsertAt(path, path.levels - 1);
}

/// Puts `entry_` behind the way's entry of a level.
void KeyTree::InsertAt(const Path& path, int level) {
  const Place at = path.steps[static_cast<std::size_t>(level)];
  const std::uint32_t entries = blocks_.Head(at.block).records;
  const std::uint32_t slot = at.slot + 1u;
  if (entries < blocks_.capacity()) {
    blocks_.InsertRecord({at.block, static_cast<std::uint16_t>(slot)}, entry_);
    return;
  }
  // At the far end the new block begins with the entry alone, so that entries that come in order
  // fill their blocks.
  bool at_end = slot == entries;
  for (int above = 0; above < level && at_end; ++above) {
    const Place step = path.steps[static_cast<std::size_t>(above)];
    at_end = step.slot + 1u == blocks_.Head(step.block).records;
  }
  const std::uint32_t stay = at_end ? entries : (entries + 1) / 2;
  const BlockNo right = blocks_.AddBlock(blocks_.counts().last);
  if (stay < entries) blocks_.MoveTail(at.block, stay, right);
  if (slot <= stay && !at_end) {
    blocks_.InsertRecord({at.block, static_cast<std::uint16_t>(slot)}, entry_);
  } else {
    blocks_.InsertRecord({right, static_cast<std::uint16_t>(slot - stay)}, entry_);
  }
  const std::uint16_t left_sum = SumOf(at.block), right_sum = SumOf(right);
  const base::ByteSpan first = blocks_.RecordOf(blocks_.View(right), 0);
  const std::vector<std::byte> key(first.begin(),
                                   first.begin() + static_cast<std::ptrdiff_t>(key_bytes()));
  if (level == 0) {
    SplitRoot(at.block, right);
    return;
  }
  Put16(path.steps[static_cast<std::size_t>(level - 1)], kRecordsWord, left_sum);
  MakeEntry(key, right, right_sum);
  InsertAt(path, level - 1);
}

void KeyTree::SplitRoot(BlockNo left, BlockNo right) {
  Counts& counts = blocks_.counts();
  if (counts.levels == kMaxLevels)
    Throw(Code::kNoSpace, ErrorNumber::kDiskFull,
          "index file '" + blocks_.path() + "' has " + std::to_string(kMaxLevels) +
              " levels and cannot grow");
  const BlockNo root = blocks_.AddBlock(counts.last);
  std::uint16_t slot = 0;
  for (const BlockNo child : {left, right}) {
    const std::uint16_t sum = SumOf(child);
    const base::ByteSpan first = blocks_.RecordOf(blocks_.View(child), 0);
    const std::vector<std::byte> key(first.begin(), first.end());
    MakeEntry(key, child, sum);
    blocks_.InsertRecord({root, slot++}, entry_);
  }
  counts.root = root;
  ++counts.levels;
}

void KeyTree::Remove(const Path& path) {
  Path way = path;
  for (int level = way.levels - 1; level >= 0; --level) {
    const Place at = way.steps[static_cast<std::size_t>(level)];
    blocks_.EraseRecord(at);
    const base::ByteSpan view = blocks_.View(at.block);
    if (blocks_.HeadOf(at.block, view).records > 0) {
      if (at.slot != 0 || level == 0) return;
      const base::ByteSpan first = blocks_.RecordOf(view, 0);
      const std::vector<std::byte> key(first.begin(), first.end());
      SetKeyAt(way, level - 1, key);
      return;
    }
    if (level == 0) return blocks_.Clear();
    FreeTreeBlock(at.block, way);
  }
}

/// Block 1 is always in use: where it would become free, another block's entries move into it.
void KeyTree::FreeTreeBlock(BlockNo block, Path& way) {
  if (block != 1) return blocks_.FreeBlock(block);
  const BlockHead head = blocks_.Head(block);
  const BlockNo from = head.next != 0 ? blocks_.NextBlock(block) : blocks_.PreviousBlock(block);
  const base::ByteSpan view = blocks_.View(from);
  const std::uint32_t entries = blocks_.HeadOf(from, view).records;
  if (entries == 0) blocks_.Damaged(from, "it belongs to the tree and has no entry");
  const base::ByteSpan first = view.subspan(kBlockHead, entries * blocks_.record_bytes());
  const std::vector<std::byte> records(first.begin(), first.end());
  blocks_.PutRecords(block, records);
  blocks_.FreeBlock(from);
  Repoint(records.data(), from, block);
  for (Place& step : way.steps)
    if (step.block == from) step.block = block;
}

/// Makes the parent of a block name another one. `key` is the block's first.
void KeyTree::Repoint(const std::byte* key, BlockNo from, BlockNo to) {
  Counts& counts = blocks_.counts();
  if (counts.root == from) {
    counts.root = to;
    return;
  }
  BlockNo block = counts.root;
  for (int level = 0; level < counts.levels - 1; ++level) {
    const Place at = Descend(block, key, key_bytes(), 1, block);
    if (block != from) continue;
    Put16(at, kBlockWord, to);
    return;
  }
  blocks_.Damaged(from, "no entry of the tree leads to it");
}

// --- Building

void KeyTree::StartBuilding() {
  blocks_.Clear();
  building_.clear();
  building_.emplace_back();
}

void KeyTree::AddBuilt(base::ByteSpan key, BlockNo block, std::uint16_t records) {
  MakeEntry(key, block, records);
  AddToLevel(0);
}

/// Adds `entry_`; a level's block is closed with room for one more entry, as other programs do.
void KeyTree::AddToLevel(std::size_t level) {
  if (level == building_.size()) building_.emplace_back();
  Level& at = building_[level];
  if (at.entries + 1 >= blocks_.capacity() && at.entries > 0) CloseBuilt(level, false);
  Level& again = building_[level];
  again.records.insert(again.records.end(), entry_.begin(), entry_.end());
  ++again.entries;
}

void KeyTree::CloseBuilt(std::size_t level, bool last) {
  const std::vector<std::byte> waiting = entry_;
  const std::vector<std::byte> records = std::move(building_[level].records);
  blocks_.counts().records += building_[level].entries;
  building_[level].records.clear();
  building_[level].entries = 0;
  ++building_[level].blocks;
  const BlockNo block = blocks_.AddBlock(blocks_.counts().last);
  blocks_.PutRecords(block, records);
  blocks_.counts().root = block;
  if (!last || building_[level].blocks > 1) {
    MakeEntry(records, block, SumOf(block));
    AddToLevel(level + 1);
  }
  entry_ = waiting;
}

void KeyTree::FinishBuilding() {
  for (std::size_t level = 0; level < building_.size(); ++level) {
    if (building_[level].entries > 0) CloseBuilt(level, true);
    if (building_[level].blocks == 0) break;  // nothing at all
    if (building_[level].blocks > 1) continue;
    blocks_.counts().levels = static_cast<std::uint8_t>(level + 1);
    break;
  }
  building_.clear();
}

// --- Inspecting

void KeyTree::Walk(std::vector<Entry>& entries, std::vector<BlockNo>& own,
                   std::vector<std::string>& problems) {
  const Counts& counts = blocks_.counts();
  if (counts.levels == 0) return;
  std::vector<bool> seen(std::size_t{counts.blocks} + 1);
  WalkBlock(counts.root, counts.levels, nullptr, seen, entries, problems);
  for (std::size_t block = 0; block < seen.size(); ++block)
    if (seen[block]) own.push_back(static_cast<BlockNo>(block));
}

std::uint16_t KeyTree::WalkBlock(BlockNo block, int level, const Entry* parent,
                                 std::vector<bool>& seen, std::vector<Entry>& entries,
                                 std::vector<std::string>& problems) {
  const base::ByteSpan view = blocks_.View(block);
  const std::uint32_t count = blocks_.HeadOf(block, view).records;
  if (seen[block]) blocks_.Damaged(block, "two entries of the tree lead to it");
  seen[block] = true;
  const std::vector<std::byte> copy(view.begin(), view.end());
  std::uint16_t sum = 0;
  for (std::uint32_t i = 0; i < count; ++i) {
    const base::ByteSpan record = blocks_.RecordOf(copy, i);
    Entry entry{{record.begin(), record.begin() + static_cast<std::ptrdiff_t>(key_bytes())},
                Word(record, kBlockWord),
                Word(record, kRecordsWord)};
    sum = static_cast<std::uint16_t>(sum + entry.records);
    if (i == 0 && parent != nullptr && entry.key != parent->key)
      problems.push_back("index file '" + blocks_.path() + "', block " + std::to_string(block) +
                         ": it begins with another key than the entry that leads to it");
    if (level == 1) {
      entries.push_back(std::move(entry));
      continue;
    }
    const std::uint16_t below = WalkBlock(entry.block, level - 1, &entry, seen, entries, problems);
    if (below != entry.records)
      problems.push_back("index file '" + blocks_.path() + "', block " + std::to_string(block) +
                         ": its entry for block " + std::to_string(entry.block) + " counts " +
                         std::to_string(entry.records) + " records where there are " +
                         std::to_string(below));
  }
  return sum;
}

}  // namespace kelvorin::database::paradox
