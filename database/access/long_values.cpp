#include "database/access/long_values.h"

#include <algorithm>

#include "database/access/data_page.h"

namespace kelvorin::database::access {
namespace {

constexpr std::uint32_t kLengthMask = 0x3FFFFFFF;
constexpr std::uint32_t kInlineKind = 2;
constexpr std::uint32_t kSingleKind = 1;
constexpr std::size_t kNextBytes = 4;
// A page that could take less than this is not worth another try.
constexpr std::uint32_t kWorthTrying = 64;

std::uint32_t KindOf(base::ByteSpan stored) noexcept {
  return base::LoadLE32(stored, 0) >> 30;
}

std::string Head(std::uint32_t length, std::uint32_t kind, RowId at) {
  std::string head(kLongValueHead, '\0');
  const base::MutableByteSpan bytes = std::as_writable_bytes(std::span(head));
  base::StoreLE32(bytes, 0, length | kind << 30);
  base::StoreLE32(bytes, 4, at.value);
  return head;
}

/// Writes one row onto a page of the column, an existing one where it fits.
RowId PlaceRow(PageChannel& channel, PageAllocator& allocator, const Column& column,
               base::ByteSpan row) {
  UsageMap owned(channel, column.owned_map);
  std::optional<UsageMap> free;
  if (column.free_map) free.emplace(channel, column.free_map);
  const bool full_page = row.size() + kWorthTrying > channel.layout().long_row_bytes;
  for (int tries = 0; free && !full_page && tries < 4; ++tries) {
    const std::uint32_t number = free->Previous(channel.page_count());
    if (number == kNoPage) break;
    Page page = channel.Pin(number, kDataPage);
    DataPage data(channel, page);
    if (base::LoadBE32(page.bytes(), kOwnerAt) == kLongValueOwner &&
        data.Fits(static_cast<std::uint32_t>(row.size()))) {
      const RowId id = RowId::Of(number, data.Insert(row, 0));
      if (data.free_bytes() < kWorthTrying) free->Remove(number);
      return id;
    }
    free->Remove(number);
  }
  Page page = allocator.Allocate();
  const std::uint32_t number = page.number();
  DataPage::Format(channel.layout(), page, kLongValueOwner);
  DataPage data(channel, page);
  const RowId id = RowId::Of(number, data.Insert(row, 0));
  const bool room = data.free_bytes() >= kWorthTrying;
  owned.Add(number, allocator);
  if (free && room) free->Add(number, allocator);
  return id;
}

}  // namespace

std::uint32_t LongValueLength(base::ByteSpan stored) noexcept {
  return stored.size() < kLongValueHead ? 0 : base::LoadLE32(stored, 0) & kLengthMask;
}

bool IsInline(base::ByteSpan stored) noexcept {
  return stored.size() < kLongValueHead || (KindOf(stored) & kInlineKind) != 0;
}

bool IsChained(base::ByteSpan stored) noexcept {
  return stored.size() >= kLongValueHead && KindOf(stored) == 0;
}

RowId FirstLongRow(base::ByteSpan stored) noexcept {
  return IsInline(stored) ? RowId{} : RowId{base::LoadLE32(stored, 4)};
}

RowId ReadLongRow(PageChannel& channel, RowId id, bool chained, std::size_t left,
                  std::string* out) {
  Page page = channel.Pin(id.page(), kDataPage);
  const Slot slot = FindSlot(channel, page, id);
  if (slot.deleted())
    channel.Corrupt(id.page(), "row " + std::to_string(id.slot()) + " of a long value is deleted");
  base::ByteSpan data = page.bytes().subspan(slot.start, slot.size);
  RowId next;
  if (chained) {
    if (data.size() < kNextBytes)
      channel.Corrupt(id.page(),
                      "row " + std::to_string(id.slot()) + " of a long value is too short");
    next.value = base::LoadLE32(data, 0);
    data = data.subspan(kNextBytes);
    if (data.empty() && next)
      channel.Corrupt(id.page(), "row " + std::to_string(id.slot()) + " of a long value is empty");
  }
  if (out != nullptr) out->append(base::AsText(data.first(std::min(left, data.size()))));
  return next;
}

void ReadLongValue(PageChannel& channel, base::ByteSpan stored, std::string& out,
                   std::size_t limit) {
  if (stored.size() < kLongValueHead) return;
  const std::size_t length = std::min<std::size_t>(LongValueLength(stored), limit);
  const std::size_t end = out.size() + length;
  if (IsInline(stored)) {
    const base::ByteSpan data = stored.subspan(kLongValueHead);
    out.append(base::AsText(data.first(std::min(length, data.size()))));
    return;
  }
  const bool chained = IsChained(stored);
  RowId at = FirstLongRow(stored);
  // A row gives at least one byte, so that the value's length bounds the steps; what a damaged
  // chain can bring together is bounded by the file.
  const std::uint64_t most = channel.store().Size(storage::kMainFile);
  while (out.size() < end) {
    if (!at)
      channel.Corrupt(0, "a long value of " + std::to_string(LongValueLength(stored)) +
                             " bytes ends " + std::to_string(end - out.size()) + " bytes early");
    if (out.size() > most) channel.Corrupt(at.page(), "a long value runs in a circle");
    const RowId from = at;
    const std::size_t before = out.size();
    at = ReadLongRow(channel, at, chained, end - out.size(), &out);
    if (!chained && out.size() < end)
      channel.Corrupt(from.page(), "a long value of " + std::to_string(LongValueLength(stored)) +
                                       " bytes has only " + std::to_string(out.size() - before));
  }
}

void InlineLongValue(std::string_view contents, std::string& out) {
  out = Head(static_cast<std::uint32_t>(contents.size()), kInlineKind, RowId{});
  out.append(contents);
}

std::string StoreLongValue(PageChannel& channel, PageAllocator& allocator, const Column& column,
                           std::string_view contents) {
  const std::size_t largest = channel.layout().long_row_bytes;
  const auto length = static_cast<std::uint32_t>(contents.size());
  if (contents.size() <= largest)
    return Head(length, kSingleKind, PlaceRow(channel, allocator, column, base::AsBytes(contents)));
  // From the end, so that each link knows the next one's place; the full links come first.
  const std::size_t link = largest - kNextBytes;
  const std::size_t links = (contents.size() + link - 1) / link;
  RowId next;
  std::string row;
  for (std::size_t i = links; i-- > 0;) {
    row.assign(kNextBytes, '\0');
    base::StoreLE32(std::as_writable_bytes(std::span(row)), 0, next.value);
    row.append(contents.substr(i * link, link));
    next = PlaceRow(channel, allocator, column, base::AsBytes(row));
  }
  return Head(length, 0, next);
}

void FreeLongValue(PageChannel& channel, PageAllocator& allocator, const Column& column,
                   base::ByteSpan stored) {
  if (!column.owned_map) return;
  UsageMap owned(channel, column.owned_map);
  ForEachLongRow(channel, stored, [&](RowId id) {
    if (!owned.Contains(id.page())) return;
    bool empty = false;
    {
      Page page = channel.Pin(id.page(), kDataPage);
      DataPage data(channel, page);
      data.Delete(id.slot());
      empty = data.Empty();
    }
    if (empty) {
      owned.Remove(id.page());
      if (column.free_map) UsageMap(channel, column.free_map).Remove(id.page());
      allocator.Free(id.page(), kFreedData);
    } else if (column.free_map) {
      UsageMap(channel, column.free_map).Add(id.page(), allocator);
    }
  });
}

}  // namespace kelvorin::database::access
