#pragma once
// `--create`: makes the target table from the fields of the source.

#include <optional>
#include <string>

#include "apps/kelvorin/import_options.h"
#include "base/M_FILE.h"
#include "catalog/connections.h"

namespace kelvorin::app {

/// Whether the database is there and holds the table.
bool HasTable(const catalog::TargetAddress& target, const std::string& table);

/// Points `target` to a database in a new folder, which is thrown away with `scratch`, and takes
/// from `setting` what would leave a trace: log, reject file, the deletion of the source. A server
/// has no such place: `kNotSupported`.
Status MakeScratchTarget(catalog::TargetAddress& target, settings::ImportSetting& setting,
                         std::optional<base::PrivateFolder>& scratch);

/// The same with a copy of the table, so that a trial import meets every duplicate and every limit
/// that an import would. Leaves everything as it is where there is no copying: servers, linked
/// tables, journals that wait to be played back, and files too large for the temporary folder.
Status CopyToScratchTarget(const std::string& table, catalog::TargetAddress& target,
                           settings::ImportSetting& setting,
                           std::optional<base::PrivateFolder>& scratch);

/// Makes the table (and its database) when it does not exist, and maps its fields to the source
/// fields they were made from; a table that exists stays as it is, and so does `job`.
///
/// A text source gives Text fields as wide as their longest value, Memo where that is longer than a
/// Text field can be: nothing is guessed about types, so nothing is changed. A table gives fields
/// of its own types, binary ones left out, since they are not imported.
Status CreateFromSource(const catalog::TargetAddress& target, const std::string& table,
                        const std::string& source_password, ImportJob& job);

}  // namespace kelvorin::app
