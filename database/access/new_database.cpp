#include "database/access/new_database.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "base/M_STRING.h"
#include "database/access/catalog.h"
#include "database/access/data_page.h"
#include "database/access/new_table.h"
#include "database/access/table.h"
#include "database/access/table_pages.h"

namespace kelvorin::database::access {
namespace {

constexpr std::uint16_t kCodePage = 1252;
constexpr std::uint16_t kGeneral = 1033;
constexpr std::uint32_t kFirstFree = kRelationshipsTable + 1;

// In Jet 4 the accounts in the catalog are masked by a stream that depends on these two fields of
// the header in a way that is not known; this date and number go with the masked accounts below.
constexpr std::array<std::uint8_t, 8> kHeaderDate{0x3E, 0x85, 0xD3, 0x3B, 0x3E, 0xAB, 0xE4, 0x40};
constexpr std::uint32_t kHeaderNumber = 0x261C;
constexpr std::uint32_t kHeaderNumberJet3 = 0x0D64;

struct Accounts {
  std::string_view admin, users, engine, creator;
};
constexpr Accounts kPlain{"\x03\x01", "\x02\x01", "\x02\x03", "\x02\x04"};
constexpr Accounts kMasked{"\x64\x8B", "\x65\x8B", "\x65\x89", "\x65\x8E"};

void WriteHeader(const Layout& layout, Version version, Page page) {
  const base::MutableByteSpan bytes = page.Change(0, layout.page_bytes);
  std::fill(bytes.begin(), bytes.end(), std::byte{0});
  base::StoreLE32(bytes, 0, 0x100);
  std::memcpy(bytes.data() + 4, "Standard Jet DB", 15);
  base::Store8(bytes, kVersionAt, static_cast<std::uint8_t>(version));
  base::StoreLE32(bytes, 0x18, RowId::Of(kGlobalMapPage, 0).value);
  base::StoreLE32(bytes, 0x1C, RowId::Of(kGlobalMapPage, 1).value);
  for (std::uint32_t i = 0; i < 4; ++i) base::StoreLE32(bytes, 0x20 + 4 * i, kObjectsTable + i);
  base::StoreLE16(bytes, 0x3C, kCodePage);
  if (layout.wide) {
    // No password: the mask of the date shows ten times.
    std::memcpy(bytes.data() + 0x72, kHeaderDate.data(), kHeaderDate.size());
    constexpr std::uint32_t kMask = 0xA559;  // the whole part of the date
    for (std::size_t at = 0x42; at < 0x6A; at += 4) base::StoreLE32(bytes, at, kMask);
    base::StoreLE32(bytes, 0x6A, kHeaderNumber);
    base::StoreLE16(bytes, 0x6E, kGeneral);
    base::StoreLE32(bytes, 0x98, 0x654);
    std::memcpy(bytes.data() + 0x9C, "4.0", 3);
  } else {
    base::StoreLE16(bytes, 0x3A, kGeneral);
    base::StoreLE32(bytes, 0x56, kHeaderNumberJet3);
  }
  Cipher(kHeaderKey, bytes.subspan(kMaskedAt, layout.masked_bytes));
  // One slot per user: the first is this one's, every one is marked clean.
  for (std::size_t at = layout.commit_slots_at; at < layout.commit_slots_at + 512u; at += 2)
    base::Store8(bytes, at + 1, 1);
  base::Store8(bytes, layout.commit_slots_at, 1);
}

Column SystemColumn(const Layout& layout, std::string_view name, ColumnType type) {
  Column column;
  column.name = name;
  column.type = type;
  column.flags = kColumnUsual | kColumnSystem;
  column.length = StorageBytes(type);
  if (column.length != 0) {
    column.flags |= kColumnFixed;
  } else if (type == ColumnType::kText || type == ColumnType::kBinary) {
    column.length = layout.wide ? 510 : 255;
  }
  if (name == "Owner" || name == "SID") column.flags |= kColumnSid;
  if (type == ColumnType::kText || type == ColumnType::kMemo)
    column.order = OrderOf(layout.wide, kGeneral, 0, {});
  return column;
}

struct SystemIndex {
  std::string_view name;
  std::vector<std::size_t> columns;
  std::uint8_t flags;
  bool primary;
};

/// As the engines lay out their own tables: values of varying length in the order of the columns,
/// long ones too; index names, and columns from Jet 4 on, by name, without ordinal positions.
TableDefinition SystemTable(const Layout& layout, std::uint32_t page,
                            const std::vector<std::pair<std::string_view, ColumnType>>& columns,
                            const std::vector<SystemIndex>& indexes) {
  TableDefinition table;
  table.chain = {page};
  table.kind = kSystemTable;
  std::uint16_t fixed_at = 0;
  for (const auto& [name, type] : columns) {
    Column column = SystemColumn(layout, name, type);
    column.number = static_cast<std::uint16_t>(table.columns.size());
    column.variable_slot = table.variable_ever;
    if (!column.fixed()) {
      ++table.variable_ever;
    } else if (!column.is_bit()) {
      column.fixed_at = fixed_at;
      fixed_at = static_cast<std::uint16_t>(fixed_at + column.length);
    }
    table.columns.push_back(std::move(column));
  }
  table.columns_ever = static_cast<std::uint16_t>(table.columns.size());
  const auto by_name = [](const auto& a, const auto& b) {
    return base::UpperAscii(a.name) < base::UpperAscii(b.name);
  };
  if (layout.wide) std::sort(table.columns.begin(), table.columns.end(), by_name);
  for (const SystemIndex& asked : indexes) {
    PhysicalIndex index;
    for (std::size_t number : asked.columns)
      index.columns.push_back({*table.FindColumn(columns[number].first), true});
    index.flags = static_cast<std::uint8_t>(asked.flags | (layout.wide ? kIndexAlways : 0));
    LogicalIndex name;
    name.name = asked.name;
    name.number = name.physical = static_cast<std::uint32_t>(table.indexes.size());
    name.kind = asked.primary ? IndexKind::kPrimary : IndexKind::kNormal;
    name.cascade_updates = name.cascade_deletes = 4;
    table.indexes.push_back(std::move(index));
    table.names.push_back(std::move(name));
  }
  std::sort(table.names.begin(), table.names.end(), by_name);
  return table;
}

std::vector<TableDefinition> SystemTables(const Layout& layout) {
  using enum ColumnType;
  std::vector<TableDefinition> tables;
  tables.push_back(SystemTable(
      layout, kObjectsTable,
      {{"Id", kLong},
       {"ParentId", kLong},
       {"Name", kText},
       {"Type", kInteger},
       {"DateCreate", kDate},
       {"DateUpdate", kDate},
       {"Owner", kBinary},
       {"Flags", kLong},
       {"Database", kMemo},
       {"Connect", kMemo},
       {"ForeignName", kText},
       {"RmtInfoShort", kBinary},
       {"RmtInfoLong", kOle},
       {"Lv", kOle},
       {"LvProp", kOle},
       {"LvModule", kOle},
       {"LvExtra", kOle}},
      {{"ParentIdName", {1, 2}, kIndexUnique, false}, {"Id", {0}, kIndexUnique, true}}));
  tables.push_back(SystemTable(
      layout, kAcesTable,
      {{"ObjectId", kLong}, {"SID", kBinary}, {"ACM", kLong}, {"FInheritable", kBoolean}},
      {{"ObjectId", {0}, kIndexRequired, false}}));
  std::vector<std::pair<std::string_view, ColumnType>> queries{
      {"ObjectId", kLong}, {"Attribute", kByte},  {"Order", kBinary}, {"Name1", kText},
      {"Name2", kText},    {"Expression", kMemo}, {"Flag", kInteger}};
  if (layout.wide) queries.push_back({"LvExtra", kLong});
  tables.push_back(SystemTable(layout, kQueriesTable, queries,
                               {{"ObjectIdAttribute", {0, 1, 2}, kIndexUnique, true}}));
  tables.push_back(SystemTable(layout, kRelationshipsTable,
                               {{"szRelationship", kText},
                                {"grbit", kLong},
                                {"ccolumn", kLong},
                                {"icolumn", kLong},
                                {"szObject", kText},
                                {"szColumn", kText},
                                {"szReferencedObject", kText},
                                {"szReferencedColumn", kText}},
                               {{"szRelationship", {0}, kIndexIgnoreNulls, false},
                                {"szObject", {4}, kIndexIgnoreNulls, false},
                                {"szReferencedObject", {6}, kIndexIgnoreNulls, false}}));
  return tables;
}

void FillObjects(DatabaseFile& file, const Accounts& accounts) {
  struct Object {
    std::int32_t id, parent;
    std::string_view name;
    std::int32_t kind;
  };
  constexpr Object kObjects[] = {
      {kTablesContainer, kRootContainer, "Tables", kContainer},
      {kDatabasesContainer, kRootContainer, "Databases", kContainer},
      {kRelationshipsContainer, kRootContainer, "Relationships", kContainer},
      {kDatabaseId, kDatabasesContainer, "MSysDb", kDatabaseObject},
      {kObjectsTable, kTablesContainer, "MSysObjects", kLocalTable},
      {kAcesTable, kTablesContainer, "MSysACEs", kLocalTable},
      {kQueriesTable, kTablesContainer, "MSysQueries", kLocalTable},
      {kRelationshipsTable, kTablesContainer, "MSysRelationships", kLocalTable},
  };
  Catalog catalog(file);
  const values::DateTime now = CurrentDateTime();
  for (const Object& object : kObjects) {
    std::vector<ColumnValue> entry(catalog.objects().definition().columns.size());
    const auto set = [&](std::string_view column, ColumnValue value) {
      entry[catalog.ColumnOf(column)] = std::move(value);
    };
    set("Id", StoredNumber(object.id, 4));
    set("ParentId", StoredNumber(object.parent, 4));
    set("Name", StoredText(file.text(), object.name));
    set("Type", StoredNumber(object.kind, 2));
    set("DateCreate", StoredDate(now));
    set("DateUpdate", StoredDate(now));
    set("Owner", StoredBytes(object.id == kDatabaseId ? accounts.admin : accounts.engine));
    set("Flags", StoredNumber(std::int64_t{0x80000000}, 4));
    PutRecord(catalog.objects(), entry);
  }
}

void FillPermissions(DatabaseFile& file, const Accounts& accounts) {
  struct Permission {
    std::int32_t object;
    std::string_view account;
    std::int32_t mask;
    bool inherited;
  };
  const Permission permissions[] = {
      {kObjectsTable, accounts.admin, 0x60000, false},
      {kAcesTable, accounts.admin, 0x60000, false},
      {kQueriesTable, accounts.admin, 0x60000, false},
      {kRelationshipsTable, accounts.admin, 0xE0000, false},
      {kTablesContainer, accounts.creator, 0xF00FE, true},
      {kTablesContainer, accounts.admin, 0x60001, false},
      {kRelationshipsContainer, accounts.creator, 0xF00FE, true},
      {kRelationshipsContainer, accounts.admin, 0x60001, false},
      {kDatabasesContainer, accounts.admin, 0x60000, false},
      {kDatabaseId, accounts.admin, 0x6000E, false},
      {kDatabaseId, accounts.users, 0x0E, false},
      {kQueriesTable, accounts.users, 0x14, false},
      {kRelationshipsTable, accounts.users, 0x14, false},
      {kObjectsTable, accounts.users, 0x14, false},
      {kTablesContainer, accounts.users, 0xFFEFF, true},
      {kRelationshipsContainer, accounts.users, 0xFFFFF, true},
  };
  const std::shared_ptr<Table> aces = file.OpenTable(kAcesTable, "MSysACEs");
  for (const Permission& permission : permissions) {
    std::vector<ColumnValue> entry(4);
    const auto set = [&](std::string_view column, ColumnValue value) {
      entry[*aces->definition().FindColumn(column)] = std::move(value);
    };
    set("ObjectId", StoredNumber(permission.object, 4));
    set("SID", StoredBytes(permission.account));
    set("ACM", StoredNumber(permission.mask, 4));
    set("FInheritable", StoredNumber(permission.inherited ? 1 : 0, 1));
    PutRecord(*aces, entry);
  }
}

}  // namespace

void FillNewDatabase(const std::shared_ptr<storage::Store>& store, Version version) {
  const Layout& layout = LayoutOf(version);
  {
    PageChannel channel(store, layout, 0);
    TextCodec text(layout.wide, kCodePage);
    Bracket bracket(channel);
    WriteHeader(layout, version, channel.Append());
    {
      // All pages are free but those that stand there now; those behind the end count as free.
      Page page = channel.Append();
      DataPage::Format(layout, page, kGlobalMapPage);
      std::vector<std::byte> free = UsageMap::EmptyRow(layout);
      std::fill(free.begin() + 5, free.end(), std::byte{0xFF});
      free[5] = static_cast<std::byte>(0xFF << kFirstFree & 0xFF);
      DataPage data(channel, page);
      data.Insert(free, 0);
      data.Insert(UsageMap::EmptyRow(layout), 0);
    }
    for (std::uint32_t page = kObjectsTable; page < kFirstFree; ++page) channel.Append();
    PageAllocator allocator(channel);
    MapRows maps(channel, allocator);
    for (TableDefinition& table : SystemTables(layout))
      PlaceTable(channel, allocator, text, kCodePage, maps, table);
    bracket.Commit();
  }
  const Accounts& accounts = layout.wide ? kMasked : kPlain;
  DatabaseFile file(store, ReadHeader(*store));
  Bracket bracket(file.channel());
  FillObjects(file, accounts);
  FillPermissions(file, accounts);
  bracket.Commit();
}

}  // namespace kelvorin::database::access
