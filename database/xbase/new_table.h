#pragma once
// Making the bytes of a new, empty table from a definition: which field type stands for which
// value type, how names are fitted to ten characters, and what a product refuses. Pure planning;
// the database writes the files.

#include <string>

#include "database/table_def.h"
#include "database/xbase/version.h"

namespace kelvorin::database::xbase {

struct NewTable {
  std::string header;  // the whole table file but its end mark
  MemoKind memo = MemoKind::kNone;
};

/// Plans a table in the manner of `product`. Throws base::Error naming the field and the limit when
/// the product cannot hold it. `today` is stamped into the header by the caller.
///
/// Field names become upper case, characters other than A-Z, 0-9 and "_" become "_", a name that
/// begins with no letter gets an "F" in front, longer ones are cut to ten characters, and of equal
/// ones the later ones end in a number. A text of 255 becomes one of 254. Numbers of type Numeric
/// or Decimal take size and decimals as asked for; Double, Single and Float do so unless the size
/// is merely the type's storage width (8, 4), which says nothing about digits.
NewTable PlanTable(const TableDef& table, Product product);

}  // namespace kelvorin::database::xbase
