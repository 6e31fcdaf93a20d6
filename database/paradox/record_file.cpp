#include "database/paradox/record_file.h"

#include "database/errors.h"

#include <algorithm>

namespace kelvorin::database::paradox {

RecordFile::RecordFile(storage::Store& store, storage::FileNo file, std::size_t key_fields,
                       const std::vector<bool>& descending)
    : blocks_(store, file), order_(blocks_.header().columns, key_fields, descending) {}

void RecordFile::AttachTree(storage::Store& store, storage::FileNo file) {
  tree_.emplace(store, file, order_);
  const Header& own = header();
  tree_current_ = tree_->blocks().header().stamp == StampFor(own.changes, own.sort_order) &&
                  !own.not_closed && !tree_->blocks().header().not_closed &&
                  tree_->empty() == (own.counts.records == 0);
}

base::ByteSpan RecordFile::View(Place at) {
  const base::ByteSpan view = blocks_.View(at.block);
  const BlockHead head = blocks_.HeadOf(at.block, view);
  if (at.slot >= head.records)
    blocks_.Damaged(at.block, "it has " + std::to_string(head.records) + " records, not " +
                                  std::to_string(at.slot + 1));
  return blocks_.RecordOf(view, at.slot);
}

// --- Finding

std::uint32_t RecordFile::SlotOf(base::ByteSpan view, std::uint32_t records, const std::byte* key,
                                 std::size_t count, bool above) const noexcept {
  const int limit = above ? 1 : 0;
  std::uint32_t low = 0, high = records;
  while (low < high) {
    const std::uint32_t middle = (low + high) / 2;
    if (order_.Compare(blocks_.RecordOf(view, middle).data(), key, count) < limit) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

/// The last block whose first record is below the key, or the first block; 0 for an empty file.
BlockNo RecordFile::BlockFor(const std::byte* key, std::size_t count, bool or_equal) {
  if (blocks_.counts().records == 0) return 0;
  if (tree_current_ && !tree_->empty()) {
    KeyTree::Path path;
    tree_->Find(key, count, or_equal, path);
    return path.block;
  }
  // Without an index that can be trusted every block is asked.
  const int limit = or_equal ? 1 : 0;
  BlockNo found = blocks_.First().block;
  for (BlockNo block = found; block != 0; block = blocks_.NextBlock(block)) {
    const base::ByteSpan view = blocks_.View(block);
    if (blocks_.HeadOf(block, view).records == 0) continue;
    if (order_.Compare(blocks_.RecordOf(view, 0).data(), key, count) >= limit) break;
    found = block;
  }
  return found;
}

Place RecordFile::Bound(const std::byte* key, std::size_t count, bool above) {
  const BlockNo block = BlockFor(key, count, above);
  if (block == 0) return {};
  const base::ByteSpan view = blocks_.View(block);
  const std::uint32_t records = blocks_.HeadOf(block, view).records;
  const std::uint32_t slot = SlotOf(view, records, key, count, above);
  if (slot < records) return {block, static_cast<std::uint16_t>(slot)};
  if (records == 0) return blocks_.Next({block, 0});
  return blocks_.Next({block, static_cast<std::uint16_t>(records - 1)});
}

Place RecordFile::BoundBefore(const std::byte* key, std::size_t count, bool above) {
  const Place bound = Bound(key, count, above);
  return bound ? blocks_.Previous(bound) : blocks_.Last();
}

bool RecordFile::Matches(Place at, const std::byte* key, std::size_t count) {
  return order_.Compare(View(at).data(), key, count) == 0;
}

Place RecordFile::Find(const std::byte* key, std::size_t count) {
  const Place at = Bound(key, count, false);
  return at && Matches(at, key, count) ? at : Place{};
}

Place RecordFile::FindInBlock(BlockNo block, const std::byte* key) {
  // A block that is free holds what once was.
  if (!blocks_.InChain(block)) return {};
  const base::ByteSpan view = blocks_.View(block);
  const std::uint32_t records = blocks_.HeadOf(block, view).records;
  const std::uint32_t slot = SlotOf(view, records, key, order_.bytes(), false);
  if (slot == records ||
      order_.Compare(blocks_.RecordOf(view, slot).data(), key, order_.bytes()) != 0)
    return {};
  return {block, static_cast<std::uint16_t>(slot)};
}

std::vector<std::byte> RecordFile::KeyAt(Place at) {
  const base::ByteSpan record = View(at).first(order_.bytes());
  return {record.begin(), record.end()};
}

// --- Changing

bool RecordFile::Insert(base::ByteSpan record, Place& at) {
  moved_to_ = moved_from_ = 0;
  const base::ByteSpan key = record.first(order_.bytes());
  if (tree_->empty()) {
    const BlockNo block = blocks_.counts().used > 0 ? blocks_.counts().first : blocks_.AddBlock(0);
    at = {block, 0};
    if (blocks_.Head(block).records != 0)
      blocks_.Damaged(block, "it holds records, and the index has no entry");
    blocks_.InsertRecord(at, record);
    tree_->Plant(key, block, 1);
    return true;
  }
  KeyTree::Path path;
  tree_->Find(key.data(), key.size(), true, path);
  const BlockNo block = path.block;
  const base::ByteSpan view = blocks_.View(block);
  const BlockHead head = blocks_.HeadOf(block, view);
  const std::uint32_t slot = SlotOf(view, head.records, key.data(), key.size(), false);
  if (slot < head.records &&
      order_.Compare(blocks_.RecordOf(view, slot).data(), key.data(), key.size()) == 0)
    return false;
  at = {block, static_cast<std::uint16_t>(slot)};
  // An index that lies must not bring the records out of order.
  const bool above_left = slot > 0 || head.previous == 0;
  if (!above_left || (slot == head.records && head.next != 0 && !BeginsAbove(head.next, key)))
    ThrowMisled(block);
  if (head.records < blocks_.capacity()) {
    blocks_.InsertRecord(at, record);
    tree_->AddRecords(path, 1);
    if (slot == 0) tree_->SetKey(path, key);
    return true;
  }
  const BlockNo right = blocks_.AddBlock(block);
  if (slot == head.records && head.next == 0) {  // so that records in order fill their blocks
    at = {right, 0};
    blocks_.InsertRecord(at, record);
    tree_->AddRecords(path, 1, true);
    tree_->InsertBehind(path, key, right, 1);
    return true;
  }
  const std::uint32_t stay = head.records == 1 ? slot : (head.records + 1) / 2;
  blocks_.MoveTail(block, stay, right);
  if (slot > stay || stay == head.records) at = {right, static_cast<std::uint16_t>(slot - stay)};
  blocks_.InsertRecord(at, record);
  const bool to_right = at.block == right;
  const auto left_records = static_cast<std::uint16_t>(stay + (to_right ? 0 : 1));
  tree_->AddRecords(path, 1, true);
  tree_->SetRecords(path, left_records);
  if (slot == 0) tree_->SetKey(path, key);
  tree_->InsertBehind(path, KeyAt({right, 0}), right,
                      static_cast<std::uint16_t>(head.records + 1 - left_records));
  moved_to_ = right;
  return true;
}

Place RecordFile::Append(base::ByteSpan record) {
  moved_to_ = moved_from_ = 0;
  BlockNo block = blocks_.counts().last;
  std::uint32_t records = block == 0 ? 0 : blocks_.Head(block).records;
  if (block == 0 || records == blocks_.capacity()) {
    block = blocks_.AddBlock(block);
    records = 0;
  }
  const Place at{block, static_cast<std::uint16_t>(records)};
  blocks_.InsertRecord(at, record);
  return at;
}

void RecordFile::PathTo(const std::byte* key, BlockNo block, KeyTree::Path& path) {
  if (!tree_->empty()) tree_->Find(key, order_.bytes(), true, path);
  if (tree_->empty() || path.block != block) ThrowMisled(block);
}

void RecordFile::ThrowMisled(BlockNo block) {
  blocks_.Damaged(
      block, "the index file '" + tree_->blocks().path() + "' leads elsewhere for one of its keys");
}

/// Whether all records of a block have keys above one.
bool RecordFile::BeginsAbove(BlockNo block, base::ByteSpan key) {
  const base::ByteSpan view = blocks_.View(block);
  return blocks_.HeadOf(block, view).records == 0 ||
         order_.Compare(blocks_.RecordOf(view, 0).data(), key.data(), key.size()) > 0;
}

void RecordFile::Erase(Place at) {
  moved_to_ = moved_from_ = 0;
  KeyTree::Path path;
  if (tree_) PathTo(KeyAt(at).data(), at.block, path);
  blocks_.EraseRecord(at);
  if (blocks_.Head(at.block).records > 0) {
    if (!tree_) return;
    tree_->AddRecords(path, -1);
    if (at.slot == 0) tree_->SetKey(path, KeyAt(at));
    return;
  }
  if (tree_) {
    tree_->AddRecords(path, -1, true);
    tree_->Remove(path);
  }
  EraseLastOf(at.block);
}

/// Lets go of a block whose last record went. Block 1 stays in use while there is another: that
/// one's records move into it.
void RecordFile::EraseLastOf(BlockNo block) {
  if (blocks_.counts().used == 1) return blocks_.Clear();
  if (block != 1) return blocks_.FreeBlock(block);
  const BlockHead head = blocks_.Head(block);
  const BlockNo from = head.next != 0 ? blocks_.NextBlock(block) : blocks_.PreviousBlock(block);
  const base::ByteSpan view = blocks_.View(from);
  const std::uint32_t records = blocks_.HeadOf(from, view).records;
  const base::ByteSpan bytes =
      view.subspan(kBlockHead, records * std::size_t{blocks_.record_bytes()});
  const std::vector<std::byte> copy(bytes.begin(), bytes.end());
  blocks_.PutRecords(block, copy);
  blocks_.FreeBlock(from);
  if (tree_ && records > 0) {
    KeyTree::Path path;
    PathTo(copy.data(), from, path);
    tree_->SetBlock(path, block);
  }
  moved_to_ = block;
  moved_from_ = from;
}

std::optional<std::string> RecordFile::WhereOutOfOrder() {
  std::vector<std::byte> before;
  for (BlockNo block = blocks_.First().block; block != 0; block = blocks_.NextBlock(block)) {
    const base::ByteSpan view = blocks_.View(block);
    const std::uint32_t records = blocks_.HeadOf(block, view).records;
    for (std::uint32_t slot = 0; slot < records; ++slot) {
      const base::ByteSpan key = blocks_.RecordOf(view, slot).first(order_.bytes());
      if (!before.empty() && order_.Compare(before.data(), key.data(), key.size()) >= 0)
        return "block " + std::to_string(block) + ", record " + std::to_string(slot + 1);
      before.assign(key.begin(), key.end());
    }
  }
  return std::nullopt;
}

void RecordFile::RebuildTree() {
  if (const auto where = WhereOutOfOrder())
    Throw(Code::kCorrupt, ErrorNumber::kCorrupt,
          "file '" + blocks_.path() + "', " + *where +
              ": its key is not above the one before it, so no index can be made");
  std::uint32_t total = 0;
  tree_->StartBuilding();
  BlockNo next = 0;
  for (BlockNo block = blocks_.counts().first; block != 0; block = next) {
    next = blocks_.NextBlock(block);
    const std::uint32_t records = blocks_.Head(block).records;
    total += records;
    if (records == 0) {
      if (blocks_.counts().used > 1 && block != 1) blocks_.FreeBlock(block);
      continue;
    }
    tree_->AddBuilt(KeyAt({block, 0}), block, static_cast<std::uint16_t>(records));
  }
  tree_->FinishBuilding();
  blocks_.counts().records = total;
  blocks_.set_touched(true);  // so that the stamp is renewed
  tree_current_ = true;
}

void RecordFile::CountRecords() {
  std::uint32_t total = 0;
  for (BlockNo block = blocks_.counts().first; block != 0; block = blocks_.NextBlock(block))
    total += blocks_.Head(block).records;
  if (total == blocks_.counts().records && !header().not_closed) return;
  blocks_.counts().records = total;
  blocks_.set_touched(true);
  blocks_.WriteCounts();  // so that there is a group
}

void RecordFile::FinishGroup() {
  if (!blocks_.touched()) return;
  const Header& own = header();
  const auto changes = static_cast<std::uint8_t>(own.changes % 255 + 1);
  blocks_.WriteCounts();
  if (tree_) tree_->blocks().WriteCounts();
  // One step further than at the opening, however many groups there are: other programs take an
  // index for current by these numbers.
  blocks_.WriteByte(kChangesAt, changes);
  if (!own.is_new()) blocks_.WriteCounter(own.counter + 1);
  blocks_.MarkClosed();
  if (!tree_) return;
  tree_->blocks().MarkClosed();
  tree_->blocks().WriteByte(kStampAt, StampFor(changes, own.sort_order));
  tree_->blocks().WriteCounter(tree_->blocks().header().counter + 1);
}

RecordFile::Saved RecordFile::Save() noexcept {
  Saved saved;
  saved.blocks = blocks_.counts();
  saved.blocks_touched = blocks_.touched();
  saved.tree_current = tree_current_;
  if (tree_) {
    saved.tree = tree_->blocks().counts();
    saved.tree_touched = tree_->blocks().touched();
  }
  return saved;
}

void RecordFile::Restore(const Saved& saved) noexcept {
  blocks_.counts() = saved.blocks;
  blocks_.set_touched(saved.blocks_touched);
  blocks_.Forget();
  tree_current_ = saved.tree_current;
  if (!tree_) return;
  tree_->blocks().counts() = saved.tree;
  tree_->blocks().set_touched(saved.tree_touched);
  tree_->blocks().Forget();
}

}  // namespace kelvorin::database::paradox
