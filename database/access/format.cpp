#include "database/access/format.h"

#include <array>
#include <numeric>
#include <utility>

namespace kelvorin::database::access {
namespace {

constexpr Layout kJet3{
    .page_bytes = 2048,
    .max_pages = 1u << 19,
    .masked_bytes = 126,
    .password_bytes = 20,
    .commit_slots_at = 0x600,
    .slot_count_at = 8,
    .slots_at = 10,
    .max_row_bytes = 2012,
    .inline_bytes = 32,
    .long_row_bytes = 2036,
    .map_row_bytes = 133,
    .index_previous_at = 8,
    .prefix_at = 20,
    .level_at = 21,
    .bitmap_at = 22,
    .entries_at = 0xF8,
    .rows_at = 12,
    .kind_at = 20,
    .columns_ever_at = 21,
    .fixed_part_bytes = 43,
    .index_count_bytes = 8,
    .column_bytes = 18,
    .physical_bytes = 39,
    .logical_bytes = 20,
    .row_number_bytes = 1,
    .wide = false,
};

constexpr Layout kJet4{
    .page_bytes = 4096,
    .max_pages = 1u << 19,
    .masked_bytes = 128,
    .password_bytes = 40,
    .commit_slots_at = 0xE00,
    .slot_count_at = 12,
    .slots_at = 14,
    .max_row_bytes = 4060,
    .inline_bytes = 64,
    .long_row_bytes = 4076,
    .map_row_bytes = 69,
    .index_previous_at = 12,
    .prefix_at = 24,
    .level_at = 26,
    .bitmap_at = 27,
    .entries_at = 0x1E0,
    .rows_at = 16,
    .kind_at = 40,
    .columns_ever_at = 41,
    .fixed_part_bytes = 63,
    .index_count_bytes = 12,
    .column_bytes = 25,
    .physical_bytes = 52,
    .logical_bytes = 28,
    .row_number_bytes = 2,
    .wide = true,
};

}  // namespace

const Layout& LayoutOf(Version version) noexcept {
  return version == Version::kJet3 ? kJet3 : kJet4;
}

void Cipher(std::uint32_t key, base::MutableByteSpan bytes) noexcept {
  std::array<std::uint8_t, 256> state{};
  std::iota(state.begin(), state.end(), std::uint8_t{0});
  std::uint8_t j = 0;
  for (unsigned i = 0; i < 256; ++i) {
    j = static_cast<std::uint8_t>(j + state[i] + (key >> (8 * (i % 4)) & 0xFF));
    std::swap(state[i], state[j]);
  }
  std::uint8_t i = j = 0;
  for (std::byte& byte : bytes) {
    i = static_cast<std::uint8_t>(i + 1);
    j = static_cast<std::uint8_t>(j + state[i]);
    std::swap(state[i], state[j]);
    byte ^= std::byte{state[static_cast<std::uint8_t>(state[i] + state[j])]};
  }
}

std::uint16_t StorageBytes(ColumnType type) noexcept {
  switch (type) {
    case ColumnType::kBoolean:
    case ColumnType::kByte:
      return 1;
    case ColumnType::kInteger:
      return 2;
    case ColumnType::kLong:
    case ColumnType::kSingle:
    case ColumnType::kComplex:
      return 4;
    case ColumnType::kCurrency:
    case ColumnType::kDouble:
    case ColumnType::kDate:
    case ColumnType::kBigInt:
      return 8;
    case ColumnType::kGuid:
      return 16;
    case ColumnType::kDecimal:
      return 17;
    case ColumnType::kExtendedDate:
      return 42;
    case ColumnType::kBinary:
    case ColumnType::kText:
    case ColumnType::kOle:
    case ColumnType::kMemo:
    case ColumnType::kRaw:
      return 0;
  }
  return 0;
}

}  // namespace kelvorin::database::access
