#pragma once
// What a person does with a journal that a crash left: look at it, apply it, set it aside. Used by
// the drivers behind `kelvorin recover`, and where a table is made under a name that has one.

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "storage/file.h"
#include "storage/store.h"

namespace kelvorin::storage {

/// Renames the journal of `main_path` (links followed) to `NAME-journal.kept`, or `.kept2` and so
/// on where that is taken; nothing is ever overwritten. Answers the new path, empty when no journal
/// is there.
std::string SetJournalAside(FileSystem& fs, const std::string& main_path);

}  // namespace kelvorin::storage
