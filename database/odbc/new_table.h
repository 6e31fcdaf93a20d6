#pragma once
// New tables on a server: the statements that make one, with the server's own words for the types.
// Used by the room's database alone.

#include <string>
#include <vector>

#include "database/odbc/session.h"
#include "database/table_def.h"

namespace kelvorin::database::odbc {

/// What makes the table and then its indexes, one statement each, in the ANSI page. A type that the
/// server does not have becomes one that keeps every value: text where numbers would be rounded.
/// Defaults are not taken over, since they are written in the words of where they come from.
/// Throws for a server whose types are not known and for an automatic number that is no primary
/// key.
std::vector<std::string> CreateStatements(const Session& session, const database::TableDef& table);
/// `table` is quoted already.
std::string CreateIndexStatement(const Session& session, const std::string& table,
                                 const database::IndexDef& index);
/// The quoted name of a table that is to be made: a part before "." that is a schema stands for it.
std::string NewTableName(const Session& session, const std::string& name);

}  // namespace kelvorin::database::odbc
