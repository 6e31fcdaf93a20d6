#pragma once
// Verifies a database file against the format's invariants and says, one sentence each, what is
// wrong. Never changes anything; goes on behind a fault as far as it can.
//
// Invariants:
//  1  the file is whole pages
//  2  a page belongs to one owner, and what belongs to somebody is not free
//  3  a definition is as long as it says and ends with its mark
//  4  a data page names its table, its rows lie one behind the other, its free bytes are counted
//  5  every row can be read; a moved row is pointed to once
//  6  the definition counts the rows
//  7  a long value is complete, its rows are nobody else's and lie on pages of its column; every
//     row on such a page belongs to a value
//  8  index pages name the table and count their free bytes; entries ascend; a separator is not
//     less than what lies below it; leaves are linked in order; all lie in the index's page set
//  9  an index has one entry for every row, with the row's key, and no other
// 10  unique indexes hold no key twice; automatic numbers are not above the last one given out

#include <string>
#include <string_view>
#include <vector>

#include "database/access/database_file.h"

namespace kelvorin::database::access {

/// Faults of the whole file, or of one table when `table` is not empty.
std::vector<std::string> InspectFile(DatabaseFile& file, std::string_view table);

}  // namespace kelvorin::database::access
