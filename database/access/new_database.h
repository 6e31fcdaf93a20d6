#pragma once
// Making an empty database: header, map of free pages, the four system tables and their rows. The
// result holds what the engines themselves put into a fresh file, and nothing else.

#include <memory>

#include "database/access/format.h"
#include "storage/store.h"

namespace kelvorin::database::access {

/// Fills a store that was just made and has the version's page size; Jet 3 or Jet 4. Nothing is
/// flushed.
void FillNewDatabase(const std::shared_ptr<storage::Store>& store, Version version);

}  // namespace kelvorin::database::access
