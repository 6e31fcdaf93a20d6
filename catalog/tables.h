#pragma once
// Lists of tables: what a source offers, which tables a target offers, and how a table is opened.
// The forms fill their list boxes from these; the run opens its source table here.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "contract/platform.h"
#include "database/database.h"

namespace kelvorin::catalog {

/// Tables that may be read from, in the database's order: all but system tables, linked ones too.
Result<std::vector<std::string>> ListSourceTables(database::Database& database);

/// The selection in a list of source tables: `name` stays when the list holds it, else it becomes
/// the first entry (empty when there is none). Returns the index of the selected entry, or -1.
int SelectSourceTable(const std::vector<std::string>& tables, std::string& name);

/// What the user may choose as the target table.
struct TargetTables {
  bool fixed = false;              // the host named the one table; `names` is empty then
  std::vector<std::string> names;  // in the database's order
  int selected = -1;               // index into `names`
  std::string table_name;          // the table chosen so far, empty for none
};

/// Settles the target table. An empty `tableName` sets `MultiTable`. Unless the table is fixed, all
/// local tables are offered to the host's FilterTable; the first one, or the last whose name equals
/// `tableName` in any case, is selected. Linked and system tables are never targets.
Result<TargetTables> FillTargetTables(database::Database& database,
                                      contract::Properties& properties,
                                      contract::EventSink& events);

/// Opens a table of a database of `kind` under the wait cursor: a snapshot of an ODBC table, a
/// dynaset of a linked Access table, the table itself otherwise.
Result<std::unique_ptr<database::Recordset>> OpenTableRecordset(database::Database& database,
                                                                std::string_view table,
                                                                std::int32_t kind,
                                                                contract::Platform& platform);

}  // namespace kelvorin::catalog
