#pragma once
// The tree of one index: finding, walking, entering and removing entries. Entries are whole here
// (key and row position); what the key's bytes mean is known to sort_keys.h alone.
//
// Invariants: (1) the root keeps its page; (2) entries ascend over all leaves, which are linked in
// that order; (3) an entry of a node is the last entry below its child, or greater; (4) the
// right-most child of a node is its tail; (5) every page of the tree is in the index's page set.

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
  bool First(std::string& out) const;
  bool Last(std::string& out) const;
  /// Whether any entry has exactly this key; `row` becomes that of the first one.
  bool HasKey(std::string_view key, RowId& row) const;

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
    std::uint32_t page;
    std::uint32_t at;
    bool beyond;  // the key lies behind the node's last entry, and there is no tail
  };
  std::uint32_t Descend(std::string_view key, std::vector<Step>* path) const;
  std::uint32_t ChildAt(const IndexPage& node, std::uint32_t number, std::uint32_t at) const;
  Page PinIndex(std::uint32_t number) const;
  std::uint32_t NewPage(std::uint8_t type, std::uint8_t level);
  bool InsertAt(std::vector<Step>& path, std::uint32_t page, std::string_view entry);
  void Split(std::vector<Step>& path, std::uint32_t page, std::vector<std::string>& entries,
             std::size_t inserted);
  void RaiseRoot(std::vector<Step>& path, std::uint32_t& page);
  void ReplaceKey(const std::vector<Step>& path, std::size_t depth, std::string_view last);
  void RemoveChild(std::vector<Step>& path, std::uint32_t page);
  void GiveUp(std::uint32_t page);
  void Unlink(const IndexPage& page);

  PageChannel& channel_;
  PageAllocator& allocator_;
  const PhysicalIndex& index_;
  std::uint32_t table_;
};

}  // namespace kelvorin::database::access
