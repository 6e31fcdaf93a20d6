#pragma once
// Verifies an open table against the invariants of its format (docs/formats/xbase.md numbers them).
// Reads every record; changes nothing.

#include <string>
#include <vector>

#include "database/xbase/table.h"

namespace kelvorin::database::xbase {

/// Appends one sentence for each thing that is wrong; stops listing after a hundred of them.
void InspectTable(Table& table, std::vector<std::string>& problems);

}  // namespace kelvorin::database::xbase
