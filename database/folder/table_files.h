#pragma once
// The files of a folder that is a database: a table's file found without regard to case, the names
// of its companions, small files read and written as a whole. Used by the drivers of table files
// when a table is opened, made or deleted. `extension` is that of a table's file, in small letters.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "storage/file.h"

namespace kelvorin::database::folder {

/// Full path of the file of `folder` that bears `name` in any case: the exact spelling first, then
/// the first one in byte order. An empty text when there is none.
std::string FindFile(storage::FileSystem& fs, const std::string& folder, std::string_view name);

/// `name` without a table file's extension, in any case.
std::string_view WithoutExtension(std::string_view name, std::string_view extension) noexcept;

/// Path of a table by name, with or without its extension: the file spelled so first, then one
/// whose name without extension is, then any case. An empty text when there is none.
std::string FindTableFile(storage::FileSystem& fs, const std::string& folder, std::string_view name,
                          std::string_view extension);

/// Names of the folder's tables, without extension, in alphabetical order.
std::vector<std::string> ListTables(storage::FileSystem& fs, const std::string& folder,
                                    std::string_view extension);

/// File name of a new table: as given, with the extension in the case of the name.
std::string NewFileName(std::string_view name, std::string_view extension);

/// Path that a new companion gets; its extension takes the case of the table file's.
std::string CompanionPath(const std::string& table_path, std::string_view extension);

/// Whole contents of a small file; throws `kCorrupt` when it has more than `max_bytes`.
std::string ReadSmallFile(storage::FileSystem& fs, const std::string& path, std::size_t max_bytes);
/// Opens a file that is made anew, or emptied. A link that lies there goes: what it leads to, and
/// other names of the same file, are somebody else's.
std::unique_ptr<storage::File> MakeOwnFile(storage::FileSystem& fs, const std::string& path);
/// Makes the file so, with these contents, and waits until it is on the disk.
void WriteWholeFile(storage::FileSystem& fs, const std::string& path, std::string_view contents);
/// Removes the files that are there, up to the first that cannot be; for tidying up after another
/// failure, which is the one to be told.
void RemoveQuietly(storage::FileSystem& fs, const std::vector<std::string>& files) noexcept;

}  // namespace kelvorin::database::folder
