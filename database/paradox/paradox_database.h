#pragma once
// A folder of Paradox tables as one database: lists, opens, makes, deletes and inspects its tables
// and makes their indexes. Made by the driver of this room.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "database/folder/folder_database.h"
#include "database/paradox/new_table.h"
#include "database/paradox/table.h"

namespace kelvorin::database::paradox {

class ParadoxDatabase final : public folder::FolderDatabase {
 public:
  /// `product` decides how tables are made; tables are opened by what they are. `password` opens
  /// encrypted ones, and tables made with one are encrypted.
  ParadoxDatabase(DBEngine& owner, OpenRequest asked, std::string folder, Product product,
                  std::string password, std::shared_ptr<OpenTables> tables);

 private:
  TableDef DoFindTableDef(std::string_view name) override;
  std::unique_ptr<Recordset> DoOpenRecordset(std::string_view name, RecordsetType type) override;
  void DoCreateTable(const TableDef& table) override;
  void DoCreateIndex(std::string_view table, const IndexDef& index) override;
  void DoDeleteTable(std::string_view name) override;
  std::int64_t DoRebuildIndexes(std::string_view name) override;
  void InspectFile(const std::string& path, std::vector<std::string>& problems) override;

  std::shared_ptr<Table> Open(const std::string& path, bool write) const;
  TableDef Describe(Table& table) const;
  std::vector<NewFile> PlanAnew(Table& table, const IndexDef& primary) const;
  void WriteFiles(const std::string& table_path, const std::vector<NewFile>& files) const;

  Product product_;
  std::string password_;
  std::shared_ptr<OpenTables> tables_;
};

}  // namespace kelvorin::database::paradox
