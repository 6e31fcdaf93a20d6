#include "database/access/table_pages.h"

#include <algorithm>

#include "database/access/data_page.h"
#include "database/access/index_page.h"

namespace kelvorin::database::access {

RowId MapRows::Add(std::uint32_t member) {
  const Layout& layout = channel_.layout();
  const std::vector<std::byte> row =
      UsageMap::EmptyRow(layout, member == kNoPage ? 0 : member & ~7u);
  Page page;
  if (page_ != kNoPage) {
    page = channel_.Pin(page_, kDataPage);
    if (!DataPage(channel_, page).Fits(layout.map_row_bytes)) page_ = kNoPage;
  }
  if (page_ == kNoPage) {
    page = allocator_.Allocate();
    DataPage::Format(layout, page, 0);
    page_ = page.number();
  }
  const RowId id = RowId::Of(page_, DataPage(channel_, page).Insert(row, 0));
  page = Page();
  if (member != kNoPage) UsageMap(channel_, id).Add(member, allocator_);
  return id;
}

void WriteDefinition(PageChannel& channel, PageAllocator& allocator,
                     std::vector<std::uint32_t>& chain, base::ByteSpan bytes) {
  constexpr std::size_t kHead = 8;  // of each page; the first page's counts among the bytes
  const Layout& layout = channel.layout();
  const std::size_t room = layout.page_bytes - kHead;
  bytes = bytes.subspan(kHead);
  const std::size_t pages = (bytes.size() + room - 1) / room;
  while (chain.size() < pages) chain.push_back(allocator.Allocate().number());
  for (std::size_t i = 0; i < pages; ++i) {
    const base::ByteSpan part = bytes.subspan(i * room, std::min(room, bytes.size() - i * room));
    Page page = channel.Pin(chain[i]);
    const base::MutableByteSpan out = page.Change(0, layout.page_bytes);
    std::fill(out.begin(), out.end(), std::byte{0});
    base::Store8(out, 0, kDefinitionPage);
    base::Store8(out, 1, 1);
    const std::size_t left = room - part.size();
    if (layout.wide) {
      base::StoreLE16(out, 2, static_cast<std::uint16_t>(left > kHead ? left - kHead : 0));
    } else {
      base::StoreBE16(out, 2, 0x5643);  // the letters VC
    }
    base::StoreLE32(out, 4, i + 1 < pages ? chain[i + 1] : 0);
    std::copy(part.begin(), part.end(), out.begin() + kHead);
  }
  for (; chain.size() > pages; chain.pop_back()) allocator.Free(chain.back(), kFreedDefinition);
}

std::uint32_t NewRoot(PageChannel& channel, PageAllocator& allocator, std::uint32_t table) {
  Page page = allocator.Allocate();
  IndexPage::Format(channel.layout(), page, kIndexLeaf, 0, table);
  return page.number();
}

void PlaceTable(PageChannel& channel, PageAllocator& allocator, TextCodec& text, int code_page,
                MapRows& maps, TableDefinition& table) {
  if (table.chain.empty()) table.chain.push_back(allocator.Allocate().number());
  table.owned_map = maps.Add();
  table.free_map = maps.Add();
  const auto add_indexes = [&] {
    for (PhysicalIndex& index : table.indexes) {
      index.root = NewRoot(channel, allocator, table.page());
      index.map = maps.Add(index.root);
    }
  };
  // The engines' own tables have the sets of their long values in front of those of their indexes.
  const bool system = table.kind == kSystemTable;
  if (!system) add_indexes();
  std::vector<Column*> in_order;
  for (Column& column : table.columns)
    if (IsLongValue(column.type)) in_order.push_back(&column);
  std::sort(in_order.begin(), in_order.end(),
            [](const Column* a, const Column* b) { return a->number < b->number; });
  for (Column* column : in_order) {
    column->owned_map = maps.Add();
    column->free_map = maps.Add();
  }
  if (system) add_indexes();
  WriteDefinition(channel, allocator, table.chain,
                  SerializeDefinition(channel.layout(), text, code_page, table));
}

namespace {

void FreeSet(PageChannel& channel, PageAllocator& allocator, RowId row, std::uint8_t type) {
  if (!row) return;
  const UsageMap map(channel, row);
  std::vector<std::uint32_t> pages;
  for (std::uint32_t page = map.Next(0); page != kNoPage; page = map.Next(page + 1))
    pages.push_back(page);
  for (std::uint32_t page : pages) allocator.Free(page, type);
  pages.clear();
  map.ForEachMapPage([&](std::uint32_t page) { pages.push_back(page); });
  for (std::uint32_t page : pages) allocator.Free(page, kMapPage);
}

void FreeMapRow(PageChannel& channel, PageAllocator& allocator, RowId row) {
  if (!row) return;
  bool empty = false;
  {
    Page page = channel.Pin(row.page(), kDataPage);
    FindSlot(channel, page, row);
    DataPage data(channel, page);
    data.Delete(row.slot());
    empty = data.Empty();
  }
  if (empty && row.page() != kGlobalMapPage) allocator.Free(row.page(), kFreedData);
}

}  // namespace

void FreeTable(PageChannel& channel, PageAllocator& allocator, const TableDefinition& table) {
  std::vector<RowId> maps{table.owned_map, table.free_map};
  FreeSet(channel, allocator, table.owned_map, kFreedData);
  for (const PhysicalIndex& index : table.indexes) {
    FreeSet(channel, allocator, index.map, kIndexLeaf);
    maps.push_back(index.map);
  }
  for (const Column& column : table.columns) {
    FreeSet(channel, allocator, column.owned_map, kFreedData);
    maps.push_back(column.owned_map);
    maps.push_back(column.free_map);
  }
  for (RowId map : maps) FreeMapRow(channel, allocator, map);
  for (std::uint32_t page : table.chain) allocator.Free(page, kFreedDefinition);
}

}  // namespace kelvorin::database::access
