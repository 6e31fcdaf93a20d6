#pragma once
// Where tables are made, get an index, and are deleted: their pages together with their entries in
// the catalog, each in one bracket.

#include <cstdint>
#include <string_view>
#include <vector>

#include "database/access/catalog.h"
#include "database/access/database_file.h"
#include "database/access/table.h"
#include "database/table_def.h"

namespace kelvorin::database::access {

/// Each is refused whole, with the reason, or done whole. A table that is open is not changed.
void CreateTable(DatabaseFile& file, const TableDef& asked);
void CreateIndex(DatabaseFile& file, const CatalogEntry& entry, const IndexDef& asked);
void DeleteTable(DatabaseFile& file, const CatalogEntry& entry);

/// A stored value for a column of a system table.
ColumnValue StoredNumber(std::int64_t value, std::size_t bytes);
ColumnValue StoredText(TextCodec& text, std::string_view value);
ColumnValue StoredBytes(std::string_view bytes);
ColumnValue StoredDate(values::DateTime date);
/// Stores a record of a system table; failures are thrown.
void PutRecord(Table& table, std::vector<ColumnValue>& values);

}  // namespace kelvorin::database::access
