#pragma once
// The pages of a table: given to a planned one, its definition written on them, all taken back.
// Knows no catalog. Everything happens inside a bracket of the caller's.

#include <cstdint>
#include <vector>

#include "database/access/table_definition.h"
#include "database/access/usage_map.h"

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

/// Gives a planned table its pages. Its definition goes to `chain[0]` when that is set already.
void PlaceTable(PageChannel& channel, PageAllocator& allocator, TextCodec& text, int code_page,
                MapRows& maps, TableDefinition& table);
/// Writes a definition's bytes onto its pages, more of them where they are needed.
void WriteDefinition(PageChannel& channel, PageAllocator& allocator,
                     std::vector<std::uint32_t>& chain, base::ByteSpan bytes);
/// The root of an empty index of a table, which the caller lists in the index's page set.
std::uint32_t NewRoot(PageChannel& channel, PageAllocator& allocator, std::uint32_t table);
/// Gives back every page of a table, with those of its indexes and long values.
void FreeTable(PageChannel& channel, PageAllocator& allocator, const TableDefinition& table);

}  // namespace kelvorin::database::access
