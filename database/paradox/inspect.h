#pragma once
// Verifies an open table and its companions against the invariants of the format
// (docs/formats/paradox.md numbers them). Reads every record; changes nothing.

#include <string>
#include <vector>

#include "database/paradox/table.h"

namespace kelvorin::database::paradox {

/// Appends one sentence for each thing that is wrong; stops after a hundred of them.
void InspectTable(Table& table, std::vector<std::string>& problems);

}  // namespace kelvorin::database::paradox
