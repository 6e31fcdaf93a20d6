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
    std::string kept = path + ".kept" + (number == 1 ? "" : std::to_string(number));
    if (fs.Look(kept).kind != os::FileKind::kNone) continue;
    fs.Rename(path, kept);
    fs.SyncFolder(FolderOf(path));
    return kept;
  }
  throw Error(Code::kAlreadyExists,
              path + ": there are " + std::to_string(kMostKept) + " journals set aside already");
}

std::vector<std::string> RecoverJournal(
    FileSystem& fs, const std::string& path, JournalAction action,
    const std::function<std::shared_ptr<void>(const std::shared_ptr<Store>&)>& build) {
  std::vector<std::string> lines;
  const bool has_table = fs.Exists(path);
  const std::string real = has_table ? fs.RealPath(path) : path;
  if (fs.Look(JournalPath(real)).kind == os::FileKind::kNone) return lines;
  if (!has_table && action != JournalAction::kSetAside) {
    lines.push_back(JournalPath(real) + ": its table " + NameOf(real) + " is not there");
    return lines;
  }
  StoreOptions options;
  options.read_only = action != JournalAction::kApply;
  options.exclusive = action != JournalAction::kShow;
  options.any_identity = true;
  if (action != JournalAction::kSetAside)
    options.tell = options.explain = [&](const std::string& text) { lines.push_back(text); };
  const std::shared_ptr<Store> store = has_table ? Store::Open(fs, path, options) : nullptr;
  if (action == JournalAction::kSetAside) {
    lines.push_back(JournalPath(real) + ": set aside as " + NameOf(SetJournalAside(fs, real)));
    return lines;
  }
  try {
    (void)store->Opening([&] { return build(store); });
  } catch (const Error& error) {
    // A torn table may not even be readable; what its journal is was told before that.
    if (action == JournalAction::kApply) throw;
    if (lines.empty())
      lines.push_back(JournalPath(real) +
                      ": lies there, and cannot be compared with files that cannot be opened");
    lines.emplace_back(error.status().message());
  }
  if (lines.empty())
    lines.push_back(
        JournalPath(real) + ": was never sealed, no file was changed under it; " +
        (action == JournalAction::kShow ? "the next writing removes it" : "it was removed"));
  return lines;
}

}  // namespace kelvorin::storage
