#pragma once
// Texts that a server reads into a field of dates, times or numbers though no value of the engine's
// holds all that they say, so that a table is copied to its own kind of server as it is. Pure
// rules; included by .cpp files of this room only.

#include <string_view>

#include "database/odbc/type_map.h"
#include "database/table_def.h"

namespace kelvorin::database::odbc {

/// Whether the text has the one form that the server reads without guessing and keeps whole.
bool ServerTakes(Server server, const database::FieldDef& field, std::string_view text) noexcept;

}  // namespace kelvorin::database::odbc
