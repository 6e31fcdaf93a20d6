#pragma once
// The one file interface of the product (`base/file_system.h`) under this room's name: drivers of
// files know `storage` and, of this header, need `FileSystem` to list a folder, to remove or rename
// a table. Their pages go through `Store`.

#include "base/file_system.h"

namespace kelvorin::storage {

using base::Beside;
using base::File;
using base::FileSystem;
using base::FolderOf;
using base::NameOf;
using base::RealFileSystem;

}  // namespace kelvorin::storage
