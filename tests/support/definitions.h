#pragma once
// Definitions of fields and indexes in one line each, for tests, fuzzers and benchmarks.

#include <string>
#include <string_view>
#include <utility>

#include "database/table_def.h"

namespace kelvorin::tests {

inline database::FieldDef MakeField(std::string name, values::TypeCode type, std::int32_t size = 0,
                                    std::int32_t decimals = 0) {
  database::FieldDef field;
  field.Name = std::move(name);
  field.Type = type;
  field.Size = size;
  field.Decimals = decimals;
  return field;
}

/// `columns` as in `+Name;-Born`. A primary index is unique and takes no Null.
inline database::IndexDef MakeIndex(std::string name, std::string_view columns, bool unique = false,
                                    bool primary = false) {
  database::IndexDef index;
  index.Name = std::move(name);
  index.Columns = database::ParseIndexFields(columns);
  index.Unique = unique || primary;
  index.Primary = index.Required = primary;
  return index;
}

}  // namespace kelvorin::tests
