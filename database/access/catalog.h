#pragma once
// What the table of objects says: which tables a database has, where they are, where linked ones
// live, and the properties of their fields. Read anew for each question; a catalog is small.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "database/access/database_file.h"
#include "database/access/properties.h"
#include "database/access/table.h"
#include "database/table_def.h"

namespace kelvorin::database::access {

// Kinds of objects.
inline constexpr std::int32_t kLocalTable = 1;
inline constexpr std::int32_t kDatabaseObject = 2;
inline constexpr std::int32_t kContainer = 3;
inline constexpr std::int32_t kOdbcLink = 4;
inline constexpr std::int32_t kFileLink = 6;
// Fixed identities.
inline constexpr std::int32_t kRootContainer = 0x0F000000;
inline constexpr std::int32_t kTablesContainer = 0x0F000001;
inline constexpr std::int32_t kDatabasesContainer = 0x0F000002;
inline constexpr std::int32_t kRelationshipsContainer = 0x0F000003;
inline constexpr std::int32_t kDatabaseId = 0x10000000;

struct CatalogEntry {
  std::string name;
  std::int32_t kind = 0;
  std::int32_t id = 0;
  std::int32_t parent = 0;
  std::uint32_t flags = 0;
  std::string database;  // of links: the other file
  std::string connect;   // of links: as stored
  std::string foreign_name;
  RowId row;

  bool linked() const noexcept { return kind == kOdbcLink || kind == kFileLink; }
  std::uint32_t page() const noexcept { return static_cast<std::uint32_t>(id) & 0xFFFFFF; }
  /// As the database interface shows them.
  std::uint32_t Attributes() const noexcept;
  /// Where a linked table lives, as the interface shows it.
  std::string ConnectText() const;
};

class Catalog {
 public:
  explicit Catalog(DatabaseFile& file);

  /// Tables and links, in the order of their names as the engine sorts them; without temporary and
  /// deleted ones.
  std::vector<CatalogEntry> Tables();
  /// A table or link by name without regard to case.
  std::optional<CatalogEntry> Find(std::string_view name);
  /// Whether any object among the tables (queries too) has this name.
  bool NameTaken(std::string_view name);
  std::vector<FieldProperties> Properties(const CatalogEntry& entry);

  /// The table of objects itself, and the positions of its columns.
  Table& objects() noexcept { return *objects_; }
  std::size_t ColumnOf(std::string_view name) const;

 private:
  /// The first entry that is wanted.
  template <typename Wanted>
  std::optional<CatalogEntry> FindEntry(Wanted wanted);
  void Read(RowId at, CatalogEntry& out);
  std::string TextOf(std::size_t column);
  std::int32_t NumberOf(std::size_t column);

  DatabaseFile& file_;
  std::shared_ptr<Table> objects_;  // shared with the file's list of open tables
  std::vector<ColumnValue> values_;
  std::size_t id_, parent_, name_, type_, flags_, database_, connect_, foreign_, properties_;
};

/// What the interface shows of a local table.
TableDef Describe(Table& table, const CatalogEntry& entry,
                  const std::vector<FieldProperties>& properties);

}  // namespace kelvorin::database::access
