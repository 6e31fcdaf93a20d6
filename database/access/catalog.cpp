#include "database/access/catalog.h"

#include <algorithm>

#include "base/case_map.h"
#include "database/access/field_codec.h"
#include "database/access/long_values.h"
#include "database/access/sort_keys.h"
#include "database/access/table.h"

namespace kelvorin::database::access {
namespace {

constexpr std::uint32_t kHiddenFlag = 0x08;
constexpr std::size_t kMostCatalogText = 1 << 16;  // bytes of a link's text that are believed
constexpr std::size_t kMostProperties = 1 << 24;

}  // namespace

std::uint32_t CatalogEntry::Attributes() const noexcept {
  std::uint32_t attributes = flags & kAttrSystemObject;
  if (kind == kFileLink) attributes |= kAttrLinkedJet;
  if (kind == kOdbcLink) attributes |= kAttrLinkedOdbc;
  if ((flags & kHiddenFlag) != 0) attributes |= 1;
  return attributes;
}

std::string CatalogEntry::ConnectText() const {
  if (kind == kOdbcLink) return "ODBC;" + connect;
  if (kind != kFileLink) return {};
  return connect.empty() ? ";DATABASE=" + database : connect + "DATABASE=" + database;
}

Catalog::Catalog(DatabaseFile& file)
    : file_(file), objects_(file.OpenTable(kObjectsTable, "MSysObjects")) {
  id_ = ColumnOf("Id");
  parent_ = ColumnOf("ParentId");
  name_ = ColumnOf("Name");
  type_ = ColumnOf("Type");
  flags_ = ColumnOf("Flags");
  database_ = ColumnOf("Database");
  connect_ = ColumnOf("Connect");
  foreign_ = ColumnOf("ForeignName");
  properties_ = ColumnOf("LvProp");
}

std::size_t Catalog::ColumnOf(std::string_view name) const {
  const auto column = objects_->definition().FindColumn(name);
  if (!column)
    file_.channel().Corrupt(kObjectsTable,
                            "the table of objects has no column '" + std::string(name) + "'");
  return *column;
}

std::string Catalog::TextOf(std::size_t column) {
  const ColumnValue& value = values_[column];
  std::string out;
  if (value.null) return out;
  std::string contents;
  base::ByteSpan stored = base::AsBytes(value.bytes);
  if (IsLongValue(objects_->definition().columns[column].type)) {
    ReadLongValue(file_.channel(), stored, contents, kMostCatalogText);
    stored = base::AsBytes(contents);
  }
  file_.text().Decode(stored, out);
  return out;
}

std::int32_t Catalog::NumberOf(std::size_t column) {
  const ColumnValue& value = values_[column];
  if (value.null) return 0;
  if (value.bytes.size() >= 4)
    return static_cast<std::int32_t>(base::LoadLE32(base::AsBytes(value.bytes), 0));
  if (value.bytes.size() == 2)
    return static_cast<std::int16_t>(base::LoadLE16(base::AsBytes(value.bytes), 0));
  return 0;
}

void Catalog::Read(RowId at, CatalogEntry& out) {
  RowImage image;
  if (!objects_->rows().Read(at, image))
    file_.channel().Corrupt(at.page(), "a row of the table of objects is gone");
  objects_->Load(image, values_);
  out = {};
  out.row = at;
  out.kind = NumberOf(type_);
  out.id = NumberOf(id_);
  out.parent = NumberOf(parent_);
  out.flags = static_cast<std::uint32_t>(NumberOf(flags_));
  out.name = TextOf(name_);
  if (!out.linked()) return;
  out.database = TextOf(database_);
  out.connect = TextOf(connect_);
  out.foreign_name = TextOf(foreign_);
}

std::vector<CatalogEntry> Catalog::Tables() {
  std::vector<std::pair<std::string, CatalogEntry>> found;
  const Column& name = objects_->definition().columns[name_];
  CatalogEntry entry;
  for (RowId at = objects_->rows().Next({}); at; at = objects_->rows().Next(at)) {
    Read(at, entry);
    if ((entry.kind != kLocalTable && !entry.linked()) || entry.name.starts_with('~')) continue;
    std::string key;
    if (HasKeys(name)) {
      AppendKey(file_.version(), name, true, base::AsBytes(values_[name_].bytes), file_.text(),
                key);
    } else {
      base::AppendUpper(entry.name, key);
    }
    found.emplace_back(std::move(key), entry);
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<CatalogEntry> tables;
  tables.reserve(found.size());
  for (auto& [key, table] : found) tables.push_back(std::move(table));
  return tables;
}

template <typename Wanted>
std::optional<CatalogEntry> Catalog::FindEntry(Wanted wanted) {
  CatalogEntry entry;
  for (RowId at = objects_->rows().Next({}); at; at = objects_->rows().Next(at)) {
    Read(at, entry);
    if (wanted(entry)) return entry;
  }
  return std::nullopt;
}

std::optional<CatalogEntry> Catalog::Find(std::string_view name) {
  return FindEntry([&](const CatalogEntry& entry) {
    return (entry.kind == kLocalTable || entry.linked()) && base::EqualAnyCase(entry.name, name);
  });
}

bool Catalog::NameTaken(std::string_view name) {
  return FindEntry([&](const CatalogEntry& entry) {
           return entry.parent == kTablesContainer && base::EqualAnyCase(entry.name, name);
         })
      .has_value();
}

std::vector<FieldProperties> Catalog::Properties(const CatalogEntry& entry) {
  CatalogEntry again;
  Read(entry.row, again);
  const ColumnValue& value = values_[properties_];
  if (value.null) return {};
  std::string blob;
  ReadLongValue(file_.channel(), base::AsBytes(value.bytes), blob, kMostProperties);
  return ReadProperties(base::AsBytes(blob), file_.text());
}

TableDef Describe(Table& table, const CatalogEntry& entry,
                  const std::vector<FieldProperties>& properties) {
  TableDef def;
  def.Name = entry.name;
  def.Attributes = entry.Attributes();
  const TableDefinition& definition = table.definition();
  for (const Column& column : definition.columns) {
    FieldDef field;
    field.Name = column.name;
    field.Type = TypeCodeOf(column);
    field.Size = ShownSize(table.file().layout(), column);
    field.Decimals = column.scale;
    if (column.type == ColumnType::kDecimal) field.Digits = column.precision;
    field.AutoIncrement = column.counter();
    field.AllowZeroLength = false;
    field.Keeps.null_is_false = column.is_bit();
    for (const FieldProperties& known : properties) {
      if (!base::EqualAnyCase(known.name, column.name)) continue;
      field.Required = known.required;
      field.AllowZeroLength = known.allow_zero_length && values::IsText(field.Type);
      field.ValidationRule = known.validation_rule;
      const DefaultPlan plan = UnderstandDefault(known.default_value);
      if (plan.kind != DefaultPlan::Kind::kRandom) field.DefaultValue = plan.text;
    }
    def.Fields.push_back(std::move(field));
  }
  for (const LogicalIndex& name : definition.names) {
    if (name.name.starts_with('.')) continue;  // the far side of a relation
    const PhysicalIndex& physical = definition.indexes[name.physical];
    IndexDef index;
    index.Name = name.name;
    index.Unique = physical.unique();
    index.Primary = name.kind == IndexKind::kPrimary;
    index.Required = physical.required();
    index.IgnoreNulls = physical.ignore_nulls();
    for (const KeyColumn& key : physical.columns)
      index.Columns.push_back({definition.columns[key.column].name, !key.ascending});
    def.Indexes.push_back(std::move(index));
  }
  if (definition.kind != kUserTable || (entry.flags & kAttrSystemObject) != 0) {
    def.WhyReadOnly = "it is a table of the system";
  } else {
    def.WhyReadOnly = table.why_read_only();
  }
  def.Updatable = def.WhyReadOnly.empty();
  return def;
}

}  // namespace kelvorin::database::access
