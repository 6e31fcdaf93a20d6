#pragma once
// `--create`: makes the target table from the fields of the source.

#include "apps/kelvorin/import_options.h"
#include "catalog/connections.h"

namespace kelvorin::app {

/// Makes the table (and its database) when it does not exist, and maps its fields to the source
/// fields they were made from; a table that exists stays as it is, and so does `job`.
///
/// A text source gives Text fields as wide as their longest value, Memo where that is longer than a
/// Text field can be: nothing is guessed about types, so nothing is changed. A table gives fields
/// of its own types, binary ones left out, since they are not imported.
Status CreateFromSource(const catalog::TargetAddress& target, const std::string& table,
                        const std::string& source_password, ImportJob& job);

}  // namespace kelvorin::app
