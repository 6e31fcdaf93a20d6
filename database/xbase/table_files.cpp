#include "database/xbase/table_files.h"

namespace kelvorin::database::xbase {

std::string FindCompanion(storage::FileSystem& fs, const std::string& table_path,
                          std::string_view extension) {
  std::string file(WithoutExtension(storage::NameOf(table_path)));
  file.append(".").append(extension);
  return FindFile(fs, storage::FolderOf(table_path), file);
}

}  // namespace kelvorin::database::xbase
