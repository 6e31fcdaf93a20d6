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

enum class JournalAction : std::uint8_t { kShow, kApply, kSetAside };

/// Shows what the journal of the table at `path` would do, file by file, applies it (also to a copy
/// of the files, never over what others changed), or sets it aside; answers what a person should
/// read, nothing when there is no journal. `build` makes what a driver makes of an opened store,
/// all companions attached. Errors as in `Store::Open`.
std::vector<std::string> RecoverJournal(
    FileSystem& fs, const std::string& path, JournalAction action,
    const std::function<std::shared_ptr<void>(const std::shared_ptr<Store>&)>& build);

}  // namespace kelvorin::storage
