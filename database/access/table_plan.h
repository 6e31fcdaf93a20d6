#pragma once
// The plan of a table: columns, their places in a row and indexes as the format holds them, from
// what the interface asks for. Pure; nothing is written.

#include <string_view>

#include "database/access/database_file.h"
#include "database/access/table_definition.h"
#include "database/table_def.h"

namespace kelvorin::database::access {

/// Columns and indexes of a table as the format holds them; refuses what it cannot.
/// kInvalidArgument, kNotSupported or kOutOfRange name the field or index.
TableDefinition PlanTable(const DatabaseFile& file, const TableDef& asked);
/// An index of a planned or an existing table.
PhysicalIndex PlanIndex(const Layout& layout, const TableDefinition& table, const IndexDef& asked);
/// Adds a planned index and its name to a table; refuses a name that it has and a second primary
/// one.
void AddIndex(const Layout& layout, TableDefinition& table, const IndexDef& asked);

/// Refuses names that the format or the catalog does not take.
void CheckName(std::string_view name, std::string_view what);

}  // namespace kelvorin::database::access
