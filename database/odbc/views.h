#pragma once
// What a view reads. Used by this room's record sets alone.

#include "database/odbc/catalog.h"

namespace kelvorin::database::odbc {

/// Whether a view's rows come out of a table of the same database, directly or through other views.
/// False for what keeps rows of its own, and where the server does not tell.
bool ReadsFrom(Session& session, const TableEntry& view, const TableEntry& table);

}  // namespace kelvorin::database::odbc
