#pragma once
// Records written as texts, for the conformance suite and the drivers' own tests. "<null>" stands
// for Null everywhere.

#include <string>
#include <string_view>
#include <vector>

#include "database/recordset.h"

namespace kelvorin::tests {

using Texts = std::vector<std::string>;

/// Stores a record, one text for each field; "<null>" leaves the field unassigned.
Status Append(database::Recordset& set, const Texts& texts);
/// Gives a field of the current record another text; "<null>" makes it Null.
Status Change(database::Recordset& set, std::size_t field, std::string_view text);

}  // namespace kelvorin::tests
