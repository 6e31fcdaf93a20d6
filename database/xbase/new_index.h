#pragma once
// Planning a new index from its definition: which format a table gets, and the expression, flags
// and key length of the tag. Writes nothing.

#include <span>

#include "database/table_def.h"
#include "database/xbase/tag.h"
#include "database/xbase/version.h"

namespace kelvorin::database::xbase {

/// The format of new indexes of a table. Version 0x03 is shared by several products; there the one
/// asked for decides.
IndexKind NewIndexKind(const TableLayout& layout, Product product) noexcept;

struct NewTag {
  TagDefinition definition;
  bool constraint = false;  // of formats that say so outside of the file
};

/// Plans a tag on these columns of the layout, one for each of `index.Columns`; where there are
/// none, on `index.Expression`. Throws base::Error naming the index and what the format cannot
/// hold.
NewTag PlanTag(const IndexDef& index, std::span<const std::size_t> columns, IndexKind kind,
               const TableLayout& layout);

/// Capitals, digits and "_", at most ten.
std::string TagName(std::string_view wanted);

}  // namespace kelvorin::database::xbase
