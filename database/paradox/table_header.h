#pragma once
// The header of any file that is built like a table: tables, their primary index, secondary indexes
// and the trees of those. Read once when a file is opened; what changes later is kept as `Counts`.

#include <cstdint>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "database/paradox/format.h"

namespace kelvorin::database::paradox {

struct Header {
  FileType type = FileType::kUnkeyedTable;
  std::uint8_t version = 0;
  std::uint16_t record_bytes = 0;
  std::uint16_t header_bytes = 0;
  std::uint32_t block_bytes = 0;
  std::uint16_t key_fields = 0;
  std::uint8_t sort_order = 0;
  std::uint8_t stamp = 0;
  std::uint8_t changes = 0;    // change count, follows every session that changes the file
  std::uint8_t structure = 0;  // change count of the structure
  std::uint8_t indexed_field = 0;
  std::uint8_t flags = 0;
  std::uint8_t auxiliary_passwords = 0;
  std::uint32_t counter = 0;  // last automatic number, or sessions that changed the file
  std::uint32_t key = 0;      // of the encryption, 0 for none
  int page = 0;               // code page number
  bool not_closed = false;
  bool write_protected = false;
  Counts counts;
  std::vector<Column> columns;
  std::vector<std::uint16_t> numbers;  // field numbers as stored; empty for old tables and trees
  std::string sort_name;
  std::string label;  // of a secondary index

  bool is_tree() const noexcept {
    return type == FileType::kPrimaryIndex || type == FileType::kFieldTree ||
           type == FileType::kGroupTree;
  }
  bool is_table() const noexcept {
    return type == FileType::kKeyedTable || type == FileType::kUnkeyedTable;
  }
  bool is_new() const noexcept { return version >= kFirstNewVersion; }
  std::uint32_t capacity() const noexcept {
    return static_cast<std::uint32_t>((block_bytes - kBlockHead) / record_bytes);
  }
  /// Bytes of the first `fields` fields together.
  std::size_t BytesOf(std::size_t fields) const noexcept;
};

/// Size of the header that the first `kFixedBytes` bytes of a file promise. Throws when these are
/// no header of this format.
std::size_t HeaderSize(base::ByteSpan front, const std::string& path);

/// Reads a whole header. Throws `kCorrupt` (engine number 3274 when the file is no table at all),
/// naming file and place; every number in the answer is consistent with every other.
Header ReadHeader(base::ByteSpan bytes, const std::string& path);

/// The stamp that an index must bear to belong to the state of its data file.
std::uint8_t StampFor(std::uint8_t changes, std::uint8_t sort_order) noexcept;

}  // namespace kelvorin::database::paradox
