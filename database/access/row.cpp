#include "database/access/row.h"

#include <algorithm>
#include <cstring>

namespace kelvorin::database::access {
namespace {
// A row must leave room for the pointer that takes its place when it moves; what is missing stands
// between its values and its trailer, where nobody looks.
constexpr std::size_t kMinRowBytes = 4;
}  // namespace

std::string_view RowImage::Assign(const Layout& layout, const TableDefinition& table,
                                  base::ByteSpan bytes) {
  constexpr std::string_view kShort = "a row is shorter than its own description";
  bytes_.assign(bytes.begin(), bytes.end());
  offsets_.clear();
  const std::size_t size = bytes_.size();
  fixed_from_ = layout.row_number_bytes;
  if (size < fixed_from_ + 1u) return kShort;
  columns_ = layout.wide ? base::LoadLE16(bytes_, 0) : base::Load8(bytes_, 0);
  const std::size_t mask = (columns_ + 7) / 8;
  if (columns_ > table.columns_ever) return "a row has more columns than its table ever had";
  if (size < mask + fixed_from_) return kShort;
  mask_at_ = size - mask;
  if (table.variable_ever == 0) return {};

  if (layout.wide) {
    if (mask_at_ < 6) return kShort;
    const std::size_t slots = base::LoadLE16(bytes_, mask_at_ - 2);
    if (slots > table.columns_ever || mask_at_ < 4 + 2 * slots + 2) return kShort;
    for (std::size_t i = 0; i <= slots; ++i)
      offsets_.push_back(base::LoadLE16(bytes_, mask_at_ - 4 - 2 * i));
  } else {
    // From the mask down: the number of slots, one jump entry for each full 256 bytes of the row
    // (the first slot beyond that many bytes), the low bytes of the offsets.
    const std::size_t count_at = mask_at_ - 1;
    const std::size_t slots = base::Load8(bytes_, count_at);
    const std::size_t jumps = (size - 1) / 256;
    if (slots > table.columns_ever || count_at < jumps + 1 + slots + 1) return kShort;
    for (std::size_t i = 0; i <= slots; ++i) {
      unsigned offset = base::Load8(bytes_, count_at - jumps - 1 - i);
      for (std::size_t k = 1; k <= jumps; ++k)
        if (base::Load8(bytes_, count_at - k) <= i) offset += 256;
      offsets_.push_back(static_cast<std::uint16_t>(offset));
    }
  }
  for (std::size_t i = 0; i < offsets_.size(); ++i)
    if (offsets_[i] > mask_at_ || (i > 0 && offsets_[i] < offsets_[i - 1]))
      return "the offsets of a row's columns lie outside it";
  return {};
}

std::optional<base::ByteSpan> RowImage::Get(const Column& column, bool& damaged) const noexcept {
  if (!Bit(column)) return std::nullopt;
  const base::ByteSpan bytes(bytes_);
  if (column.fixed()) {
    const std::size_t at = std::size_t{fixed_from_} + column.fixed_at;
    if (at + column.length > mask_at_) {
      damaged = true;
      return std::nullopt;
    }
    return bytes.subspan(at, column.length);
  }
  const std::size_t slot = column.variable_slot;
  if (slot + 1 >= offsets_.size()) return std::nullopt;
  return bytes.subspan(offsets_[slot], std::size_t{offsets_[slot + 1]} - offsets_[slot]);
}

std::size_t BuildRow(const Layout& layout, const TableDefinition& table,
                     const std::vector<ColumnValue>& values, std::vector<std::byte>& out) {
  std::size_t fixed_end = 0;
  std::size_t variable_bytes = 0;
  const std::size_t slots = table.variable_ever;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const Column& column = table.columns[i];
    if (column.is_bit()) continue;
    if (column.fixed()) {
      fixed_end = std::max<std::size_t>(fixed_end, std::size_t{column.fixed_at} + column.length);
    } else if (!values[i].null) {
      variable_bytes += values[i].bytes.size();
    }
  }
  const std::size_t unit = layout.row_number_bytes;
  const std::size_t mask = (std::size_t{table.columns_ever} + 7) / 8;
  const std::size_t data_end = unit + fixed_end + variable_bytes;
  std::size_t jumps = 0;
  std::size_t size = 0;
  for (;;) {
    size = data_end + mask + (slots == 0 ? 0 : unit * (slots + 2) + jumps);
    const std::size_t needed = layout.wide || slots == 0 ? 0 : (size - 1) / 256;
    if (needed <= jumps) break;
    jumps = needed;
  }
  size = std::max(size, kMinRowBytes);
  out.assign(size, std::byte{0});
  const base::MutableByteSpan row(out);
  if (layout.wide) {
    base::StoreLE16(row, 0, table.columns_ever);
  } else {
    base::Store8(row, 0, static_cast<std::uint8_t>(table.columns_ever));
  }
  const std::size_t mask_at = size - mask;

  // Variable values stand in slot order, which need not be the order of the columns.
  std::size_t at = unit + fixed_end;
  thread_local std::vector<std::size_t> column_of_slot;
  column_of_slot.assign(slots, values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    const Column& column = table.columns[i];
    const ColumnValue& value = values[i];
    const bool set = column.is_bit() ? !value.bytes.empty() && value.bytes[0] != 0 : !value.null;
    if (set)
      row[mask_at + column.number / 8u] |=
          std::byte{static_cast<std::uint8_t>(1u << (column.number % 8))};
    if (column.is_bit() || value.null) continue;
    if (column.fixed()) {
      const std::size_t count = std::min<std::size_t>(value.bytes.size(), column.length);
      std::memcpy(row.data() + unit + column.fixed_at, value.bytes.data(), count);
    } else {
      column_of_slot[column.variable_slot] = i;
    }
  }
  if (slots == 0) return size;
  const auto store_offset = [&](std::size_t slot, std::size_t offset) {
    if (layout.wide) {
      base::StoreLE16(row, mask_at - 4 - 2 * slot, static_cast<std::uint16_t>(offset));
    } else {
      base::Store8(row, mask_at - 1 - jumps - 1 - slot, static_cast<std::uint8_t>(offset));
      for (std::size_t k = 1; k <= jumps; ++k) {
        std::byte& entry = row[mask_at - 1 - k];
        if (offset >= 256 * k && entry == std::byte{0xFF}) entry = static_cast<std::byte>(slot);
      }
    }
  };
  if (!layout.wide)
    for (std::size_t k = 1; k <= jumps; ++k) row[mask_at - 1 - k] = std::byte{0xFF};
  for (std::size_t slot = 0; slot < slots; ++slot) {
    store_offset(slot, at);
    const std::size_t i = column_of_slot[slot];
    if (i == values.size() || values[i].bytes.empty()) continue;
    std::memcpy(row.data() + at, values[i].bytes.data(), values[i].bytes.size());
    at += values[i].bytes.size();
  }
  store_offset(slots, at);
  if (layout.wide) {
    base::StoreLE16(row, mask_at - 2, static_cast<std::uint16_t>(slots));
  } else {
    base::Store8(row, mask_at - 1, static_cast<std::uint8_t>(slots));
  }
  return size;
}

}  // namespace kelvorin::database::access
