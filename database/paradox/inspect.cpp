#include "database/paradox/inspect.h"

#include "database/errors.h"

#include <algorithm>

namespace kelvorin::database::paradox {
namespace {

constexpr std::size_t kMaxProblems = 100;

class Inspection {
 public:
  Inspection(Table& table, std::vector<std::string>& problems)
      : table_(table), problems_(problems), limit_(problems.size() + kMaxProblems) {}

  void Run() {
    RecordFile& data = table_.data();
    CheckClosed(data.blocks());
    const std::size_t before = problems_.size();
    Guard([&] { CheckChain(data.blocks()); });
    if (problems_.size() > before) return;  // along a broken chain nothing can be said
    if (table_.keyed()) Guard([&] { CheckSorted(data); });
    Guard([&] { CheckValues(); });
    if (!table_.why_read_only().empty() &&
        table_.why_read_only().find("cannot") != std::string::npos)
      Add(data.blocks(), table_.why_read_only());
    for (SecondaryIndex& index : table_.indexes()) Guard([&] { CheckSecondary(index); });
    if (table_.blobs() != nullptr)
      Guard([&] { table_.blobs()->Inspect(std::move(references_), problems_); });
    if (problems_.size() > limit_) problems_.resize(limit_);
  }

 private:
  void Add(const BlockFile& file, const std::string& what) {
    if (problems_.size() < limit_) problems_.push_back("file '" + file.path() + "': " + what);
  }
  template <typename F>
  void Guard(F&& check) {
    try {
      check();
    } catch (const Error& error) {
      if (problems_.size() < limit_) problems_.emplace_back(error.status().message());
    }
  }

  void CheckClosed(const BlockFile& file) {
    if (file.header().not_closed)  // invariant 1
      Add(file, "its header says that it was not closed properly");
  }

  /// Chain and free list meet every block exactly once, and the counts are theirs.
  void CheckChain(BlockFile& file) {
    const Counts& counts = file.counts();
    std::vector<std::uint8_t> met(std::size_t{counts.blocks} + 1);
    std::uint32_t records = 0, used = 0, free = 0;
    BlockNo last = 0;
    if (counts.first != 0) (void)file.First();
    for (BlockNo block = counts.first; block != 0; block = file.NextBlock(block)) {
      if (met[block]++ != 0) file.Damaged(block, "the chain meets it again");
      const std::uint32_t here = file.Head(block).records;
      if (here == 0 && counts.used > 1) Add(file, "block " + std::to_string(block) + " is empty");
      records += here;
      last = block;
      ++used;
    }
    for (BlockNo block = counts.free; block != 0;) {
      if (block > counts.blocks || met[block]++ != 0)
        file.Damaged(block, "the list of free blocks leads to it, which is no free block");
      ++free;
      block = base::LoadLE16(file.View(block), 0);
    }
    const auto same = [&](std::uint32_t found, std::uint32_t said, const char* what) {
      if (found != said)
        Add(file, "its header says " + std::to_string(said) + " " + what + ", there are " +
                      std::to_string(found));
    };
    same(records, counts.records, "records");    // invariant 2
    same(used, counts.used, "blocks in use");    // invariant 3
    same(used + free, counts.blocks, "blocks");  // invariant 4
    if (last != counts.last)                     // invariant 5
      Add(file, "its header names block " + std::to_string(counts.last) +
                    " as the last, the chain ends at " + std::to_string(last));
  }

  /// Keys rise, and the tree has one entry for each block, with its first key and its count.
  void CheckSorted(RecordFile& file) {
    if (table_.order_is_known() || &file != &table_.data())
      if (const auto where = file.WhereOutOfOrder())  // invariant 6
        Add(file.blocks(), *where + ": its key is not above the one before it");
    if (file.tree() == nullptr) return;
    BlockFile& tree = file.tree()->blocks();
    CheckClosed(tree);
    if (!file.tree_is_current()) {  // invariant 7
      const std::uint8_t stamp = StampFor(file.header().changes, file.header().sort_order);
      if (tree.header().stamp != stamp)
        Add(tree, "it is out of date: its stamp is " + std::to_string(tree.header().stamp) +
                      ", that of its data file's state is " + std::to_string(stamp));
      else if (!tree.header().not_closed && !file.header().not_closed)
        Add(tree, "it has " + std::to_string(tree.counts().levels) + " levels for " +
                      std::to_string(file.counts().records) + " records");
      return;
    }
    const std::size_t before = problems_.size();
    CheckChain(tree);
    std::vector<KeyTree::Entry> entries;
    std::vector<BlockNo> own, chain;
    file.tree()->Walk(entries, own, problems_);  // invariant 8
    if (problems_.size() > before) return;
    if (!file.tree()->empty())
      for (BlockNo block = tree.counts().first; block != 0; block = tree.NextBlock(block))
        chain.push_back(block);
    std::sort(chain.begin(), chain.end());
    if (own != chain) Add(tree, "its tree is not made of the blocks of its chain");  // invariant 9
    std::size_t i = 0;
    for (BlockNo block = file.blocks().First().block; block != 0;
         block = file.blocks().NextBlock(block)) {
      const base::ByteSpan view = file.blocks().View(block);
      const std::uint32_t records = file.blocks().HeadOf(block, view).records;
      if (records == 0) continue;
      const base::ByteSpan key = file.blocks().RecordOf(view, 0).first(file.order().bytes());
      if (i == entries.size() || entries[i].block != block)
        return Add(tree, "it has no entry for block " + std::to_string(block) + " in its place");
      if (!std::equal(key.begin(), key.end(), entries[i].key.begin()) ||
          entries[i].records != records)  // invariant 10
        return Add(tree, "its entry for block " + std::to_string(block) +
                             " tells another first key or count than the block");
      ++i;
    }
    if (i != entries.size())
      Add(tree, "it has " + std::to_string(entries.size()) + " entries for " + std::to_string(i) +
                    " blocks");
  }

  void CheckValues() {
    BlockFile& data = table_.data().blocks();
    std::vector<std::byte> row;
    std::string scratch;
    values::Value value;
    for (Place at = data.First(); at; at = data.Next(at)) {
      const base::ByteSpan stored = table_.data().View(at);
      row.assign(stored.begin(), stored.end());
      const auto add = [&](const Column& column, const std::string& wrong) {
        Add(data, "field '" + column.name + "' of record " + std::to_string(at.slot + 1) +
                      " in block " + std::to_string(at.block) + " " + wrong);
      };
      for (const Column& column : table_.columns()) {
        if (IsBlob(column.kind)) {
          BlobReference reference;  // invariant 12
          const std::string wrong = table_.CheckBlob(column, row, reference, scratch);
          if (!wrong.empty()) add(column, wrong);
          if (reference.bytes != 0 && !reference.in_leader()) references_.push_back(reference);
          continue;
        }
        if (!table_.codec().Decode(column, row, scratch, value))  // invariant 11
          add(column, table_.codec().WhatIsWrong(column, row));
        if (column.kind == FieldKind::kAutoIncrement && !value.IsNull() &&
            value.integer > static_cast<std::int64_t>(table_.last_number()))
          add(column, "is past the last number given out, " + std::to_string(table_.last_number()));
      }
      if (problems_.size() >= limit_) return;
    }
  }

  /// The entries are exactly those of the table's records.
  void CheckSecondary(SecondaryIndex& index) {
    RecordFile& file = index.file();
    CheckClosed(file.blocks());
    const std::size_t before = problems_.size();
    CheckChain(file.blocks());
    if (problems_.size() == before) CheckSorted(file);
    if (problems_.size() > before) return;
    if (file.counts().records != table_.RecordCount())  // invariant 13
      return Add(file.blocks(), "it has " + std::to_string(file.counts().records) +
                                    " entries for " + std::to_string(table_.RecordCount()) +
                                    " records");
    BlockFile& data = table_.data().blocks();
    std::vector<std::byte> entry;
    for (Place at = data.First(); at; at = data.Next(at)) {
      index.MakeEntry(table_.data().View(at), at.block, entry);
      if (file.Find(entry.data(), index.key_bytes())) continue;
      return Add(file.blocks(), "it has no entry for record " + std::to_string(at.slot + 1) +
                                    " in block " + std::to_string(at.block));  // invariant 14
    }
  }

  Table& table_;
  std::vector<std::string>& problems_;
  std::size_t limit_;
  std::vector<BlobReference> references_;
};

}  // namespace

void InspectTable(Table& table, std::vector<std::string>& problems) {
  Inspection(table, problems).Run();
}

}  // namespace kelvorin::database::paradox
