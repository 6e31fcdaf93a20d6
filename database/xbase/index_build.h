#pragma once
// Building index files from the records of a table: a new file is filled beside the old one and
// takes its name when it is whole. Used when indexes are made, and when they are rebuilt.

#include <string>
#include <vector>

#include "database/xbase/index_file.h"

namespace kelvorin::database::xbase {

class Table;

/// Writes an index file with these tags, filled from the table's records, and gives it the name
/// `file.path` last. What stood there before stays until then. Throws `kDuplicateKey` when `strict`
/// and a constraint does not hold.
void BuildIndexFile(storage::FileSystem& fs, Table& table, const IndexFileName& file,
                    IndexKind kind, const std::vector<TagDefinition>& tags, bool strict);

}  // namespace kelvorin::database::xbase
