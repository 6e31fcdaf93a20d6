#pragma once
// Which files of a folder belong to a table: its companions of the same name, without regard to
// case. Used when a table is opened, made or deleted.

#include <string>
#include <string_view>
#include <vector>

#include "database/folder/table_files.h"

namespace kelvorin::database::paradox {

using folder::CompanionPath;

inline constexpr std::string_view kTableExtension = "db";

/// `name` without a table file's extension.
inline std::string_view WithoutExtension(std::string_view name) noexcept {
  return folder::WithoutExtension(name, kTableExtension);
}

/// The files that bear a table's name and an extension of the format.
struct Companion {
  std::string extension;  // in capitals: "PX", "X06", "YG0", "MB", "VAL"
  std::string path;
};
class Companions {
 public:
  /// `table_path` with links followed.
  Companions(storage::FileSystem& fs, const std::string& table_path);
  /// Path of one, empty when there is none.
  const std::string& Find(std::string_view extension) const noexcept;
  const std::vector<Companion>& all() const noexcept { return files_; }

 private:
  std::vector<Companion> files_;
};

/// "X06" and "XG0" are secondary indexes, "Y06" and "YG0" their trees.
bool IsSecondary(std::string_view extension) noexcept;

}  // namespace kelvorin::database::paradox
