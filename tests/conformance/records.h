#pragma once
// Records written as texts, for the conformance suite and the drivers' own tests. "<null>" stands
// for Null everywhere.

#include <string>
#include <string_view>
#include <vector>

#include "database/database.h"
#include "database/recordset.h"

namespace kelvorin::tests {

using Texts = std::vector<std::string>;

/// Stores a record, one text for each field; "<null>" leaves the field unassigned.
Status Append(database::Recordset& set, const Texts& texts);
/// Gives a field of the current record another text; "<null>" makes it Null.
Status Change(database::Recordset& set, std::size_t field, std::string_view text);

/// Every field of the current record; Null is "<null>", what cannot be read "<error>".
Texts TextsOf(database::Recordset& set);
/// Whether the keys are found in the order of an index.
bool Finds(database::Recordset& set, std::string_view index,
           const std::vector<std::string_view>& keys);
/// The driver's own check finds nothing.
void CheckSound(database::Database& database, std::string_view table = {});

}  // namespace kelvorin::tests
