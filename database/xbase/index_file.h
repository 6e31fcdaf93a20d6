#pragma once
// Index files as a whole: which of a folder belong to a table, what tags a file has, and the bytes
// of a new one without entries. Used when tables are opened, made and rebuilt.

#include <string>
#include <string_view>
#include <vector>

#include "database/xbase/tag.h"
#include "storage/file.h"

namespace kelvorin::database::xbase {

/// An index file of a table, not opened yet.
struct IndexFileName {
  IndexKind kind = IndexKind::kCdx;  // kIdx stands for both kinds of IDX here
  std::string path;
  bool constraint = false;  // listed with a U in front: keys must not come twice
};

/// The index files of a table: those its INF file lists, in that order, and its production index,
/// which is also found without a line. Throws `kNotFound` for a listed one that is missing.
std::vector<IndexFileName> FindIndexFiles(storage::FileSystem& fs, const std::string& table_path);
/// Files that look like an index of the table (by their names) and that no line of its INF file
/// names: changes of the table do not reach them.
std::vector<std::string> UnlistedIndexFiles(storage::FileSystem& fs, const std::string& table_path);

/// Reads the tags of a file attached to a store; for IDX files `file.kind` becomes the right one.
/// Throws `kCorrupt` and `kNotSupported` naming the file.
std::vector<TagPlace> ReadTags(storage::Store& store, IndexFile& file);

/// The bytes of a new index file with these tags and no entries; `places` are where its tags are.
/// The tags of a CDX still have to be entered into its directory. `table_name` and
/// `code_page_mark` are the table's, for the formats that keep them.
std::string NewIndexFile(IndexKind kind, std::string_view table_name, unsigned code_page_mark,
                         const std::vector<TagDefinition>& tags, std::vector<TagPlace>& places);
/// The pages of a CDX's directory: keys are names, record numbers the offsets of the tags' headers.
std::unique_ptr<IndexPages> MakeDirectoryPages(storage::Store& store, storage::FileNo file);
inline constexpr std::size_t kTagNameBytes = 10;

/// What a format can hold.
struct IndexLimits {
  std::string_view name;  // for messages
  std::size_t key_bytes;
  std::size_t expression_bytes;
  std::size_t tags;  // of one file
  bool descending;
  bool filter;
};
const IndexLimits& LimitsOf(IndexKind kind) noexcept;

/// The text of an INF file with one more line for an index file, or without the lines for it.
std::string AddInfLine(std::string_view text, std::string_view section, std::string_view kind,
                       std::string_view file, bool constraint);
/// Contents of the table's INF file, empty when there is none.
std::string ReadInf(storage::FileSystem& fs, const std::string& table_path);

}  // namespace kelvorin::database::xbase
