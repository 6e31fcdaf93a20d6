#pragma once
// Which files of a folder belong to a table: the table file itself, found without regard to case,
// and its companions by their extensions. Used when a table is opened, made or deleted; reads
// names, and small texts as a whole.

#include <string>
#include <string_view>
#include <vector>

#include "storage/file.h"

namespace kelvorin::database::xbase {

inline constexpr std::string_view kTableExtension = "dbf";

/// Full path of the file of `folder` that bears `name` in any case (the exact name first), or an
/// empty text.
std::string FindFile(storage::FileSystem& fs, const std::string& folder, std::string_view name);

/// Path of a table by name, with or without its extension; an empty text when there is none.
std::string FindTableFile(storage::FileSystem& fs, const std::string& folder,
                          std::string_view name);

/// Names of the folder's tables, without extension, in alphabetical order.
std::vector<std::string> ListTables(storage::FileSystem& fs, const std::string& folder);

/// `name` without a table file's extension.
std::string_view WithoutExtension(std::string_view name) noexcept;

/// Path of a companion of the table file `table_path`, e.g. its "fpt"; empty when there is none.
std::string FindCompanion(storage::FileSystem& fs, const std::string& table_path,
                          std::string_view extension);
/// Path that a new companion gets; its extension takes the case of the table file's.
std::string CompanionPath(const std::string& table_path, std::string_view extension);

/// Whole contents of a small file; throws `kCorrupt` when it has more than `max_bytes`.
std::string ReadSmallFile(storage::FileSystem& fs, const std::string& path, std::size_t max_bytes);

}  // namespace kelvorin::database::xbase
