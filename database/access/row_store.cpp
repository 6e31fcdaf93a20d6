#include "database/access/row_store.h"

#include <algorithm>

namespace kelvorin::database::access {
namespace {
constexpr int kPagesToTry = 8;
constexpr int kMaxHops = 4;  // of a moved row; one is all that other programs make
constexpr std::uint32_t kWorthTrying = 32;
}  // namespace

Page RowStore::PinData(std::uint32_t number) const {
  Page page = channel_.Pin(number, kDataPage);
  if (base::LoadLE32(page.bytes(), kOwnerAt) != table_.page())
    channel_.Corrupt(number, "is listed by the table on page " + std::to_string(table_.page()) +
                                 " but belongs to " +
                                 std::to_string(base::LoadLE32(page.bytes(), kOwnerAt)));
  return page;
}

RowId RowStore::Next(RowId at) const {
  std::uint32_t number = at ? at.page() : owned_.Next(0);
  std::uint32_t slot = at ? at.slot() + 1 : 0;
  while (number != kNoPage) {
    Page page = PinData(number);
    const DataPage data(channel_, page);
    for (; slot < data.slot_count(); ++slot)
      if (data.At(slot).visible()) return RowId::Of(number, slot);
    page = Page();
    number = owned_.Next(number + 1);
    slot = 0;
  }
  return {};
}

RowId RowStore::Previous(RowId at) const {
  std::uint32_t number = at ? at.page() : owned_.Previous(kNoPage);
  bool whole = !at;
  while (number != kNoPage) {
    Page page = PinData(number);
    const DataPage data(channel_, page);
    for (std::uint32_t slot = whole ? data.slot_count() : std::min(at.slot(), data.slot_count());
         slot-- > 0;)
      if (data.At(slot).visible()) return RowId::Of(number, slot);
    page = Page();
    number = owned_.Previous(number);
    whole = true;
  }
  return {};
}

RowId RowStore::Target(RowId at, const Slot& slot, const Page& page) const {
  if (slot.size < 4)
    channel_.Corrupt(at.page(),
                     "moved row " + std::to_string(at.slot()) + " does not tell where to");
  return {base::LoadLE32(page.bytes(), slot.start)};
}

bool RowStore::Read(RowId at, RowImage& out) const {
  if (at.page() >= channel_.page_count()) return false;
  Page page = channel_.Pin(at.page());
  if (page.type() != kDataPage || base::LoadLE32(page.bytes(), kOwnerAt) != table_.page())
    return false;
  Slot slot;
  {
    const DataPage data(channel_, page);
    if (at.slot() >= data.slot_count()) return false;
    slot = data.At(at.slot());
  }
  if (!slot.visible()) return false;
  for (int hops = 0; (slot.flags & kSlotMoved) != 0; ++hops) {
    if (hops == kMaxHops)
      channel_.Corrupt(at.page(), "moved row " + std::to_string(at.slot()) + " moves on and on");
    const RowId target = Target(at, slot, page);
    page = PinData(target.page());
    slot = FindSlot(channel_, page, target);
    if ((slot.flags & kSlotHidden) == 0 || slot.deleted())
      channel_.Corrupt(target.page(), "row " + std::to_string(target.slot()) +
                                          " is pointed to but is no moved row");
  }
  const std::string_view fault =
      out.Assign(channel_.layout(), table_, page.bytes().subspan(slot.start, slot.size));
  if (!fault.empty()) channel_.Corrupt(page.number(), fault);
  return true;
}

// --- Writing

bool RowStore::TryPage(std::uint32_t number, base::ByteSpan row, std::uint16_t flags, RowId& out) {
  if (number >= channel_.page_count()) return false;
  Page page = channel_.Pin(number);
  if (page.type() != kDataPage || base::LoadLE32(page.bytes(), kOwnerAt) != table_.page())
    return false;
  DataPage data(channel_, page);
  if (!data.Fits(static_cast<std::uint32_t>(row.size()))) return false;
  out = RowId::Of(number, data.Insert(row, flags));
  return true;
}

RowId RowStore::Place(base::ByteSpan row, std::uint16_t flags) {
  RowId id;
  if (hint_undone_ != channel_.undone()) {
    hint_ = kNoPage;
    hint_undone_ = channel_.undone();
  }
  if (hint_ == kNoPage) hint_ = owned_.Previous(kNoPage);
  if (hint_ != kNoPage) {
    if (TryPage(hint_, row, flags, id)) return id;
    free_.Remove(hint_);
  }
  for (int tries = 0; tries < kPagesToTry; ++tries) {
    const std::uint32_t number = free_.Previous(channel_.page_count());
    if (number == kNoPage) break;
    if (TryPage(number, row, flags, id)) {
      hint_ = number;
      return id;
    }
    free_.Remove(number);
  }
  Page page = allocator_.Allocate();
  DataPage::Format(channel_.layout(), page, table_.page());
  const std::uint32_t number = page.number();
  id = RowId::Of(number, DataPage(channel_, page).Insert(row, flags));
  page = Page();
  owned_.Add(number, allocator_);
  free_.Add(number, allocator_);
  hint_ = number;
  return id;
}

void RowStore::NoteRoom(std::uint32_t number, std::uint32_t free_bytes) {
  if (free_bytes >= kWorthTrying) free_.Add(number, allocator_);
}

void RowStore::Replace(RowId at, base::ByteSpan row) {
  const auto size = static_cast<std::uint32_t>(row.size());
  RowId target;
  bool home = false;
  {
    Page page = PinData(at.page());
    DataPage data(channel_, page);
    const Slot slot = FindSlot(channel_, page, at);
    if ((slot.flags & kSlotMoved) != 0) target = Target(at, slot, page);
    if (size <= slot.size + data.free_bytes() && (!target || size <= 64)) {
      // A small row comes home; others stay where they are.
      data.Replace(at.slot(), row, 0);
      const std::uint32_t room = data.free_bytes();
      page = Page();
      NoteRoom(at.page(), room);
      if (!target) return;
      home = true;
    } else if (target) {
      Page other = PinData(target.page());
      DataPage there(channel_, other);
      const Slot moved = FindSlot(channel_, other, target);
      if (size <= moved.size + there.free_bytes()) {
        there.Replace(target.slot(), row, kSlotHidden);
        const std::uint32_t room = there.free_bytes();
        other = Page();
        NoteRoom(target.page(), room);
        return;
      }
    } else if (slot.size + data.free_bytes() < 4) {
      Throw(Code::kNoSpace, ErrorNumber::kDiskFull,
            "'" + channel_.path() + "' page " + std::to_string(at.page()) + ": a row of " +
                std::to_string(slot.size) + " bytes cannot move");
    }
  }
  if (!home) {
    std::byte pointer[4];
    base::StoreLE32(pointer, 0, Place(row, kSlotHidden).value);
    Page page = PinData(at.page());
    DataPage data(channel_, page);
    data.Replace(at.slot(), pointer, kSlotMoved);
  }
  if (target) {
    Page other = PinData(target.page());
    DataPage there(channel_, other);
    there.Delete(target.slot());
    const std::uint32_t room = there.free_bytes();
    other = Page();
    NoteRoom(target.page(), room);
  }
}

void RowStore::Delete(RowId at) {
  RowId target;
  std::uint32_t room = 0;
  {
    Page page = PinData(at.page());
    const Slot slot = FindSlot(channel_, page, at);
    if ((slot.flags & kSlotMoved) != 0) target = Target(at, slot, page);
    DataPage data(channel_, page);
    data.Delete(at.slot());
    room = data.free_bytes();
  }
  NoteRoom(at.page(), room);
  if (!target) return;
  {
    Page page = PinData(target.page());
    FindSlot(channel_, page, target);
    DataPage data(channel_, page);
    data.Delete(target.slot());
    room = data.free_bytes();
  }
  NoteRoom(target.page(), room);
}

std::uint32_t RowStore::Count() const {
  return base::LoadLE32(channel_.Pin(table_.page(), kDefinitionPage).bytes(),
                        channel_.layout().rows_at);
}

void RowStore::AddToCount(std::int32_t difference) {
  Page page = channel_.Pin(table_.page(), kDefinitionPage);
  const std::size_t at = channel_.layout().rows_at;
  const auto count = static_cast<std::int64_t>(base::LoadLE32(page.bytes(), at)) + difference;
  base::StoreLE32(page.Change(at, 4), at,
                  static_cast<std::uint32_t>(std::max<std::int64_t>(count, 0)));
}

}  // namespace kelvorin::database::access
