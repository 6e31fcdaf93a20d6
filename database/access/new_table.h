#pragma once
// Making tables and indexes: the plan of a table from what the interface asks for, its pages, and
// its entries in the catalog. Everything happens inside a bracket of the caller's.

#include <cstdint>
#include <string_view>
#include <vector>

#include "database/access/catalog.h"
#include "database/access/database_file.h"
#include "database/access/table_definition.h"
#include "database/table_def.h"

namespace kelvorin::database::access {

/// Places for new usage maps: rows of one map page after the other.
class MapRows {
 public:
  MapRows(PageChannel& channel, PageAllocator& allocator) noexcept
      : channel_(channel), allocator_(allocator) {}
  /// Adds a map, empty or of one page.
  RowId Add(std::uint32_t member = kNoPage);

 private:
  PageChannel& channel_;
  PageAllocator& allocator_;
  std::uint32_t page_ = kNoPage;
};

/// Columns and indexes of a table as the format holds them; refuses what it cannot.
/// kInvalidArgument, kNotSupported or kOutOfRange name the field or index.
TableDefinition PlanTable(const DatabaseFile& file, const TableDef& asked);
/// An index of a planned or an existing table.
PhysicalIndex PlanIndex(const Layout& layout, const TableDefinition& table, const IndexDef& asked);

/// Gives a planned table its pages. Its definition goes to `chain[0]` when that is set already.
void PlaceTable(PageChannel& channel, PageAllocator& allocator, TextCodec& text, int code_page,
                MapRows& maps, TableDefinition& table);
/// Writes a definition's bytes onto its pages, more of them where they are needed.
void WriteDefinition(PageChannel& channel, PageAllocator& allocator,
                     std::vector<std::uint32_t>& chain, base::ByteSpan bytes);

/// Refuses names that the format or the catalog does not take.
void CheckName(std::string_view name, std::string_view what);

void CreateTable(DatabaseFile& file, const TableDef& asked);
void CreateIndex(DatabaseFile& file, const CatalogEntry& entry, const IndexDef& asked);
void DeleteTable(DatabaseFile& file, const CatalogEntry& entry);

/// A stored value for a column of a system table.
ColumnValue StoredNumber(std::int64_t value, std::size_t bytes);
ColumnValue StoredText(TextCodec& text, std::string_view value);
ColumnValue StoredBytes(std::string_view bytes);
ColumnValue StoredDate(values::DateTime date);
/// Stores a record of a system table; failures are thrown.
void PutRecord(Table& table, std::vector<ColumnValue>& values);

}  // namespace kelvorin::database::access
