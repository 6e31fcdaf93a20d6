#include "database/access/table_definition.h"

#include <algorithm>

#include "base/case_map.h"

namespace kelvorin::database::access {
namespace {

constexpr std::size_t kMaxChain = 256;  // pages; 255 columns and 32 indexes need far fewer
constexpr std::uint32_t kMaxIndexes = 256;
constexpr std::uint32_t kColumnMark = 0x659;
constexpr std::uint32_t kIndexMark = 0x783;
constexpr std::uint16_t kNoColumn = 0xFFFF;
constexpr std::uint16_t kGeneralLcid = 1033;

/// Walks a definition's lists.
class Reader {
 public:
  Reader(const Layout& layout, TextCodec& text, base::ByteSpan bytes)
      : layout_(layout), text_(text), in_(bytes) {}

  base::ByteReader& in() noexcept { return in_; }
  void Columns(std::uint32_t count, DefaultOrder order, TableDefinition& table);
  void Names(TableDefinition& table) {
    for (Column& column : table.columns) column.name = Name();
  }
  void Physical(TableDefinition& table);
  void Logical(std::uint32_t count, TableDefinition& table);
  void LongValueMaps(TableDefinition& table);

 private:
  std::string Name() {
    const std::size_t size = layout_.wide ? in_.LE16() : in_.U8();
    std::string name;
    text_.Decode(in_.Bytes(size), name);
    return name;
  }
  const Layout& layout_;
  TextCodec& text_;
  base::ByteReader in_;
};

void Reader::Columns(std::uint32_t count, DefaultOrder order, TableDefinition& table) {
  table.columns.resize(count);
  for (Column& column : table.columns) {
    const base::ByteSpan raw = in_.Bytes(layout_.column_bytes);
    if (raw.empty()) return;
    column.type = static_cast<ColumnType>(base::Load8(raw, 0));
    if (layout_.wide) {
      column.number = base::LoadLE16(raw, 5);
      column.variable_slot = base::LoadLE16(raw, 7);
      column.ordinal = base::LoadLE16(raw, 9);
      column.lcid = base::LoadLE16(raw, 11);
      column.sort_version = base::Load8(raw, 14);
      column.flags = base::Load8(raw, 15);
      column.extended_flags = base::Load8(raw, 16);
      column.fixed_at = base::LoadLE16(raw, 21);
      column.length = base::LoadLE16(raw, 23);
      if (column.type == ColumnType::kDecimal) {
        column.precision = base::Load8(raw, 11);
        column.scale = base::Load8(raw, 12);
      }
    } else {
      column.number = base::LoadLE16(raw, 1);
      column.variable_slot = base::LoadLE16(raw, 3);
      column.ordinal = base::LoadLE16(raw, 5);
      column.lcid = base::LoadLE16(raw, 9);
      column.flags = base::Load8(raw, 13);
      column.fixed_at = base::LoadLE16(raw, 14);
      column.length = base::LoadLE16(raw, 16);
    }
    if (column.type == ColumnType::kText || column.type == ColumnType::kMemo)
      column.order = OrderOf(layout_.wide, column.lcid, column.sort_version, order);
  }
}

void Reader::Physical(TableDefinition& table) {
  for (PhysicalIndex& index : table.indexes) {
    if (layout_.wide) in_.Skip(4);
    for (std::size_t i = 0; i < kMaxIndexColumns; ++i) {
      const std::uint16_t number = in_.LE16();
      const std::uint8_t direction = in_.U8();
      if (number == kNoColumn) continue;
      if (const auto column = table.FindNumber(number)) {
        index.columns.push_back({*column, (direction & 1) != 0});
      } else {
        index.usable = false;
      }
    }
    index.map.value = in_.LE32();
    index.root = in_.LE32();
    if (layout_.wide) in_.Skip(4);
    index.flags = in_.U8();
    if (layout_.wide) in_.Skip(5);
    if (index.columns.empty()) index.usable = false;
  }
  table.physical_end = static_cast<std::uint32_t>(in_.position());
}

void Reader::Logical(std::uint32_t count, TableDefinition& table) {
  table.names.resize(count);
  for (LogicalIndex& index : table.names) {
    if (layout_.wide) in_.Skip(4);
    index.number = in_.LE32();
    index.physical = in_.LE32();
    index.role = in_.U8();
    index.other_number = in_.LE32();
    index.other_table = in_.LE32();
    index.cascade_updates = in_.U8();
    index.cascade_deletes = in_.U8();
    const std::uint8_t kind = in_.U8();
    index.kind = kind <= 2 ? static_cast<IndexKind>(kind) : IndexKind::kNormal;
    if (layout_.wide) in_.Skip(4);
  }
  table.logical_end = static_cast<std::uint32_t>(in_.position());
  for (LogicalIndex& index : table.names) index.name = Name();
  table.names_end = static_cast<std::uint32_t>(in_.position());
}

void Reader::LongValueMaps(TableDefinition& table) {
  while (in_.ok()) {
    const std::uint16_t number = in_.LE16();
    if (number == kNoColumn || !in_.ok()) return;
    const RowId owned{in_.LE32()};
    const RowId free{in_.LE32()};
    if (const auto column = table.FindNumber(number)) {
      table.columns[*column].owned_map = owned;
      table.columns[*column].free_map = free;
    }
  }
}

}  // namespace

std::vector<std::byte> ReadChain(PageChannel& channel, std::uint32_t first,
                                 std::vector<std::uint32_t>& chain) {
  std::vector<std::byte> all;
  std::uint32_t page_no = first;
  do {  // a catalog may name page 0, which is of another type
    if (chain.size() == kMaxChain || std::find(chain.begin(), chain.end(), page_no) != chain.end())
      channel.Corrupt(first, "its table definition runs in a circle");
    chain.push_back(page_no);
    const Page page = channel.Pin(page_no, kDefinitionPage);
    const base::ByteSpan bytes = page.bytes().subspan(page_no == first ? 0 : 8);
    all.insert(all.end(), bytes.begin(), bytes.end());
    page_no = base::LoadLE32(page.bytes(), 4);
  } while (page_no != 0);
  return all;
}

TextOrder OrderOf(bool wide, std::uint16_t lcid, std::uint8_t version,
                  DefaultOrder other) noexcept {
  if (lcid == 0) {
    lcid = other.lcid;
    version = other.version;
  }
  if (lcid != kGeneralLcid) return TextOrder::kUnknown;
  if (!wide) return TextOrder::kGeneral97;
  if (version == 0) return TextOrder::kGeneralLegacy;
  return version == 1 ? TextOrder::kGeneral : TextOrder::kUnknown;
}

std::optional<std::size_t> TableDefinition::FindNumber(std::uint16_t number) const noexcept {
  for (std::size_t i = 0; i < columns.size(); ++i)
    if (columns[i].number == number) return i;
  return std::nullopt;
}

std::optional<std::size_t> TableDefinition::FindColumn(std::string_view name) const {
  for (std::size_t i = 0; i < columns.size(); ++i)
    if (base::EqualAnyCase(columns[i].name, name)) return i;
  return std::nullopt;
}

TableDefinition ReadDefinition(PageChannel& channel, TextCodec& text, DefaultOrder order,
                               std::uint32_t page) {
  const Layout& layout = channel.layout();
  TableDefinition table;
  const std::vector<std::byte> bytes = ReadChain(channel, page, table.chain);
  table.length = base::LoadLE32(bytes, 8);
  table.rows = base::LoadLE32(bytes, layout.rows_at);
  table.last_number = base::LoadLE32(bytes, layout.rows_at + 4u);
  table.kind = base::Load8(bytes, layout.kind_at);
  std::size_t at = layout.columns_ever_at;
  table.columns_ever = base::LoadLE16(bytes, at);
  table.variable_ever = base::LoadLE16(bytes, at + 2);
  const std::uint16_t columns = base::LoadLE16(bytes, at + 4);
  const std::uint32_t logical = base::LoadLE32(bytes, at + 6);
  const std::uint32_t physical = base::LoadLE32(bytes, at + 10);
  table.owned_map.value = base::LoadLE32(bytes, at + 14);
  table.free_map.value = base::LoadLE32(bytes, at + 18);
  if (columns > kMaxColumns || columns > table.columns_ever || logical > kMaxIndexes ||
      physical > kMaxIndexes || table.columns_ever > 4 * kMaxColumns ||
      table.variable_ever > table.columns_ever)
    channel.Corrupt(page, "its table definition counts " + std::to_string(columns) + " columns, " +
                              std::to_string(logical) + " and " + std::to_string(physical) +
                              " indexes");
  table.indexes.resize(physical);

  Reader reader(layout, text, bytes);
  reader.in().Skip(layout.fixed_part_bytes + std::size_t{layout.index_count_bytes} * physical);
  reader.Columns(columns, order, table);
  reader.Names(table);
  reader.Physical(table);
  reader.Logical(logical, table);
  reader.LongValueMaps(table);
  if (!reader.in().ok()) channel.Corrupt(page, "its table definition ends early");

  std::vector<bool> seen(table.columns_ever);
  for (const Column& column : table.columns) {
    if (column.number >= table.columns_ever || seen[column.number])
      channel.Corrupt(
          page, "column '" + column.name + "' has the number " + std::to_string(column.number));
    seen[column.number] = true;
    if (!column.fixed() && column.variable_slot >= table.variable_ever && !column.is_bit())
      channel.Corrupt(page, "column '" + column.name + "' has the variable slot " +
                                std::to_string(column.variable_slot));
    if (column.fixed() && !column.is_bit() && column.length < StorageBytes(column.type))
      channel.Corrupt(
          page, "column '" + column.name + "' is " + std::to_string(column.length) + " bytes long");
  }
  for (const LogicalIndex& index : table.names)
    if (index.physical >= physical) channel.Corrupt(page, "index '" + index.name + "' has no tree");

  // Display order; the key columns follow their columns.
  std::vector<std::size_t> order_of(table.columns.size());
  for (std::size_t i = 0; i < order_of.size(); ++i) order_of[i] = i;
  std::stable_sort(order_of.begin(), order_of.end(), [&](std::size_t a, std::size_t b) {
    return table.columns[a].ordinal < table.columns[b].ordinal;
  });
  std::vector<Column> sorted;
  std::vector<std::size_t> place(order_of.size());
  for (std::size_t i = 0; i < order_of.size(); ++i) {
    place[order_of[i]] = i;
    sorted.push_back(std::move(table.columns[order_of[i]]));
  }
  table.columns = std::move(sorted);
  for (PhysicalIndex& index : table.indexes)
    for (KeyColumn& column : index.columns) column.column = place[column.column];
  return table;
}

std::size_t DistinctCountAt(const Layout& layout, std::size_t index) noexcept {
  return layout.fixed_part_bytes + layout.index_count_bytes * index + 4;
}

namespace {

/// Appends numbers to a definition.
class Writer {
 public:
  void U8(unsigned v) { out_.push_back(static_cast<std::byte>(v & 0xFF)); }
  void LE16(unsigned v) {
    U8(v);
    U8(v >> 8);
  }
  void LE32(std::uint32_t v) {
    LE16(v & 0xFFFF);
    LE16(v >> 16);
  }
  void Zeros(std::size_t count) { out_.resize(out_.size() + count); }
  void Bytes(std::string_view bytes) {
    for (char c : bytes) U8(static_cast<unsigned char>(c));
  }
  std::vector<std::byte>& out() noexcept { return out_; }

 private:
  std::vector<std::byte> out_;
};

void WritePhysical(const Layout& layout, const TableDefinition& table, const PhysicalIndex& index,
                   Writer& out) {
  if (layout.wide) out.LE32(kIndexMark);
  for (std::size_t i = 0; i < kMaxIndexColumns; ++i) {
    const bool used = i < index.columns.size();
    out.LE16(used ? table.columns[index.columns[i].column].number : kNoColumn);
    out.U8(used && index.columns[i].ascending ? 1 : 0);
  }
  out.LE32(index.map.value);
  out.LE32(index.root);
  if (layout.wide) out.LE32(0);
  out.U8(index.flags);
  if (layout.wide) out.Zeros(5);
}

void WriteLogical(const Layout& layout, const LogicalIndex& index, Writer& out) {
  if (layout.wide) out.LE32(kColumnMark);
  out.LE32(index.number);
  out.LE32(index.physical);
  out.U8(index.role);
  out.LE32(index.other_number);
  out.LE32(index.other_table);
  out.U8(index.cascade_updates);
  out.U8(index.cascade_deletes);
  out.U8(static_cast<unsigned>(index.kind));
  if (layout.wide) out.LE32(0);
}

void WriteName(const Layout& layout, TextCodec& text, std::string_view name, Writer& out) {
  std::string stored;
  std::size_t units = 0;
  text.Encode(name, false, stored, units);
  if (layout.wide) {
    out.LE16(static_cast<unsigned>(stored.size()));
  } else {
    out.U8(static_cast<unsigned>(stored.size()));
  }
  out.Bytes(stored);
}

void WriteColumn(const Layout& layout, int code_page, const Column& column, Writer& out) {
  out.U8(static_cast<unsigned>(column.type));
  if (layout.wide) out.LE32(kColumnMark);
  out.LE16(column.number);
  out.LE16(column.variable_slot);
  out.LE16(column.ordinal);
  if (layout.wide) {
    if (column.type == ColumnType::kDecimal) {
      out.U8(column.precision);
      out.U8(column.scale);
    } else {
      out.LE16(column.lcid);
    }
    out.U8(0);
    out.U8(column.sort_version);
    out.U8(column.flags);
    out.U8(column.extended_flags);
    out.LE32(0);
  } else {
    out.LE16(1);
    out.LE16(column.lcid);
    out.LE16(static_cast<unsigned>(code_page));
    out.U8(column.flags);
  }
  out.LE16(column.fixed_at);
  out.LE16(column.length);
}

}  // namespace

std::vector<std::byte> SerializePhysical(const Layout& layout, const TableDefinition& table,
                                         const PhysicalIndex& index) {
  Writer out;
  WritePhysical(layout, table, index, out);
  return std::move(out.out());
}

std::vector<std::byte> SerializeLogical(const Layout& layout, const LogicalIndex& index) {
  Writer out;
  WriteLogical(layout, index, out);
  return std::move(out.out());
}

std::vector<std::byte> SerializeName(const Layout& layout, TextCodec& text, std::string_view name) {
  Writer out;
  WriteName(layout, text, name, out);
  return std::move(out.out());
}

std::vector<std::byte> SerializeDefinition(const Layout& layout, TextCodec& text, int code_page,
                                           const TableDefinition& table) {
  Writer out;
  out.U8(kDefinitionPage);
  out.U8(1);
  out.Zeros(6);  // pages fill in their chain
  out.Zeros(4);  // length, below
  if (layout.wide) out.LE32(kColumnMark);
  out.LE32(table.rows);
  out.LE32(table.last_number);
  if (layout.wide) {
    out.LE32(1);  // without it automatic numbers are not counted
    out.Zeros(12);
  }
  out.U8(table.kind);
  out.LE16(table.columns_ever);
  out.LE16(table.variable_ever);
  out.LE16(static_cast<unsigned>(table.columns.size()));
  out.LE32(static_cast<std::uint32_t>(table.names.size()));
  out.LE32(static_cast<std::uint32_t>(table.indexes.size()));
  out.LE32(table.owned_map.value);
  out.LE32(table.free_map.value);
  out.Zeros(layout.index_count_bytes * table.indexes.size());
  for (const Column& column : table.columns) WriteColumn(layout, code_page, column, out);
  for (const Column& column : table.columns) WriteName(layout, text, column.name, out);
  for (const PhysicalIndex& index : table.indexes) WritePhysical(layout, table, index, out);
  for (const LogicalIndex& index : table.names) WriteLogical(layout, index, out);
  for (const LogicalIndex& index : table.names) WriteName(layout, text, index.name, out);
  for (const Column& column : table.columns) {
    if (!column.owned_map) continue;
    out.LE16(column.number);
    out.LE32(column.owned_map.value);
    out.LE32(column.free_map.value);
  }
  out.LE16(0xFFFF);
  base::StoreLE32(out.out(), 8, static_cast<std::uint32_t>(out.out().size()));
  return std::move(out.out());
}

}  // namespace kelvorin::database::access
