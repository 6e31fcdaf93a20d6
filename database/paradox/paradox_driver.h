#pragma once
// The driver for Paradox 3, 4 and 5: a folder of table files is a database.
// Entered in an engine by the table of drivers; everything else of this room is behind it.

#include <memory>

#include "database/engine.h"
#include "storage/open_files.h"

namespace kelvorin::database::paradox {

/// `fs` must outlive the driver; `files` is shared by all file drivers of one engine, so that a
/// source and a target in one file share its pages.
std::unique_ptr<Driver> MakeParadoxDriver(storage::FileSystem& fs,
                                          std::shared_ptr<storage::OpenFiles> files);

}  // namespace kelvorin::database::paradox
