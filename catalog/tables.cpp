#include "catalog/tables.h"

#include "base/M_Misc.h"
#include "base/case_map.h"
#include "contract/enums.h"

namespace kelvorin::catalog {

using database::RecordsetType;
using database::TableInfo;

Result<std::vector<std::string>> ListSourceTables(database::Database& database) {
  Result<std::vector<TableInfo>> tables = database.TableDefs();
  if (!tables.ok()) return tables.status();
  std::vector<std::string> names;
  for (TableInfo& table : *tables)
    if ((table.Attributes & database::kAttrSystemObject) == 0)
      names.push_back(std::move(table.Name));
  return names;
}

int SelectSourceTable(const std::vector<std::string>& tables, std::string& name) {
  const int found = name.empty() ? -1 : base::FindListItem(tables, name);
  if (found >= 0) return found;
  name = tables.empty() ? std::string() : tables.front();
  return tables.empty() ? -1 : 0;
}

Result<TargetTables> FillTargetTables(database::Database& database,
                                      contract::Properties& properties,
                                      contract::EventSink& events) {
  TargetTables result;
  if (properties.tableName.empty()) properties.MultiTable = true;
  if (!properties.MultiTable) {
    result.fixed = true;
    result.table_name = properties.tableName;
    return result;
  }
  Result<std::vector<TableInfo>> tables = database.TableDefs();
  if (!tables.ok()) return tables.status();
  for (TableInfo& table : *tables) {
    if (table.Attributes != 0) continue;
    bool hide = false;
    events.FilterTable(table.Name, hide);
    if (!hide) result.names.push_back(std::move(table.Name));
  }
  if (result.names.empty()) return result;
  result.selected = 0;
  for (std::size_t i = 0; !properties.tableName.empty() && i < result.names.size(); ++i)
    if (base::EqualAnyCase(result.names[i], properties.tableName))
      result.selected = static_cast<int>(i);
  result.table_name = result.names[static_cast<std::size_t>(result.selected)];
  return result;
}

Result<std::unique_ptr<database::Recordset>> OpenTableRecordset(database::Database& database,
                                                                std::string_view table,
                                                                std::int32_t kind,
                                                                contract::Platform& platform) {
  RecordsetType type = database.Traits().table_type;
  if (type == RecordsetType::kTable && kind == contract::kAccess) {
    const Result<database::TableDef> def = database.FindTableDef(table);
    if (!def.ok()) return def.status();
    if ((def->Attributes & (database::kAttrLinkedJet | database::kAttrLinkedOdbc)) != 0)
      type = RecordsetType::kDynaset;
  }
  platform.SetWaitCursor(true);
  auto opened = database.OpenRecordset(table, type);
  platform.SetWaitCursor(false);
  return opened;
}

}  // namespace kelvorin::catalog
