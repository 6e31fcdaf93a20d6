#pragma once
// Which files of a folder belong to a table: the table file itself, found without regard to case,
// and its companions of the same name. Used when a table is opened, made or deleted.

#include <string>
#include <string_view>
#include <vector>

#include "storage/file.h"

namespace kelvorin::database::paradox {

inline constexpr std::string_view kTableExtension = "db";

/// Path of a table by name, with or without its extension: the exact spelling first, then any
/// case. An empty text when there is none.
std::string FindTableFile(storage::FileSystem& fs, const std::string& folder,
                          std::string_view name);

/// Names of the folder's tables, without extension, in alphabetical order.
std::vector<std::string> ListTables(storage::FileSystem& fs, const std::string& folder);

/// `name` without a table file's extension.
std::string_view WithoutExtension(std::string_view name) noexcept;

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

/// Path that a new companion gets; its extension takes the case of the table file's.
std::string CompanionPath(const std::string& table_path, std::string_view extension);

/// "X06" and "XG0" are secondary indexes, "Y06" and "YG0" their trees.
bool IsSecondary(std::string_view extension) noexcept;

}  // namespace kelvorin::database::paradox
