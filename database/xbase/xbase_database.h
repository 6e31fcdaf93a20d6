#pragma once
// A folder of dBASE and FoxPro tables as one database: lists, opens, makes, deletes and inspects
// its tables. Made by the driver of this room.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "database/folder/folder_database.h"
#include "database/xbase/table.h"
#include "database/xbase/version.h"

namespace kelvorin::database::xbase {

class XbaseDatabase final : public folder::FolderDatabase {
 public:
  /// `product` decides how tables are made; tables are opened by what they are.
  XbaseDatabase(DBEngine& owner, OpenRequest asked, std::string folder, Product product,
                std::shared_ptr<OpenTables> tables);

 private:
  TableDef DoFindTableDef(std::string_view name) override;
  std::unique_ptr<Recordset> DoOpenRecordset(std::string_view name, RecordsetType type) override;
  void DoCreateTable(const TableDef& table) override;
  void DoCreateIndex(std::string_view name, const IndexDef& index) override;
  std::int64_t DoRebuildIndexes(std::string_view name) override;
  void DoDeleteTable(std::string_view name) override;
  void InspectFile(const std::string& path, std::vector<std::string>& problems) override;

  TableDef Describe(const Table& table) const;
  void Announce(Table& table);
  void MakeIndex(const std::string& path, const IndexDef& index,
                 const std::vector<FieldDef>& fields);
  void MarkIndexed(const std::string& path, const TableLayout& layout, const TagDefinition& tag,
                   IndexKind kind);
  void ListIndex(const std::string& path, const IndexFileName& file);
  std::vector<std::string> FilesOf(const std::string& path) const;

  Product product_;
  std::shared_ptr<OpenTables> tables_;
};

}  // namespace kelvorin::database::xbase
