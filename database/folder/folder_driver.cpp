#include "database/folder/folder_driver.h"

#include "base/M_FILE.h"
#include "database/errors.h"
#include "database/folder/table_files.h"
#include "storage/recover.h"

namespace kelvorin::database::folder {
namespace {

bool IsFolder(storage::FileSystem& fs, const std::string& path) {
  try {
    (void)fs.List(path);
    return true;
  } catch (const Error&) {
    return false;
  }
}

}  // namespace

void FolderDriver::Create(const OpenRequest& request, const ConnectString&) {
  const Status made = base::MakeFolders(request.Name, *fs_);
  if (!made.ok()) throw Error(made);
}

std::string FolderDriver::FolderOf(const std::string& name) const {
  std::string asked = name.empty() ? "." : name;
  if (IsFolder(*fs_, asked)) return asked;
  std::string folder(base::FolderPart(asked));
  if (folder.empty()) folder = ".";
  if (WithoutExtension(asked, extension_).size() != asked.size() && IsFolder(*fs_, folder))
    return folder;
  Throw(Code::kNotFound, ErrorNumber::kFileNotFound,
        "there is no folder '" + asked + "' (a folder of table files is the database)");
}

void FolderDriver::ThrowUnknownProduct(const ConnectString& connect) const {
  Throw(Code::kNotSupported, ErrorNumber::kNoDriver,
        std::string("'")
            .append(connect.type_word())
            .append("' is no kind of ")
            .append(Name())
            .append(" table"));
}

std::vector<std::string> FolderDriver::Recover(const OpenRequest& request,
                                               const ConnectString& connect, std::string_view table,
                                               RecoverAction action) {
  const std::string folder = FolderOf(request.Name);
  std::vector<std::string> names{std::string(table)};
  if (table.empty()) names = ListTables(*fs_, folder, extension_);
  std::vector<std::string> lines;
  for (const std::string& name : names) {
    const std::string path = FindTableFile(*fs_, folder, name, extension_);
    if (path.empty())
      Throw(Code::kNotFound, ErrorNumber::kNotInCollection,
            "there is no table '" + name + "' in folder '" + folder + "'");
    for (std::string& line :
         storage::RecoverJournal(*fs_, path, storage::JournalAction(action),
                                 [&](const std::shared_ptr<storage::Store>& store) {
                                   return Attach(store, path, connect);
                                 }))
      lines.push_back(std::move(line));
  }
  return lines;
}

}  // namespace kelvorin::database::folder
