#pragma once
// Records on their way into a SQLite database, as a table in a small database file of their own: a
// statement that copies from there costs SQLite a third of one that spells the values out. Writes
// the file format and nothing else; used by SQLite's strategy and by the benchmark's bare program.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "os/files.h"

namespace kelvorin::database::odbc {

/// A temporary file in a folder that only its owner may enter, so that nobody else can lay a
/// journal beside it; both go with the object. The table is named "r", its columns "c0", "c1", ...
/// without types, its rows are numbered from 1.
class SideTable {
 public:
  /// Makes the file with an empty table. Throws kIo when no temporary file can be had.
  explicit SideTable(std::size_t columns);
  ~SideTable();
  SideTable(const SideTable&) = delete;
  SideTable& operator=(const SideTable&) = delete;

  const std::string& path() const noexcept { return path_; }
  /// Takes the file's name away once it was attached: no crash leaves the records behind.
  void Unname() noexcept;
  std::size_t rows() const noexcept { return rows_; }

  /// Forgets all rows; the file stays as it is until `Write`.
  void Clear();
  // The values of a row, one call for each column, then EndRow; texts and bytes live until then.
  void AddNull();
  void AddInteger(std::int64_t value);
  void AddText(std::string_view text);
  /// Bytes that are no text: `typeof` tells them from a text.
  void AddBytes(std::string_view bytes);
  /// False for a row that no page can hold; an empty row has its number then.
  bool EndRow();
  /// Puts the rows into the file. Nobody may be reading it.
  void Write();

 private:
  void AddSized(std::string_view bytes, std::uint64_t kind);
  void AddPiece(std::string_view piece);
  void ClearRow() noexcept;
  void Remove() noexcept;
  void FinishLeaf();
  void FinishRoot();
  std::byte* Page(std::size_t number) noexcept;

  std::string folder_;
  std::string path_;  // empty once it has no name
  os::FileHandle file_;
  std::size_t columns_;
  std::uint32_t change_ = 0;  // counts the writings; readers drop what they know when it moves

  std::vector<std::byte> pages_;  // the whole file
  std::size_t page_count_ = 0;
  std::size_t rows_ = 0;
  std::size_t leaf_cells_ = 0;            // of the last page
  std::size_t leaf_content_ = 0;          // where its lowest cell begins
  std::vector<std::uint64_t> last_rows_;  // of each finished leaf

  // The row being made.
  std::string header_;                        // serial types
  std::vector<std::string_view> pieces_;      // of its values, those that lie side by side in one
  std::size_t body_bytes_ = 0;                // of all pieces
  std::vector<std::array<char, 8>> numbers_;  // that pieces show
  std::size_t numbers_used_ = 0;
};

}  // namespace kelvorin::database::odbc
