#pragma once
// What a table's definition says about posting in chunks. Asks the server once per inserter;
// whenever a chunk could be told from single records, the answer is no. Included by .cpp files of
// this room only.

#include <string>
#include <vector>

#include "database/odbc/catalog.h"

namespace kelvorin::database::odbc {

struct TargetRules {
  bool chunks = false;        // several records may share a statement
  bool bound_arrays = false;  // MariaDB: arrays of parameters store the same as literals
  /// PostgreSQL: for each field the type, without length, that its array has; empty when a field
  /// cannot stand in an array.
  std::vector<std::string> element_types;
  /// SQLite: for each field whether a text of digits is stored as the number that they are.
  std::vector<bool> reads_digits;
};

TargetRules LearnTargetRules(const Session& session, const TableEntry& table,
                             const std::vector<std::string>& fields);

}  // namespace kelvorin::database::odbc
