#include "database/access/new_table.h"

#include <algorithm>
#include <bit>

#include "base/case_map.h"
#include "database/access/field_codec.h"
#include "database/access/properties.h"
#include "database/access/table.h"
#include "database/access/table_pages.h"
#include "database/access/table_plan.h"

namespace kelvorin::database::access {

ColumnValue StoredNumber(std::int64_t value, std::size_t bytes) {
  ColumnValue out;
  out.assigned = true;
  out.null = false;
  base::AppendLE(static_cast<std::uint64_t>(value), bytes, out.bytes);
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
  std::string found;
  objects.ForEachRow([&](RowId, const std::vector<ColumnValue>& values) {
    if (values[id].null || values[id].bytes != StoredNumber(kDatabaseId, 4).bytes) return true;
    found = values[owner].bytes;
    return false;
  });
  return found;
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
  aces->ForEachRow([&](RowId, const std::vector<ColumnValue>& values) {
    if (values[*object].bytes == StoredNumber(kTablesContainer, 4).bytes &&
        std::find(accounts.begin(), accounts.end(), values[*account].bytes) == accounts.end())
      accounts.push_back(values[*account].bytes);
    return true;
  });
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
    opened->ForEachRow([&](RowId at, const std::vector<ColumnValue>& values) {
      opened->EnterIndex(opened->definition().indexes.back(), at, values);
      return true;
    });
  }
  bracket.Commit();
}

namespace {

/// Removes the rows of a system table in which a column has this value.
void RemoveRows(Table& table, std::size_t column, const ColumnValue& value) {
  std::vector<RowId> found;
  table.ForEachRow([&](RowId at, const std::vector<ColumnValue>& values) {
    if (!values[column].null && values[column].bytes == value.bytes) found.push_back(at);
    return true;
  });
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
  const auto text = [&](const ColumnValue& value) {
    std::string out;
    if (!value.null) file.text().Decode(base::AsBytes(value.bytes), out);
    return out;
  };
  std::string found;
  relations->ForEachRow([&](RowId, const std::vector<ColumnValue>& values) {
    if (!base::EqualAnyCase(text(values[*object]), table) &&
        !base::EqualAnyCase(text(values[*referenced]), table))
      return true;
    found = text(values[*name]);
    return false;
  });
  return found;
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
  FreeTable(file.channel(), file.allocator(), table);
  bracket.Commit();
}

}  // namespace kelvorin::database::access
