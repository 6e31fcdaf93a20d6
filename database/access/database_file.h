#pragma once
// One open Access file: what its header says, its pages, and the tables that are in use. Shared by
// everybody in this process who has the file open, so that a source and a target in one file see
// the same state.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "database/access/page_channel.h"
#include "database/access/table_definition.h"
#include "database/access/text_codec.h"
#include "database/access/usage_map.h"

namespace kelvorin::database::access {

class Table;

/// What the header page says.
struct Header {
  Version version = Version::kJet4;
  std::uint32_t page_key = 0;
  int code_page = 1252;
  DefaultOrder order;
  std::string password;  // in the file's own coding: code page in Jet 3, UTF-16 later
  std::uint32_t date_mask = 0;
};

/// Whether the bytes a file begins with are those of an Access database.
bool LooksLikeAccess(base::ByteSpan first_bytes) noexcept;
/// Reads the header of a store that is still unpaged. `kCorrupt`, or kNotSupported with
/// kUnrecognizedFormat, naming the file.
Header ReadHeader(storage::Store& store);
/// The 4-byte value that masks a password in the header, repeated.
std::uint32_t PasswordMask(double creation_date) noexcept;

class DatabaseFile {
 public:
  /// The store must have the version's page size.
  DatabaseFile(std::shared_ptr<storage::Store> store, const Header& header);

  Version version() const noexcept { return header_.version; }
  const Header& header() const noexcept { return header_; }
  const Layout& layout() const noexcept { return channel_.layout(); }
  PageChannel& channel() noexcept { return channel_; }
  PageAllocator& allocator() noexcept { return allocator_; }
  TextCodec& text() noexcept { return text_; }
  const std::string& path() const noexcept { return channel_.path(); }
  bool CheckPassword(std::string_view password);

  /// The table whose definition begins on this page; one object for all who use it. `name` serves
  /// messages; empty for whoever does not know it.
  std::shared_ptr<Table> OpenTable(std::uint32_t page, std::string_view name);
  /// Whether somebody uses the table, whose definition then must not change.
  bool InUse(std::uint32_t page) const;

 private:
  Header header_;
  PageChannel channel_;
  PageAllocator allocator_;
  TextCodec text_;
  // Shared: record sets come and go, and a relation's other table is used along with them.
  std::map<std::uint32_t, std::weak_ptr<Table>> tables_;
};

}  // namespace kelvorin::database::access
