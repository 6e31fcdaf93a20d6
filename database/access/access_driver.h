#pragma once
// The driver for Access databases: Jet 3 and Jet 4 (.mdb), ACE (.accdb). Entered in an engine by
// the table of drivers; everything else of this room is behind it.

#include <memory>

#include "database/engine.h"
#include "storage/open_files.h"

namespace kelvorin::database::access {

/// `fs` must outlive the driver; `files` is shared by all file drivers of one engine.
///
/// The connect string's type word is empty, "Access" or "MS Access"; `pwd` is the database
/// password. For a new database `version` chooses its format: 3 or 97 for Access 97, else Access
/// 2000.
std::unique_ptr<Driver> MakeAccessDriver(storage::FileSystem& fs,
                                         std::shared_ptr<storage::OpenFiles> files);

}  // namespace kelvorin::database::access
