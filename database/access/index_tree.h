#pragma once
// The tree of one index: finding, walking, entering and removing entries. Entries are whole here
// (key and row position); what the key's bytes mean is known to sort_keys.h alone.
//
// Invariants: (1) the root keeps its page; (2) entries ascend over all leaves, which are linked in
// that order; (3) an entry of a node is the last entry below its child, or greater; (4) the
// right-most child of a node is its tail; (5) every page of the tree is in the index's page set.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "database/access/index_page.h"
#include "database/access/table_definition.h"
#include "database/access/usage_map.h"

namespace kelvorin::database::access {

/// The row that an entry names, and the entry of a row.
RowId RowOf(std::string_view entry) noexcept;
void AppendPosition(RowId row, std::string& key);

class IndexTree {
 public:
  IndexTree(PageChannel& channel, PageAllocator& allocator, const PhysicalIndex& index,
            std::uint32_t table) noexcept
      : channel_(channel), allocator_(allocator), index_(index), table_(table) {}

  /// The first entry that is not less than `from`, or greater when `behind`; false when there is
  /// none.
  bool FindFrom(std::string_view from, bool behind, std::string& out) const;
  /// The last entry that is less than `from`; false when there is none.
  bool FindBefore(std::string_view from, std::string& out) const;
  bool Last(std::string& out) const;
  /// Whether any entry has exactly this key; `row` becomes that of the first one. `found` is room
  /// for an entry.
  bool HasKey(std::string_view key, RowId& row, std::string& found) const;

  /// Enters an entry, inside a bracket. Returns whether its key is a new one, as far as the
  /// neighbours on its page tell.
  bool Insert(std::string_view entry);
  /// Removes an entry; `kCorrupt` when it is not there. Inside a bracket.
  void Remove(std::string_view entry);

  /// A place in the leaves for walking on quickly. Void as soon as anything changes.
  struct Place {
    Page page;
    std::uint32_t at = 0;
    std::uint64_t changes = 0;
  };
  /// Like `FindFrom`, and sets the place.
  bool Find(std::string_view from, bool behind, Place& place, std::string& out) const;
  /// The entry behind the place, which moves there; false at the end.
  bool Next(Place& place, std::string& out) const;

 private:
  static constexpr std::uint32_t kTail = 0xFFFFFFFF;
  /// One step down: the page and which child was taken (offset of its entry, or the tail).
  struct Step {
    std::uint32_t page = 0;
    std::uint32_t at = 0;
    bool beyond = false;  // the key lies behind the node's last entry, and there is no tail
  };
  static constexpr std::size_t kMaxDepth = 16;  // five levels hold more than a file can
  /// The steps from the root to a leaf.
  class Path {
   public:
    std::size_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    const Step& operator[](std::size_t i) const noexcept { return steps_[i]; }
    const Step& back() const noexcept { return steps_[size_ - 1]; }
    void Push(const Step& step) noexcept { steps_[size_++] = step; }
    void Pop() noexcept { --size_; }
    void PushFront(const Step& step) noexcept;

   private:
    std::array<Step, kMaxDepth + 1> steps_;  // one more for a root that is raised
    std::size_t size_ = 0;
  };
  /// The leaf for a key; `path` takes the steps unless it is null.
  Page Descend(std::string_view key, Path* path) const;
  std::uint32_t ChildAt(const IndexPage& node, std::uint32_t number, std::uint32_t at) const;
  /// An index page of this table; `searched` for a leaf that is going to be looked through.
  Page PinIndex(std::uint32_t number, bool searched = false) const;
  std::uint32_t NewPage(std::uint8_t type, std::uint8_t level);
  bool InsertAt(Path& path, Page page, std::string_view entry);
  void Split(Path& path, std::uint32_t page, const Entries& entries, std::size_t inserted);
  void RaiseRoot(Path& path, std::uint32_t& page);
  void ReplaceKey(const Path& path, std::size_t depth, std::string_view last);
  void RemoveChild(Path& path, std::uint32_t page);
  void GiveUp(std::uint32_t page);
  void Unlink(const IndexPage& page);

  PageChannel& channel_;
  PageAllocator& allocator_;
  const PhysicalIndex& index_;
  std::uint32_t table_;
};

}  // namespace kelvorin::database::access
