#pragma once
// What the rows of a table are read by in pages, where the driver would hold the whole table
// otherwise: SQLite's row number, MariaDB's primary key or another key that no two rows share. Used
// by this room's row stream alone.

#include <cstddef>
#include <string>
#include <vector>

#include "database/odbc/catalog.h"
#include "database/odbc/session.h"

namespace kelvorin::database::odbc {

struct PageKey {
  struct Part {
    std::string name;            // as it stands in a statement
    std::string selected;        // how its text is asked for
    std::string before, after;   // around that text where it is compared with
    std::size_t cell_bytes = 0;  // of the longest text, terminator included
  };
  std::vector<Part> parts;
  std::string hint;   // stands behind the table's name
  std::string bound;  // a condition that every row meets, since it was there at the start

  bool empty() const noexcept { return parts.empty(); }
  /// ",k1,k2": what is asked for behind the table's own columns.
  std::string Selected() const;
  /// " WHERE ... ORDER BY ... LIMIT rows": the rows behind the one with the texts `last`, or the
  /// first ones when that is empty.
  std::string PageText(const std::vector<std::string>& last, std::size_t rows) const;
};

/// The key on which `connection` pages through the table, empty where there is none: MariaDB tables
/// outside InnoDB, since only there all pages are of one moment, or whose unique keys may be Null
/// or are of types whose texts may not compare as they do; tables of SQLite without row numbers.
PageKey FindPageKey(const Session& session, const Connection& connection, const TableEntry& table,
                    const std::vector<database::FieldDef>& fields);

}  // namespace kelvorin::database::odbc
