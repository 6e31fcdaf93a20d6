#include "database/access/new_table.h"

#include <algorithm>
#include <bit>

#include "base/case_map.h"
#include "base/code_page.h"
#include "database/access/data_page.h"
#include "database/access/field_codec.h"
#include "database/access/index_page.h"
#include "database/access/sort_keys.h"
#include "database/access/table.h"

namespace kelvorin::database::access {
namespace {

using values::TypeCode;

constexpr std::int32_t kLongestText = 255;
constexpr std::size_t kMaxIndexes = 32;
constexpr std::uint8_t kNoCascade = 4;  // what other programs write without a relation
constexpr std::string_view kForbidden = ".![]`";

[[noreturn]] void Refuse(Code code, std::string text) {
  Throw(code, ErrorNumber::kInvalidArgument, std::move(text));
}

/// Digits of a decimal that the asked size stands for.
std::uint8_t PrecisionOf(const FieldDef& field) {
  constexpr std::int32_t kDecimalBytes = 16;  // the size that decimals show
  const bool digits = field.Size > 0 && field.Size <= 28 && field.Size != kDecimalBytes;
  return static_cast<std::uint8_t>(
      std::clamp(digits ? field.Size : 28, std::max(1, field.Decimals), 28));
}

Column PlanColumn(const DatabaseFile& file, const FieldDef& field) {
  const bool wide = file.layout().wide;
  Column column;
  column.name = field.Name;
  column.lcid = file.header().order.lcid == 0 ? std::uint16_t{1033} : file.header().order.lcid;
  column.sort_version = wide ? file.header().order.version : std::uint8_t{0};
  const auto fixed = [&](ColumnType type) {
    column.type = type;
    column.flags = kColumnUsual | kColumnFixed;
    column.length = StorageBytes(type);
  };
  const auto varying = [&](ColumnType type, std::int32_t size) {
    column.type = type;
    column.length = static_cast<std::uint16_t>(size);
  };
  switch (field.Type) {
    case TypeCode::kBoolean:
    case TypeCode::kByte:
    case TypeCode::kInteger:
    case TypeCode::kLong:
    case TypeCode::kCurrency:
    case TypeCode::kSingle:
    case TypeCode::kDouble:
    case TypeCode::kDate:
    case TypeCode::kGuid:
      fixed(static_cast<ColumnType>(field.Type));
      break;
    case TypeCode::kTime:
    case TypeCode::kTimeStamp:
      fixed(ColumnType::kDate);
      break;
    case TypeCode::kFloat:
      fixed(ColumnType::kDouble);
      break;
    case TypeCode::kNumeric:
    case TypeCode::kDecimal:
    case TypeCode::kBigInt:
      if (!wide) {  // no decimals in Jet 3
        fixed(ColumnType::kDouble);
        break;
      }
      varying(ColumnType::kDecimal, StorageBytes(ColumnType::kDecimal));
      column.precision = field.Type == TypeCode::kBigInt ? std::uint8_t{19} : PrecisionOf(field);
      column.scale = field.Type == TypeCode::kBigInt
                         ? std::uint8_t{0}
                         : static_cast<std::uint8_t>(
                               std::clamp<std::int32_t>(field.Decimals, 0, column.precision));
      break;
    case TypeCode::kText:
    case TypeCode::kChar:
      if (field.Size > kLongestText) {
        varying(ColumnType::kMemo, 0);
      } else {
        const std::int32_t size = field.Size <= 0 ? kLongestText : field.Size;
        varying(ColumnType::kText, wide ? 2 * size : size);
      }
      break;
    case TypeCode::kBinary:
    case TypeCode::kVarBinary:
      if (field.Size > kLongestText) {
        varying(ColumnType::kOle, 0);
      } else {
        varying(ColumnType::kBinary, field.Size <= 0 ? kLongestText : field.Size);
      }
      break;
    case TypeCode::kMemo:
      varying(ColumnType::kMemo, 0);
      break;
    case TypeCode::kLongBinary:
      varying(ColumnType::kOle, 0);
      break;
  }
  if (column.length == 0 && !IsLongValue(column.type))
    Refuse(Code::kNotSupported, "field '" + field.Name + "' is of a type that cannot be made");
  const bool text = column.type == ColumnType::kText || column.type == ColumnType::kMemo;
  if (text) {
    column.order = OrderOf(wide, column.lcid, column.sort_version, file.header().order);
    if (wide) column.extended_flags = kColumnCompressed;
  }
  if (field.AutoIncrement) {
    if (column.type == ColumnType::kGuid) {
      column.flags |= kColumnAutoGuid;
    } else if (column.type == ColumnType::kLong) {
      column.flags |= kColumnCounter;
    } else {
      Refuse(Code::kNotSupported,
             "field '" + field.Name + "': only Long and GUID fields number automatically");
    }
  }
  return column;
}

}  // namespace

void CheckName(std::string_view name, std::string_view what) {
  const std::string shown = std::string(what) + " '" + std::string(name) + "'";
  if (name.empty() || base::CountCharacters(name) > kMaxNameCharacters)
    Refuse(Code::kInvalidArgument, shown + ": names have 1 to 64 characters");
  const bool control =
      std::any_of(name.begin(), name.end(), [](char c) { return c >= 0 && c < ' '; });
  if (name.front() == ' ' || control || name.find_first_of(kForbidden) != std::string_view::npos)
    Refuse(Code::kInvalidArgument, shown + ": names take no blank in front, none of " +
                                       std::string(kForbidden) + " and no control characters");
}

PhysicalIndex PlanIndex(const Layout& layout, const TableDefinition& table, const IndexDef& asked) {
  const std::string shown = "index '" + asked.Name + "'";
  PhysicalIndex index;
  if (asked.Columns.empty() || asked.Columns.size() > kMaxIndexColumns)
    Refuse(Code::kNotSupported, shown + ": an index has 1 to 10 fields");
  for (const IndexField& field : asked.Columns) {
    const auto column = table.FindColumn(field.Name);
    if (!column) Refuse(Code::kNotFound, shown + ": there is no field '" + field.Name + "'");
    if (!HasKeys(table.columns[*column]))
      Refuse(Code::kNotSupported, shown + ": field '" + field.Name + "' cannot be indexed");
    for (const KeyColumn& other : index.columns)
      if (other.column == *column)
        Refuse(Code::kInvalidArgument, shown + ": field '" + field.Name + "' stands in it twice");
    index.columns.push_back({*column, !field.Descending});
  }
  index.flags = layout.wide ? kIndexAlways : std::uint8_t{0};
  if (asked.Unique || asked.Primary) index.flags |= kIndexUnique;
  if (asked.Required || asked.Primary) index.flags |= kIndexRequired;
  if (asked.IgnoreNulls && !asked.Primary) index.flags |= kIndexIgnoreNulls;
  return index;
}

namespace {

void AddIndex(const Layout& layout, TableDefinition& table, const IndexDef& asked) {
  CheckName(asked.Name, "index");
  if (table.indexes.size() >= kMaxIndexes)
    Refuse(Code::kOutOfRange, "a table has at most 32 indexes");
  LogicalIndex name;
  name.name = asked.Name;
  name.kind = asked.Primary ? IndexKind::kPrimary : IndexKind::kNormal;
  name.cascade_updates = name.cascade_deletes = kNoCascade;
  name.physical = static_cast<std::uint32_t>(table.indexes.size());
  for (const LogicalIndex& other : table.names) {
    if (base::EqualAnyCase(other.name, asked.Name))
      Refuse(Code::kAlreadyExists, "index '" + asked.Name + "' exists already");
    if (asked.Primary && other.kind == IndexKind::kPrimary)
      Refuse(Code::kAlreadyExists, "the table has the primary index '" + other.name + "' already");
    name.number = std::max(name.number, other.number + 1);
  }
  table.indexes.push_back(PlanIndex(layout, table, asked));
  table.names.push_back(std::move(name));
}

/// Numbers and places columns in their order: fixed ones one behind the other, long values behind
/// all others of varying length.
void PlaceColumns(TableDefinition& table) {
  std::uint16_t fixed_at = 0;
  std::uint16_t slot = 0;
  for (std::size_t i = 0; i < table.columns.size(); ++i)
    table.columns[i].number = table.columns[i].ordinal = static_cast<std::uint16_t>(i);
  for (const bool long_values : {false, true}) {
    for (Column& column : table.columns) {
      if (IsLongValue(column.type) != long_values) continue;
      column.variable_slot = slot;
      if (column.fixed()) {
        column.fixed_at = fixed_at;
        if (!column.is_bit()) fixed_at = static_cast<std::uint16_t>(fixed_at + column.length);
      } else {
        ++slot;
      }
    }
  }
  table.columns_ever = static_cast<std::uint16_t>(table.columns.size());
  table.variable_ever = slot;
}

}  // namespace

TableDefinition PlanTable(const DatabaseFile& file, const TableDef& asked) {
  CheckName(asked.Name, "table");
  if (asked.Fields.empty() || asked.Fields.size() > kMaxColumns)
    Refuse(Code::kOutOfRange, "table '" + asked.Name + "' would have " +
                                  std::to_string(asked.Fields.size()) +
                                  " fields, 1 to 255 are possible");
  TableDefinition table;
  std::size_t counters = 0;
  for (const FieldDef& field : asked.Fields) {
    CheckName(field.Name, "field");
    if (table.FindColumn(field.Name))
      Refuse(Code::kAlreadyExists, "field '" + field.Name + "' stands in the table twice");
    table.columns.push_back(PlanColumn(file, field));
    counters += table.columns.back().counter() ? 1 : 0;
  }
  if (counters > 1) Refuse(Code::kNotSupported, "a table has at most one automatic number");
  PlaceColumns(table);
  std::vector<ColumnValue> nothing(table.columns.size());
  std::vector<std::byte> row;
  const std::size_t smallest = BuildRow(file.layout(), table, nothing, row);
  if (smallest > file.layout().max_row_bytes)
    Refuse(Code::kOutOfRange, "a record of table '" + asked.Name + "' would take " +
                                  std::to_string(smallest) + " bytes, " +
                                  std::to_string(file.layout().max_row_bytes) + " are possible");
  for (const IndexDef& index : asked.Indexes) AddIndex(file.layout(), table, index);
  return table;
}

// --- Pages

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

namespace {

std::uint32_t NewRoot(PageChannel& channel, PageAllocator& allocator, std::uint32_t table) {
  Page page = allocator.Allocate();
  IndexPage::Format(channel.layout(), page, kIndexLeaf, 0, table);
  return page.number();
}

}  // namespace

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

// --- Catalog

ColumnValue StoredNumber(std::int64_t value, std::size_t bytes) {
  ColumnValue out;
  out.assigned = true;
  out.null = false;
  for (std::size_t i = 0; i < bytes; ++i)
    out.bytes += static_cast<char>(static_cast<std::uint64_t>(value) >> (8 * i) & 0xFF);
  return out;
}

ColumnValue StoredBytes(std::string_view bytes) {
  ColumnValue out;
  out.assigned = true;
  out.null = false;
  out.bytes.assign(bytes);
  return out;
}

ColumnValue StoredText(TextCodec& text, std::string_view value) {
  std::string stored;
  std::size_t units = 0;
  text.Encode(value, false, stored, units);
  return StoredBytes(stored);
}

ColumnValue StoredDate(values::DateTime date) {
  return StoredNumber(std::bit_cast<std::int64_t>(ToStoredDate(date)), 8);
}

void PutRecord(Table& table, std::vector<ColumnValue>& values) {
  for (std::size_t i = 0; i < values.size(); ++i)
    if (table.definition().columns[i].is_bit() && values[i].bytes.empty())
      values[i].bytes.assign(1, '\0');
  Status status = table.Check(values);
  RowId stored;
  if (status.ok()) status = table.Put(values, stored);
  if (!status.ok()) throw Error(std::move(status));
}

namespace {

/// The account that owns what Access makes: that of the database object.
std::string OwnerOf(Catalog& catalog) {
  Table& objects = catalog.objects();
  const std::size_t id = catalog.ColumnOf("Id");
  const std::size_t owner = catalog.ColumnOf("Owner");
  RowImage image;
  std::vector<ColumnValue> values;
  for (RowId at = objects.rows().Next({}); at; at = objects.rows().Next(at)) {
    if (!objects.rows().Read(at, image)) continue;
    objects.Load(image, values);
    if (!values[id].null && values[id].bytes == StoredNumber(kDatabaseId, 4).bytes)
      return values[owner].bytes;
  }
  return {};
}

/// Every account that may use the container of tables may use the new one.
void GrantAccess(DatabaseFile& file, std::int32_t id) {
  constexpr std::int32_t kFullAccess = 0x000FFFFF;
  const std::shared_ptr<Table> aces = file.OpenTable(kAcesTable, "MSysACEs");
  const TableDefinition& definition = aces->definition();
  const auto object = definition.FindColumn("ObjectId");
  const auto account = definition.FindColumn("SID");
  const auto mask = definition.FindColumn("ACM");
  const auto inherited = definition.FindColumn("FInheritable");
  if (!object || !account || !mask || !inherited)
    file.channel().Corrupt(kAcesTable, "the table of permissions lacks a column");
  std::vector<std::string> accounts;
  RowImage image;
  std::vector<ColumnValue> values;
  for (RowId at = aces->rows().Next({}); at; at = aces->rows().Next(at)) {
    if (!aces->rows().Read(at, image)) continue;
    aces->Load(image, values);
    if (values[*object].bytes != StoredNumber(kTablesContainer, 4).bytes) continue;
    if (std::find(accounts.begin(), accounts.end(), values[*account].bytes) == accounts.end())
      accounts.push_back(values[*account].bytes);
  }
  for (const std::string& sid : accounts) {
    std::vector<ColumnValue> entry(definition.columns.size());
    entry[*object] = StoredNumber(id, 4);
    entry[*account] = StoredBytes(sid);
    entry[*mask] = StoredNumber(kFullAccess, 4);
    entry[*inherited] = StoredNumber(0, 1);
    PutRecord(*aces, entry);
  }
}

std::string PropertiesOf(DatabaseFile& file, const TableDef& asked, const TableDefinition& table) {
  std::vector<FieldProperties> all;
  for (std::size_t i = 0; i < asked.Fields.size(); ++i) {
    const FieldDef& field = asked.Fields[i];
    FieldProperties properties;
    properties.name = field.Name;
    properties.required = field.Required;
    properties.allow_zero_length =
        field.AllowZeroLength && values::IsText(TypeCodeOf(table.columns[i]));
    properties.default_value = DefaultExpression(field.DefaultValue, field.Type);
    if (properties.required || properties.allow_zero_length || !properties.default_value.empty())
      all.push_back(std::move(properties));
  }
  return all.empty() ? std::string() : WriteProperties(all, file.text());
}

void RequireWritable(const Table& table) {
  if (!table.why_read_only().empty())
    Throw(Code::kReadOnly, ErrorNumber::kReadOnly,
          "table '" + table.name() + "' cannot be written: " + table.why_read_only());
}

}  // namespace

void CreateTable(DatabaseFile& file, const TableDef& asked) {
  TableDefinition table = PlanTable(file, asked);
  Catalog catalog(file);
  RequireWritable(catalog.objects());
  RequireWritable(*file.OpenTable(kAcesTable, "MSysACEs"));
  if (catalog.NameTaken(asked.Name))
    Throw(Code::kAlreadyExists, ErrorNumber::kTableExists,
          "table '" + asked.Name + "' exists already in '" + file.path() + "'");
  const std::string properties = PropertiesOf(file, asked, table);
  const std::string owner = OwnerOf(catalog);

  Bracket bracket(file.channel());
  MapRows maps(file.channel(), file.allocator());
  PlaceTable(file.channel(), file.allocator(), file.text(), file.header().code_page, maps, table);
  const auto id = static_cast<std::int32_t>(table.page());
  std::vector<ColumnValue> entry(catalog.objects().definition().columns.size());
  const auto set = [&](std::string_view column, ColumnValue value) {
    entry[catalog.ColumnOf(column)] = std::move(value);
  };
  set("Id", StoredNumber(id, 4));
  set("ParentId", StoredNumber(kTablesContainer, 4));
  set("Name", StoredText(file.text(), asked.Name));
  set("Type", StoredNumber(kLocalTable, 2));
  set("DateCreate", StoredDate(CurrentDateTime()));
  set("DateUpdate", StoredDate(CurrentDateTime()));
  set("Flags", StoredNumber(0, 4));
  if (!owner.empty()) set("Owner", StoredBytes(owner));
  if (!properties.empty()) set("LvProp", StoredBytes(properties));
  PutRecord(catalog.objects(), entry);
  GrantAccess(file, id);
  bracket.Commit();
}

void CreateIndex(DatabaseFile& file, const CatalogEntry& entry, const IndexDef& asked) {
  const Layout& layout = file.layout();
  if (file.InUse(entry.page()))
    Throw(Code::kLocked, ErrorNumber::kSharingViolation,
          "table '" + entry.name + "' is open; an index can be made only while it is closed");
  std::vector<std::uint32_t> chain;
  std::vector<std::byte> bytes = ReadChain(file.channel(), entry.page(), chain);
  TableDefinition table =
      ReadDefinition(file.channel(), file.text(), file.header().order, entry.page());
  RequireWritable(*file.OpenTable(entry.page(), entry.name));
  const std::size_t before = table.indexes.size();
  AddIndex(layout, table, asked);
  bytes.resize(std::min<std::size_t>(bytes.size(), table.length));

  Bracket bracket(file.channel());
  MapRows maps(file.channel(), file.allocator());
  PhysicalIndex& index = table.indexes.back();
  index.root = NewRoot(file.channel(), file.allocator(), entry.page());
  index.map = maps.Add(index.root);
  // From the back, so that the positions in front stay true. What other programs keep in the
  // definition is left as it is.
  const auto insert = [&](std::size_t at, const std::vector<std::byte>& what) {
    bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(at), what.begin(), what.end());
  };
  insert(table.names_end, SerializeName(layout, file.text(), asked.Name));
  insert(table.logical_end, SerializeLogical(layout, table.names.back()));
  insert(table.physical_end, SerializePhysical(layout, table, index));
  insert(layout.fixed_part_bytes + layout.index_count_bytes * before,
         std::vector<std::byte>(layout.index_count_bytes));
  base::StoreLE32(bytes, 8, static_cast<std::uint32_t>(bytes.size()));
  base::StoreLE32(bytes, layout.columns_ever_at + 6u,
                  static_cast<std::uint32_t>(table.names.size()));
  base::StoreLE32(bytes, layout.columns_ever_at + 10u,
                  static_cast<std::uint32_t>(table.indexes.size()));
  WriteDefinition(file.channel(), file.allocator(), chain, bytes);

  {
    const std::shared_ptr<Table> opened = file.OpenTable(entry.page(), entry.name);
    RequireWritable(*opened);
    RowImage image;
    std::vector<ColumnValue> values;
    for (RowId at = opened->rows().Next({}); at; at = opened->rows().Next(at)) {
      if (!opened->rows().Read(at, image)) continue;
      opened->Load(image, values);
      opened->EnterIndex(opened->definition().indexes.back(), at, values);
    }
  }
  bracket.Commit();
}

namespace {

void FreeSet(DatabaseFile& file, RowId row, std::uint8_t type) {
  if (!row) return;
  const UsageMap map(file.channel(), row);
  std::vector<std::uint32_t> pages;
  for (std::uint32_t page = map.Next(0); page != kNoPage; page = map.Next(page + 1))
    pages.push_back(page);
  for (std::uint32_t page : pages) file.allocator().Free(page, type);
  pages.clear();
  map.ForEachMapPage([&](std::uint32_t page) { pages.push_back(page); });
  for (std::uint32_t page : pages) file.allocator().Free(page, kMapPage);
}

void FreeMapRow(DatabaseFile& file, RowId row) {
  if (!row) return;
  bool empty = false;
  {
    Page page = file.channel().Pin(row.page(), kDataPage);
    FindSlot(file.channel(), page, row);
    DataPage data(file.channel(), page);
    data.Delete(row.slot());
    empty = data.Empty();
  }
  if (empty && row.page() != kGlobalMapPage) file.allocator().Free(row.page(), kFreedData);
}

/// Removes the rows of a system table in which a column has this value.
void RemoveRows(Table& table, std::size_t column, const ColumnValue& value) {
  RowImage image;
  std::vector<ColumnValue> values;
  std::vector<RowId> found;
  for (RowId at = table.rows().Next({}); at; at = table.rows().Next(at)) {
    if (!table.rows().Read(at, image)) continue;
    table.Load(image, values);
    if (!values[column].null && values[column].bytes == value.bytes) found.push_back(at);
  }
  for (RowId at : found) table.Remove(at);
}

/// The name of a relation that a table takes part in, enforced or not; empty for none.
std::string RelationOf(DatabaseFile& file, std::string_view table) {
  const std::shared_ptr<Table> relations = file.OpenTable(kRelationshipsTable, "MSysRelationships");
  const TableDefinition& definition = relations->definition();
  const auto name = definition.FindColumn("szRelationship");
  const auto object = definition.FindColumn("szObject");
  const auto referenced = definition.FindColumn("szReferencedObject");
  if (!name || !object || !referenced)
    file.channel().Corrupt(kRelationshipsTable, "the table of relations lacks a column");
  RowImage image;
  std::vector<ColumnValue> values;
  const auto text = [&](std::size_t column) {
    std::string out;
    if (!values[column].null) file.text().Decode(base::AsBytes(values[column].bytes), out);
    return out;
  };
  for (RowId at = relations->rows().Next({}); at; at = relations->rows().Next(at)) {
    if (!relations->rows().Read(at, image)) continue;
    relations->Load(image, values);
    if (base::EqualAnyCase(text(*object), table) || base::EqualAnyCase(text(*referenced), table))
      return text(*name);
  }
  return {};
}

}  // namespace

void DeleteTable(DatabaseFile& file, const CatalogEntry& entry) {
  if (file.InUse(entry.page()))
    Throw(Code::kLocked, ErrorNumber::kSharingViolation, "table '" + entry.name + "' is open");
  TableDefinition table =
      ReadDefinition(file.channel(), file.text(), file.header().order, entry.page());
  if (const std::string relation = RelationOf(file, entry.name); !relation.empty())
    Throw(Code::kIntegrity, ErrorNumber::kRelated,
          "table '" + entry.name + "' takes part in the relation '" + relation + "'");
  Catalog catalog(file);
  const std::shared_ptr<Table> aces = file.OpenTable(kAcesTable, "MSysACEs");
  RequireWritable(catalog.objects());
  RequireWritable(*aces);
  RequireWritable(*file.OpenTable(entry.page(), entry.name));
  const auto object = aces->definition().FindColumn("ObjectId");
  if (!object) file.channel().Corrupt(kAcesTable, "the table of permissions lacks a column");

  Bracket bracket(file.channel());
  RemoveRows(*aces, *object, StoredNumber(entry.id, 4));
  RemoveRows(catalog.objects(), catalog.ColumnOf("Id"), StoredNumber(entry.id, 4));
  std::vector<RowId> maps{table.owned_map, table.free_map};
  FreeSet(file, table.owned_map, kFreedData);
  for (const PhysicalIndex& index : table.indexes) {
    FreeSet(file, index.map, kIndexLeaf);
    maps.push_back(index.map);
  }
  for (const Column& column : table.columns) {
    FreeSet(file, column.owned_map, kFreedData);
    maps.push_back(column.owned_map);
    maps.push_back(column.free_map);
  }
  for (RowId map : maps) FreeMapRow(file, map);
  for (std::uint32_t page : table.chain) file.allocator().Free(page, kFreedDefinition);
  bracket.Commit();
}

}  // namespace kelvorin::database::access
