#pragma once
// Lays out the header of a new file of this format. Used by the planning of new tables alone.

#include <cstdint>
#include <string>

#include "database/paradox/table_header.h"

namespace kelvorin::database::paradox {

/// Bytes of an empty file: `header` says what is in it. Used are type, version, block size, key
/// fields, sort order, page, stamp, change counts, flags, indexed field, key, columns (their names
/// in `names`, in the table's page), numbers, sort name and label.
std::string BuildEmptyFile(const Header& header, const std::vector<std::string>& names,
                           std::string_view file_name);

}  // namespace kelvorin::database::paradox
