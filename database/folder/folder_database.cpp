#include "database/folder/folder_database.h"

#include "base/M_FILE.h"
#include "database/errors.h"
#include "database/folder/table_files.h"
#include "storage/recover.h"
#include "storage/store.h"

#include <algorithm>
#include <utility>

namespace kelvorin::database::folder {

FolderDatabase::FolderDatabase(DBEngine& owner, OpenRequest asked, std::string folder,
                               std::string_view extension, storage::FileSystem& fs)
    : Database(owner, std::move(asked)),
      folder_(std::move(folder)),
      extension_(extension),
      fs_(&fs) {}

std::string FolderDatabase::PathOf(std::string_view name, ErrorNumber missing) const {
  std::string path = FindTableFile(*fs_, folder_, name, extension_);
  if (path.empty())
    Throw(Code::kNotFound, missing,
          "there is no table '" + std::string(name) + "' in folder '" + folder_ + "'");
  return path;
}

std::string_view FolderDatabase::NameOfTable(std::string_view path) const noexcept {
  const std::size_t slash = path.rfind('/');
  return WithoutExtension(slash == path.npos ? path : path.substr(slash + 1), extension_);
}

void FolderDatabase::CheckNewName(std::string_view name) const {
  const std::string_view bare = WithoutExtension(name, extension_);
  if (bare.empty() || name.find_first_of("/\\:*?\"<>|") != std::string_view::npos ||
      std::any_of(bare.begin(), bare.end(), [](char c) { return c >= 0 && c < ' '; }))
    Throw(Code::kInvalidArgument, ErrorNumber::kInvalidArgument,
          "'" + std::string(name) + "' is no name for a table file");
}

std::string FolderDatabase::PathOfNew(std::string_view name) const {
  const std::string existing = FindTableFile(*fs_, folder_, name, extension_);
  if (!existing.empty())
    Throw(Code::kAlreadyExists, ErrorNumber::kTableExists,
          "table '" + std::string(name) + "' exists already (file '" + existing + "')");
  return base::JoinPath(folder_, NewFileName(name, extension_));
}

void FolderDatabase::GiveName(const std::string& unnamed, const std::string& path) const {
  storage::SetJournalAside(*fs_, path);
  fs_->Rename(unnamed, path);
  fs_->SyncFolder(folder_);
}

void FolderDatabase::RequireNobodyElse(const std::string& path) const {
  storage::StoreOptions options;
  options.exclusive = true;
  (void)storage::Store::Open(*fs_, path, options);
}

void FolderDatabase::RemoveTable(const std::vector<std::string>& files) const {
  RequireNobodyElse(files.front());
  for (const std::string& file : files) fs_->Remove(file);
  storage::SetJournalAside(*fs_, files.front());
  fs_->SyncFolder(folder_);
}

std::vector<TableInfo> FolderDatabase::DoTableDefs() {
  std::vector<TableInfo> infos;
  for (std::string& name : ListTables(*fs_, folder_, extension_))
    infos.push_back({std::move(name), 0});
  return infos;
}

std::vector<std::string> FolderDatabase::DoInspect(std::string_view name) {
  std::vector<std::string> names{std::string(name)};
  if (name.empty()) names = ListTables(*fs_, folder_, extension_);
  std::vector<std::string> problems;
  for (const std::string& table : names) {
    const std::string path = PathOf(table, ErrorNumber::kNotInCollection);
    try {
      InspectFile(path, problems);
    } catch (const Error& error) {
      problems.emplace_back(error.status().message());
    }
  }
  return problems;
}

}  // namespace kelvorin::database::folder
