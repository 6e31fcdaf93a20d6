#pragma once
// Memos and long binaries: 12 bytes in the row that hold the value itself, name one row of a
// long-value page, or begin a chain of such rows.

#include <string>

#include "database/access/table_definition.h"
#include "database/access/usage_map.h"

namespace kelvorin::database::access {

inline constexpr std::size_t kLongValueHead = 12;

/// Appends a value's contents piece by piece to `out`, `limit` bytes at most. `stored` is what
/// stands in the row. `kCorrupt` for a chain that ends early, runs in a circle or leaves the file.
void ReadLongValue(PageChannel& channel, base::ByteSpan stored, std::string& out,
                   std::size_t limit = static_cast<std::size_t>(-1));
/// Length in bytes as the head tells it; 0 for a damaged head.
std::uint32_t LongValueLength(base::ByteSpan stored) noexcept;
/// Whether the contents stand in the row itself.
bool IsInline(base::ByteSpan stored) noexcept;

/// Calls `visit(RowId)` for each row outside the table's own that holds a part of a value.
/// `kCorrupt` as above.
template <typename Visit>
void ForEachLongRow(PageChannel& channel, base::ByteSpan stored, Visit visit);

/// The form that holds `contents` in the row itself, into `out`.
void InlineLongValue(std::string_view contents, std::string& out);
/// Stores contents on pages of the column and gives what stands in the row. Inside a bracket.
std::string StoreLongValue(PageChannel& channel, PageAllocator& allocator, const Column& column,
                           std::string_view contents);
/// Gives up the rows of a value. Pages that no column lists are left alone. Inside a bracket.
void FreeLongValue(PageChannel& channel, PageAllocator& allocator, const Column& column,
                   base::ByteSpan stored);

/// One step of a chain: the row's data and the next row.
struct LongRow {
  RowId id;
  RowId next;
};
/// The first row of a value outside the row, or nowhere.
RowId FirstLongRow(base::ByteSpan stored) noexcept;
/// Appends at most `left` bytes of a row's data to `out` (unless null) and tells the next row.
RowId ReadLongRow(PageChannel& channel, RowId id, bool chained, std::size_t left, std::string* out);
bool IsChained(base::ByteSpan stored) noexcept;

template <typename Visit>
void ForEachLongRow(PageChannel& channel, base::ByteSpan stored, Visit visit) {
  if (stored.size() < kLongValueHead || IsInline(stored)) return;
  const bool chained = IsChained(stored);
  std::uint64_t steps = 0;
  for (RowId at = FirstLongRow(stored); at;) {
    if (++steps > std::uint64_t{channel.page_count()} * 255)
      channel.Corrupt(at.page(), "a long value runs in a circle");
    const RowId next = ReadLongRow(channel, at, chained, 0, nullptr);
    visit(at);
    at = next;
  }
}

}  // namespace kelvorin::database::access
