#pragma once
// An Access file as a database of the interface: its catalog, its tables and linked ones, new
// tables, the check of the whole file. Made by the driver of this room.

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "database/access/catalog.h"
#include "database/database.h"

namespace kelvorin::database::access {

class AccessDatabase final : public Database {
 public:
  AccessDatabase(DBEngine& owner, OpenRequest asked, std::shared_ptr<DatabaseFile> file);

 private:
  std::vector<TableInfo> DoTableDefs() override;
  TableDef DoFindTableDef(std::string_view name) override;
  std::unique_ptr<Recordset> DoOpenRecordset(std::string_view name, RecordsetType type) override;
  void DoCreateTable(const TableDef& table) override;
  void DoCreateIndex(std::string_view table, const IndexDef& index) override;
  void DoDeleteTable(std::string_view name) override;
  std::vector<std::string> DoInspect(std::string_view table) override;
  void DoClose() override;

  CatalogEntry Entry(std::string_view name);
  /// The same of a table of this file, for changing it.
  CatalogEntry LocalEntry(std::string_view name);
  /// The database that a linked table lives in, opened once.
  Database& LinkedDatabase(const CatalogEntry& entry);
  std::string LinkedFile(const CatalogEntry& entry) const;
  void RefuseLinkToLink(Database& other, const CatalogEntry& entry);

  std::shared_ptr<DatabaseFile> file_;  // shared with other openings of the file in this process
  std::map<std::string, std::unique_ptr<Database>> linked_;
};

}  // namespace kelvorin::database::access
