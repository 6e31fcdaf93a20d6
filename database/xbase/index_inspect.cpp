#include "database/xbase/index_inspect.h"

#include <algorithm>
#include <set>

// Invariants, by the numbers of docs/formats/xbase.md: 10 order, 11 depth, 12 branch entries, 13
// neighbours, 14 free pages, 15 an entry for every record and none more.

namespace kelvorin::database::xbase {
namespace {

constexpr std::size_t kMaxProblems = 10;  // of one tag

class TagInspection {
 public:
  TagInspection(Table& table, Tag& tag, std::vector<std::string>& problems)
      : table_(table),
        tag_(tag),
        pages_(tag.tree().pages()),
        problems_(problems),
        limit_(problems.size() + kMaxProblems),
        seen_(table.RecordCount() + std::size_t{1}) {}

  void Run() {
    try {
      (void)Visit(pages_.Root(), 0);
      if (pages_.traits().all_links && last_leaf_ != kNoPage && last_right_ != kNoPage)
        Add("page " + std::to_string(last_leaf_) + " is the last and names a right neighbour");
      CheckFreePages();
      if (!Enough()) CheckRecords();
    } catch (const Error& error) {
      problems_.emplace_back(error.status().message());
    }
  }

 private:
  bool Enough() const noexcept { return problems_.size() >= limit_; }
  void Add(const std::string& what) {
    if (!Enough())
      problems_.push_back("index file '" + tag_.path() + "', tag '" + tag_.definition().name +
                          "': " + what);
  }

  /// Returns the last entry below a page.
  std::vector<std::byte> Visit(std::uint32_t page, std::size_t depth) {
    if (Enough()) return {};
    if (depth > 24 || !visited_.insert(page).second) {
      Add("page " + std::to_string(page) + " is reached twice");
      return {};
    }
    IndexNode node;
    pages_.Read(page, node);
    if (node.leaf) return VisitLeaf(node, page, depth);
    const TreeTraits& traits = pages_.traits();
    std::vector<std::byte> last;
    for (std::size_t i = 0; i < node.count(); ++i) {
      last = Visit(node.children[i], depth + 1);
      if (last.empty() || (traits.open_end && i + 1 == node.count())) continue;
      const std::size_t bytes = traits.exact_branches ? node.entry_bytes : tag_.key_bytes();
      const int order = std::memcmp(node[i].data(), last.data(), bytes);
      if (order < 0 || (order > 0 && !traits.open_end))  // invariant 12
        Add("entry " + std::to_string(i) + " of page " + std::to_string(page) +
            " is not the last one below it");
    }
    return last;
  }

  std::vector<std::byte> VisitLeaf(const IndexNode& node, std::uint32_t page, std::size_t depth) {
    if (leaf_depth_ == kNoPage) leaf_depth_ = depth;
    if (depth != leaf_depth_)  // invariant 11
      Add("page " + std::to_string(page) + " stands " + std::to_string(depth) +
          " levels below the root, others " + std::to_string(leaf_depth_));
    if (pages_.traits().all_links) {  // invariant 13
      if (node.left != last_leaf_ || (last_leaf_ != kNoPage && last_right_ != page))
        Add("page " + std::to_string(page) + " and its left neighbour do not name each other");
      last_right_ = node.right;
    }
    last_leaf_ = page;
    for (std::size_t i = 0; i < node.count() && !Enough(); ++i) CheckEntry(node, i, page);
    if (node.count() == 0) return {};
    const base::ByteSpan last = node[node.count() - 1];
    return {last.begin(), last.end()};
  }

  void CheckEntry(const IndexNode& node, std::size_t i, std::uint32_t page) {
    const base::ByteSpan entry = node[i];
    const std::size_t bytes = pages_.traits().exact_branches ? node.entry_bytes : tag_.key_bytes();
    if (!before_.empty() && std::memcmp(before_.data(), entry.data(), bytes) > 0)  // invariant 10
      Add("the keys of page " + std::to_string(page) + " are not in order at entry " +
          std::to_string(i));
    const bool once = tag_.definition().unique;
    if (once && !before_.empty() &&
        std::memcmp(before_.data(), entry.data(), tag_.key_bytes()) == 0)
      Add("a key stands twice on page " + std::to_string(page) + " though they are unique");
    before_.assign(entry.begin(), entry.end());
    const std::uint32_t record = node.RecordAt(i);
    const std::string which = "record " + std::to_string(record);
    if (record < 1 || record > table_.RecordCount())
      return Add("page " + std::to_string(page) + " names " + which + " of " +
                 std::to_string(table_.RecordCount()));
    if (seen_[record] != 0) return Add(which + " has two entries");
    seen_[record] = 1;
    ++entries_;
    made_.resize(tag_.entry_bytes());
    if (!tag_.MakeEntry(table_.View(record), record, made_.data())) {
      Add(which + " has an entry, though its condition leaves it out");
    } else if (!tag_.SameKey(entry, made_)) {
      Add("the entry of " + which + " on page " + std::to_string(page) + " is not its key");
    }
  }

  void CheckRecords() {
    // Keys that stand once may be missing for good reasons: another record had them at the time.
    if (tag_.definition().unique || tag_.constraint()) return;
    made_.resize(tag_.entry_bytes());
    for (std::uint32_t record = 1; record <= table_.RecordCount() && !Enough(); ++record)
      if (seen_[record] == 0 && tag_.MakeEntry(table_.View(record), record, made_.data()))
        Add("record " + std::to_string(record) + " has no entry");  // invariant 15
  }

  void CheckFreePages() {
    std::string problem;
    for (std::uint32_t page : pages_.FreePages(problem))
      if (visited_.count(page) != 0)  // invariant 14
        Add("page " + std::to_string(page) + " is in use and among the free ones");
    if (!problem.empty()) Add(problem);
  }

  Table& table_;
  Tag& tag_;
  IndexPages& pages_;
  std::vector<std::string>& problems_;
  std::size_t limit_;
  std::vector<std::uint8_t> seen_;  // by record
  std::set<std::uint32_t> visited_;
  std::vector<std::byte> before_;
  std::vector<std::byte> made_;
  std::uint64_t entries_ = 0;
  std::size_t leaf_depth_ = kNoPage;
  std::uint32_t last_leaf_ = kNoPage;
  std::uint32_t last_right_ = kNoPage;
};

}  // namespace

void InspectIndexes(Table& table, std::vector<std::string>& problems) {
  if (!table.indexes().why_not().empty())
    problems.push_back("table file '" + table.path() + "': " + table.indexes().why_not());
  for (const std::unique_ptr<Tag>& tag : table.indexes().tags())
    if (tag->usable()) TagInspection(table, *tag, problems).Run();
}

}  // namespace kelvorin::database::xbase
