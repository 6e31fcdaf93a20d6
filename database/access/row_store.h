#pragma once
// The rows of one table on its data pages: walking them in storage order, reading, placing,
// changing and removing them. A row keeps its identity (page and slot) for life, also when a larger
// form of it moves to another page. Knows no columns and no indexes.

#include <cstdint>

#include "database/access/data_page.h"
#include "database/access/row.h"
#include "database/access/usage_map.h"

namespace kelvorin::database::access {

class RowStore {
 public:
  RowStore(PageChannel& channel, PageAllocator& allocator, const TableDefinition& table) noexcept
      : channel_(channel),
        allocator_(allocator),
        table_(table),
        owned_(channel, table.owned_map),
        free_(channel, table.free_map) {}

  /// The first row behind `at` in storage order (nowhere: the first of all), or nowhere.
  RowId Next(RowId at) const;
  /// The last row before `at` (nowhere: the last of all), or nowhere.
  RowId Previous(RowId at) const;
  /// False when the row is gone. `kCorrupt` when its bytes make no sense.
  bool Read(RowId at, RowImage& out) const;

  // --- Inside a bracket.
  RowId Insert(base::ByteSpan row) { return Place(row, 0); }
  void Replace(RowId at, base::ByteSpan row);
  void Delete(RowId at);

  /// Rows of the table as its definition counts them.
  std::uint32_t Count() const;
  void AddToCount(std::int32_t difference);

 private:
  Page PinData(std::uint32_t number) const;
  RowId Place(base::ByteSpan row, std::uint16_t flags);
  bool TryPage(std::uint32_t number, base::ByteSpan row, std::uint16_t flags, RowId& out);
  void NoteRoom(std::uint32_t number, std::uint32_t free_bytes);
  RowId Target(RowId at, const Slot& slot, const Page& page) const;

  PageChannel& channel_;
  PageAllocator& allocator_;
  const TableDefinition& table_;
  UsageMap owned_;
  UsageMap free_;
  // Where the last row went, which is the first page to try; void when a bracket was undone.
  std::uint32_t hint_ = kNoPage;
  std::uint64_t hint_undone_ = 0;
};

}  // namespace kelvorin::database::access
