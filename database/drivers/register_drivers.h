#pragma once
// The one table of the drivers that this build knows. Whoever makes an engine calls it once; a new
// driver is one line in the .cpp file.

#include "database/engine.h"
#include "storage/file.h"

namespace kelvorin::database {

/// Enters every driver. The file drivers share one list of open files, so that a source and a
/// target in the same file work on the same pages. `fs` must outlive the engine; tests give their
/// own.
void RegisterDrivers(DBEngine& engine, storage::FileSystem& fs = storage::RealFileSystem());

}  // namespace kelvorin::database
