#include "database/paradox/secondary_index.h"

#include "database/errors.h"
#include "database/paradox/field_codec.h"

#include <algorithm>
#include <charconv>

namespace kelvorin::database::paradox {
namespace {

Header HeaderOf(storage::Store& store, storage::FileNo file) {
  return BlockFile(store, file).header();
}

/// Number of the field that an old index's name tells ("X06").
std::uint16_t FieldOfExtension(std::string_view extension) noexcept {
  unsigned number = 0;
  const char* const end = extension.data() + extension.size();
  const auto read = std::from_chars(extension.data() + 1, end, number, 16);
  return read.ec == std::errc() && read.ptr == end ? static_cast<std::uint16_t>(number)
                                                   : std::uint16_t{0};
}

}  // namespace

SecondaryIndex::SecondaryIndex(storage::Store& store, storage::FileNo file,
                               std::string_view extension, const Header& table,
                               const std::array<std::uint8_t, 256>& capitals)
    : capitals_(&capitals) {
  const Header own = HeaderOf(store, file);
  const std::string& path = store.Path(file);
  const auto refuse = [&](const std::string& why) {
    Throw(Code::kCorrupt, ErrorNumber::kCorrupt, "index file '" + path + "' " + why);
  };
  const std::size_t primary = table.key_fields, all = own.columns.size();
  if (primary == 0 || all < primary + 2 || own.columns.back().kind != FieldKind::kShort)
    refuse("has " + std::to_string(all) + " fields, which is not one of a table with " +
           std::to_string(primary) + " key fields");
  const std::size_t indexed = all - 1 - primary;
  std::vector<bool> descending;
  std::vector<std::uint16_t> numbers = own.numbers;
  if (numbers.size() < indexed) numbers = {FieldOfExtension(extension)};
  if (numbers.size() < indexed) refuse("does not say which fields it is about");
  const bool ignore_case = (own.flags & kFlagIgnoreCase) != 0;
  for (std::size_t i = 0; i < indexed; ++i) {
    const auto number = static_cast<std::uint16_t>(numbers[i] & ~kDescendingBit);
    descending.push_back((numbers[i] & kDescendingBit) != 0);
    std::size_t at = 0;
    while (at < table.columns.size() && table.columns[at].number != number) ++at;
    if (at == table.columns.size())
      refuse("is about field " + std::to_string(number) + ", which its table does not have");
    const Column& column = table.columns[at];
    if (column.kind != own.columns[i].kind || column.bytes != own.columns[i].bytes)
      refuse("has another type than its table for field '" + column.name + "'");
    const bool text = column.kind == FieldKind::kAlpha;
    fields_.push_back(at);
    parts_.push_back({column.offset, column.bytes, text && ignore_case});
    has_text_ = has_text_ || text;
    def_.Columns.push_back({column.name, descending.back()});
    indexed_bytes_ += column.bytes;
  }
  for (std::size_t i = 0; i < primary; ++i) {
    const Column& column = table.columns[i];
    if (column.kind != own.columns[indexed + i].kind ||
        column.bytes != own.columns[indexed + i].bytes)
      refuse("holds another primary key than its table's");
    has_text_ = has_text_ || column.kind == FieldKind::kAlpha;
    primary_bytes_ += column.bytes;
  }
  parts_.push_back({0, static_cast<std::uint16_t>(primary_bytes_), false});
  def_.Unique = (own.flags & kFlagUnique) != 0;
  def_.Name = !own.label.empty() ? own.label : table.columns[fields_.front()].name;
  file_ = std::make_unique<RecordFile>(store, file, all - 1, descending);
}

void SecondaryIndex::MakeKey(base::ByteSpan row, std::size_t count,
                             std::vector<std::byte>& out) const {
  out.clear();
  for (std::size_t i = 0; i < count; ++i) {
    const Part& part = parts_[i];
    const base::ByteSpan bytes = row.subspan(part.offset, part.bytes);
    const std::size_t from = out.size();
    out.insert(out.end(), bytes.begin(), bytes.end());
    if (!part.capitals) continue;
    for (std::size_t j = from; j < out.size(); ++j)
      out[j] = static_cast<std::byte>((*capitals_)[std::to_integer<std::size_t>(out[j])]);
  }
}

void SecondaryIndex::MakeEntry(base::ByteSpan row, BlockNo block,
                               std::vector<std::byte>& out) const {
  MakeKey(row, parts_.size(), out);
  out.resize(out.size() + kHintBytes);
  StoreFlipped16(out, out.size() - kHintBytes, static_cast<std::int16_t>(block));
}

BlockNo SecondaryIndex::HintOf(base::ByteSpan entry) const noexcept {
  return static_cast<BlockNo>(base::LoadBE16(entry, entry.size() - kHintBytes) ^ 0x8000u);
}

void SecondaryIndex::SetHint(Place at, BlockNo block) {
  std::array<std::byte, kHintBytes> hint{};
  StoreFlipped16(hint, 0, static_cast<std::int16_t>(block));
  file_->blocks().Overwrite(at, file_->blocks().record_bytes() - kHintBytes, hint);
}

}  // namespace kelvorin::database::paradox
