#pragma once
// How the known servers take records: which statement form is fastest there, when it commits, and
// for which tables nothing but one statement per record is safe. Included by .cpp files of this
// room only.

#include <memory>
#include <string>
#include <vector>

#include "database/odbc/catalog.h"
#include "database/odbc/chunk_poster.h"

namespace kelvorin::database::odbc {

/// The target of a strategy, resolved once.
struct PostTarget {
  TableEntry table;
  database::TableDef def;
  std::vector<std::string> fields;  // as the server spells them
  std::vector<values::TypeCode> types;
};

/// The strategy for a target. With `one_by_one`, or where the table's triggers, rules, keys or
/// engine would tell chunks from single records, every record is a statement of its own.
std::unique_ptr<PostStrategy> MakeStrategy(Session& session, PostTarget target, bool one_by_one);

}  // namespace kelvorin::database::odbc
