#pragma once
// What every data source must do alike beyond what all drivers promise: values that keep their
// bytes in statements, statements that tell how many records they changed, names of any kind.

#include <string>
#include <string_view>

#include "database/engine.h"

namespace kelvorin::tests {

/// MoveNext that must succeed.
void Advance(database::Recordset& set);
/// Texts that would mean something to some server come back byte for byte, and none breaks out of
/// its literal. `type` is the server's word for long texts.
void CheckLiterals(database::Database& database, std::string_view type);
/// Counts of changed records, refused statements, names with every odd character.
void CheckStatements(database::Database& database);
/// Fields as "name:type:size", "*" behind automatic numbers; indexes as "name(+a;-b)" with "!" for
/// unique and "#" for primary.
std::string ShowTable(database::Database& database, std::string_view table);
/// MiB that this process grew by while it read a whole table.
double GrowthWhileReading(database::Database& database, std::string_view table, std::int64_t rows);

}  // namespace kelvorin::tests
