#pragma once
// What a column described by an ODBC driver is in the engine's terms: type code, size, whether the
// server counts it up by itself. Pure rules, tried per driver; used by the catalog of this room.

#include <cstdint>
#include <string>

#include "database/table_def.h"

namespace kelvorin::database::odbc {

/// Servers whose ways are known; everything else is treated with the general rules.
enum class Server { kSqlite, kPostgres, kMariaDb, kOther };

/// A result column in the driver's words.
struct ColumnFacts {
  std::string name;
  std::int16_t sql_type = 0;  // SQL_... code of the description
  std::string type_name;      // the server's word for the type, any case
  std::uint64_t size = 0;     // characters, bytes or digits
  std::int16_t scale = 0;
  bool is_unsigned = false;
  bool is_auto = false;
  bool refuses_null = false;
  bool refuses_empty = false;  // an empty text is no value of the type
  bool unlimited = false;      // decimals without a declared precision
  bool takes_truth = false;    // a number declared as truth value
};

database::FieldDef FieldOf(const ColumnFacts& column, Server server);

}  // namespace kelvorin::database::odbc
