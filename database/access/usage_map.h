#pragma once
// Sets of page numbers as the file keeps them (which pages a table, a long-value column or an index
// owns, where there is room), and the giving out and taking back of pages by the global set of free
// ones. Nothing is remembered but hints that a look at the map confirms.

#include <cstdint>

#include "database/access/page_channel.h"

namespace kelvorin::database::access {

class PageAllocator;

/// One set, stored as a row. Cheap to make.
class UsageMap {
 public:
  UsageMap(PageChannel& channel, RowId row) noexcept : channel_(&channel), row_(row) {}

  RowId row() const noexcept { return row_; }
  bool Contains(std::uint32_t page) const;
  /// Smallest member that is at least `from`, or kNoPage.
  std::uint32_t Next(std::uint32_t from) const;
  /// Largest member below `end`, or kNoPage.
  std::uint32_t Previous(std::uint32_t end) const;
  /// Adds a page; the set may need pages of its own for that.
  void Add(std::uint32_t page, PageAllocator& allocator);
  /// Harmless when it is no member.
  void Remove(std::uint32_t page);
  /// Calls `visit(page number)` for the pages that hold the set's bits outside its row.
  template <typename Visit>
  void ForEachMapPage(Visit visit) const {
    for (std::uint32_t i = 0; i < ReferenceCount(); ++i)
      if (const std::uint32_t page = Reference(i); page != 0) visit(page);
  }

  /// Bytes of a new, empty set; `first_page` is where its bits begin.
  static std::vector<std::byte> EmptyRow(const Layout& layout, std::uint32_t first_page = 0);

 private:
  friend class PageAllocator;
  /// Bits and what they stand for: a stretch of a row or of a bitmap page.
  struct Bits {
    Page page;
    std::uint32_t at = 0;     // of the first byte in its page
    std::uint32_t bytes = 0;  // length
    std::uint32_t first = 0;  // page number of bit 0
  };
  std::uint32_t ReferenceCount() const;  // 0 for an inline set
  std::uint32_t Reference(std::uint32_t index) const;
  void SetReference(std::uint32_t index, std::uint32_t page);
  Bits Inline() const;
  Bits MapPage(std::uint32_t number, std::uint32_t index) const;
  /// The stretch that has a bit for `page`; its `bytes` is 0 when there is none.
  Bits Find(std::uint32_t page) const;
  static bool Test(const Bits& bits, std::uint32_t page) noexcept;
  static void Set(Bits& bits, std::uint32_t page, bool on);
  void ShiftOrConvert(Bits& bits, std::uint32_t page, PageAllocator& allocator);

  PageChannel* channel_;
  RowId row_;
};

/// Gives out pages and takes them back.
class PageAllocator {
 public:
  explicit PageAllocator(PageChannel& channel) noexcept
      : channel_(channel), free_(channel, RowId::Of(kGlobalMapPage, 0)) {}

  /// A page for the caller to fill; its bytes are undefined. Inside a bracket.
  Page Allocate();
  void Free(std::uint32_t page, std::uint8_t type);
  bool IsFree(std::uint32_t page) const;
  const UsageMap& free_map() const noexcept { return free_; }

 private:
  void MarkUsed(std::uint32_t page);
  Page AppendBitmap(std::uint32_t index);

  PageChannel& channel_;
  UsageMap free_;
  std::uint32_t lowest_free_ = 0;  // no free page lies below it
  std::uint64_t undone_ = 0;       // state of the channel for which this is true
};

}  // namespace kelvorin::database::access
