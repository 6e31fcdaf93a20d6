#pragma once
// The two ways in which a table of a server takes records: inserts, in chunks where the table
// allows it, and updates by key, one by one. Included by .cpp files of this room only.

#include <memory>

#include "database/odbc/strategies.h"
#include "database/row_poster.h"

namespace kelvorin::database::odbc {

/// `session`, `engine` and `receiver` outlive the poster.
std::unique_ptr<database::RowPoster> MakeInsertPoster(database::DBEngine& engine, Session& session,
                                                      PostTarget target,
                                                      database::RowReceiver& receiver,
                                                      bool one_by_one);
/// Throws kInvalidArgument for keys that are no fields of the poster.
std::unique_ptr<database::RowPoster> MakeUpdatePoster(database::DBEngine& engine, Session& session,
                                                      PostTarget target,
                                                      database::RowReceiver& receiver,
                                                      database::PostOptions options);

}  // namespace kelvorin::database::odbc
