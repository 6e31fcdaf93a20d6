#pragma once
// What every data source must do alike, whatever its server: values that keep their bytes, record
// sets that know their place, statements that tell how many records they changed.

#include <string>
#include <string_view>

#include "database/api/engine.h"

namespace kelvorin::tests {

/// MoveNext that must succeed.
void Advance(database::Recordset& set);
/// Texts that would mean something to some server come back byte for byte, and none breaks out of
/// its literal. `type` is the server's word for long texts.
void CheckLiterals(database::Database& database, std::string_view type);
/// Moving, counting and bookmarks on a table of `rows` records with short and long texts.
void CheckMoving(database::Database& database, int rows);
/// Counts of changed records, refused statements, catalogue look-ups by name.
void CheckStatements(database::Database& database);
/// Fields as "name:type:size", "*" behind automatic numbers; indexes as "name(+a;-b)" with "!" for
/// unique and "#" for primary.
std::string ShowTable(database::Database& database, std::string_view table);
/// MiB that this process grew by while it read a whole table.
double GrowthWhileReading(database::Database& database, std::string_view table, std::int64_t rows);

}  // namespace kelvorin::tests
