#pragma once
// Verifies the indexes of an open table: each tree page by page, and its entries against the
// records. Changes nothing.

#include <string>
#include <vector>

#include "database/xbase/table.h"

namespace kelvorin::database::xbase {

/// Appends one sentence for each thing that is wrong, a few for each tag at most.
void InspectIndexes(Table& table, std::vector<std::string>& problems);

}  // namespace kelvorin::database::xbase
