#pragma once
// Which files of a folder belong to a table: its companions, by their extensions and without regard
// to case. Used when a table is opened, made or deleted.

#include <string>
#include <string_view>
#include <vector>

#include "database/folder/table_files.h"

namespace kelvorin::database::xbase {

using folder::CompanionPath;
using folder::FindFile;

inline constexpr std::string_view kTableExtension = "dbf";

/// `name` without a table file's extension.
inline std::string_view WithoutExtension(std::string_view name) noexcept {
  return folder::WithoutExtension(name, kTableExtension);
}

/// Path of a companion of the table file `table_path`, e.g. its "fpt"; empty when there is none.
std::string FindCompanion(storage::FileSystem& fs, const std::string& table_path,
                          std::string_view extension);

}  // namespace kelvorin::database::xbase
