#pragma once
// Which files a job reads and writes, and whether two of them are one: a run that writes over its
// own source, target or settings is refused before anything is opened for writing.

#include <string>
#include <string_view>

#include "base/status.h"
#include "database/recordset.h"
#include "engine/import_run.h"

namespace kelvorin::engine {

/// Whether the source's records are those of the target, also where one of them is a link to it or
/// the source is a view of it.
bool IsSameTable(const database::Recordset& source, const database::Recordset& target);

/// Fails with `kInvalidArgument` where log, reject file, source, target and settings file are not
/// all different files; tables count with their memo and index files. The one exception: a text
/// source may be the job's reject file, with its reasons beside it, which `reads_rejects` then
/// tells. Nor may log or reject file be a database that is there.
Status CheckFiles(const RunInputs& inputs, bool& reads_rejects);

}  // namespace kelvorin::engine
