#include "database/access/access_database.h"

#include "base/M_FILE.h"
#include "base/M_STRING.h"
#include "database/access/inspect.h"
#include "database/access/new_table.h"
#include "database/access/record_set.h"
#include "database/access/table.h"
#include "database/engine.h"

namespace kelvorin::database::access {

AccessDatabase::AccessDatabase(DBEngine& owner, OpenRequest asked,
                               std::shared_ptr<DatabaseFile> file)
    : Database(owner, std::move(asked)), file_(std::move(file)) {}

std::vector<TableInfo> AccessDatabase::DoTableDefs() {
  std::vector<TableInfo> tables;
  for (const CatalogEntry& entry : Catalog(*file_).Tables())
    tables.push_back({entry.name, entry.Attributes()});
  return tables;
}

CatalogEntry AccessDatabase::Entry(std::string_view name) {
  std::optional<CatalogEntry> entry = Catalog(*file_).Find(name);
  if (!entry)
    Throw(Code::kNotFound, ErrorNumber::kTableNotFound,
          "there is no table '" + std::string(name) + "' in '" + Name() + "'");
  return *entry;
}

TableDef AccessDatabase::DoFindTableDef(std::string_view name) {
  const CatalogEntry entry = Entry(name);
  if (!entry.linked())
    return Describe(*file_->OpenTable(entry.page(), entry.name), entry,
                    Catalog(*file_).Properties(entry));
  Database& other = LinkedDatabase(entry);
  RefuseLinkToLink(other, entry);
  Result<TableDef> found = other.FindTableDef(entry.foreign_name);
  if (!found.ok()) throw Error(found.status());
  TableDef def = std::move(*found);
  def.Name = entry.name;
  def.Attributes = entry.Attributes();
  def.Connect = entry.ConnectText();
  def.SourceTableName = entry.foreign_name;
  return def;
}

std::unique_ptr<Recordset> AccessDatabase::DoOpenRecordset(std::string_view name,
                                                           RecordsetType type) {
  const CatalogEntry entry = Entry(name);
  if (!entry.linked()) {
    const std::shared_ptr<Table> table = file_->OpenTable(entry.page(), entry.name);
    const std::vector<FieldProperties> properties = Catalog(*file_).Properties(entry);
    return std::make_unique<AccessRecordset>(*this, type, Describe(*table, entry, properties),
                                             file_, table, properties);
  }
  Database& other = LinkedDatabase(entry);
  RefuseLinkToLink(other, entry);
  // A linked table is never a table of this database; on a server only a snapshot can be had.
  if (other.Traits().table_type != RecordsetType::kTable) {
    type = other.Traits().table_type;
  } else if (type == RecordsetType::kTable) {
    type = RecordsetType::kDynaset;
  }
  Result<std::unique_ptr<Recordset>> opened = other.OpenRecordset(entry.foreign_name, type);
  if (!opened.ok()) throw Error(opened.status());
  return std::move(*opened);
}

void AccessDatabase::RefuseLinkToLink(Database& other, const CatalogEntry& entry) {
  if (dynamic_cast<AccessDatabase*>(&other) == nullptr) return;  // the others know no links
  const Result<std::vector<TableInfo>> tables = other.TableDefs();
  if (!tables.ok()) throw Error(tables.status());
  for (const TableInfo& table : *tables)
    if (base::EqualIgnoreCase(table.Name, entry.foreign_name) &&
        (table.Attributes & (kAttrLinkedJet | kAttrLinkedOdbc)) != 0)
      Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
            "table '" + entry.name + "' is linked to table '" + entry.foreign_name + "' of '" +
                other.Name() + "', which is itself a link");
}

/// The stored path where it exists, else a file of the same name beside this database.
std::string AccessDatabase::LinkedFile(const CatalogEntry& entry) const {
  storage::FileSystem& fs = file_->channel().store().file_system();
  if (fs.Exists(entry.database)) return entry.database;
  const std::string name = entry.database.substr(entry.database.find_last_of("/\\") + 1);
  const std::string folder = storage::FolderOf(file_->path());
  if (auto beside = base::FindIgnoringCase(folder, name, fs)) return *std::move(beside);
  Throw(Code::kNotFound, ErrorNumber::kFileNotFound,
        "table '" + entry.name + "' is linked to '" + entry.database +
            "', which is neither there nor beside '" + Name() + "'");
}

Database& AccessDatabase::LinkedDatabase(const CatalogEntry& entry) {
  std::string name;
  std::string connect;
  if (entry.kind == kOdbcLink) {
    connect = entry.ConnectText();
  } else {
    const ConnectString stored = ConnectString::Parse(entry.connect);
    const bool access =
        stored.type_word().empty() || base::EqualIgnoreCase(stored.type_word(), "MS Access");
    if (access) {
      name = LinkedFile(entry);
      connect = ";pwd=" + QuoteConnectValue(stored.password()) + ";";
    } else {
      name = entry.database;
      connect = entry.connect;
    }
  }
  std::unique_ptr<Database>& linked = linked_[name + "\n" + connect];
  if (linked != nullptr) return *linked;
  Result<std::unique_ptr<Database>> opened =
      engine().OpenDatabase(name, false, !Updatable(), connect);
  if (!opened.ok() && Updatable() && opened.status().code() == Code::kReadOnly)
    opened = engine().OpenDatabase(name, false, true, connect);
  if (!opened.ok()) {
    const Status& why = opened.status();
    throw Error(
        why.code(),
        "table '" + entry.name + "' is linked to another database: " + std::string(why.message()),
        why.number());
  }
  linked = std::move(*opened);
  return *linked;
}

CatalogEntry AccessDatabase::LocalEntry(std::string_view name) {
  CatalogEntry entry = Entry(name);
  if (entry.linked() || (entry.flags & kAttrSystemObject) != 0)
    Throw(Code::kNotSupported, ErrorNumber::kNotSupported,
          "table '" + entry.name + "' is " +
              (entry.linked() ? "a linked table" : "a system table") +
              " and cannot be changed here");
  return entry;
}

void AccessDatabase::DoCreateTable(const TableDef& table) {
  access::CreateTable(*file_, table);
}
void AccessDatabase::DoCreateIndex(std::string_view table, const IndexDef& index) {
  access::CreateIndex(*file_, LocalEntry(table), index);
}
void AccessDatabase::DoDeleteTable(std::string_view name) {
  access::DeleteTable(*file_, LocalEntry(name));
}

std::vector<std::string> AccessDatabase::DoInspect(std::string_view table) {
  return InspectFile(*file_, table);
}

void AccessDatabase::DoClose() {
  for (auto& [key, database] : linked_)
    if (database != nullptr)
      if (Status closed = database->Close(); !closed.ok()) throw Error(std::move(closed));
  linked_.clear();
  if (!file_->channel().read_only()) file_->channel().store().Flush();
  file_ = nullptr;
}

}  // namespace kelvorin::database::access
