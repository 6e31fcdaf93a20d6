#pragma once
// What the tests of this room share beside the folders of `tests/xbase/xbase_support.h`: the
// independent checker where it and Python are at hand.

#include "tests/xbase/xbase_support.h"

namespace kelvorin::tests {

/// The independent checker finds nothing in a table file; it is said once when it is left out.
void CheckByOracle(const std::string& path, const std::string& options = "-s");

/// Copies a table and all its companions from one real folder to another.
void CopyTable(const std::string& from, const std::string& name, const std::string& to);

}  // namespace kelvorin::tests
