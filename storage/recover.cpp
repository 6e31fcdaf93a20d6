#include "storage/recover.h"

#include "base/status.h"
#include "storage/journal_format.h"

namespace kelvorin::storage {
namespace {

constexpr int kMostKept = 1000;

}  // namespace

std::string SetJournalAside(FileSystem& fs, const std::string& main_path) {
  const std::string path = JournalPath(main_path);
  if (fs.Look(path).kind == os::FileKind::kNone) return {};
  for (int number = 1; number < kMostKept; ++number) {
    const std::string kept = path + ".kept" + (number == 1 ? "" : std::to_string(number));
    if (fs.Look(kept).kind != os::FileKind::kNone) continue;
    fs.Rename(path, kept);
    fs.SyncFolder(FolderOf(path));
    return kept;
  }
  throw Error(Code::kAlreadyExists,
              path + ": there are " + std::to_string(kMostKept) + " journals set aside already");
}

}  // namespace kelvorin::storage
