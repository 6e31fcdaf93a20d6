#pragma once
// The bytes of new, empty files of a table: the table, its primary index and secondary indexes.
// Which field type stands for which value type, how names are fitted, what a format refuses. Pure
// planning; the database writes the files.

#include <string>
#include <vector>

#include "database/paradox/table_header.h"
#include "database/table_def.h"

namespace kelvorin::database::paradox {

/// Products in whose manner tables are made, named by the connect string.
enum class Product : std::uint8_t { kParadox3, kParadox4, kParadox5 };

/// The product of a connect string's type word, without regard to case; false when it is none.
bool FindProduct(std::string_view type_word, Product& out) noexcept;

/// Code page that a new table gets.
int PageOfNewTable() noexcept;

struct NewFile {
  std::string extension;  // "DB", "PX", "X02", "MB"
  std::string contents;
};

/// Plans the files of a table, the table file last. Fields of the primary key come first, whatever
/// place they were given. Names longer than 25 characters are cut, and equal ones are numbered.
/// Throws base::Error naming the field or index and the limit when the format cannot hold the
/// table. `base_name` is the table's without extension, `key` the encryption's.
std::vector<NewFile> PlanTable(const TableDef& table, Product product, std::string_view base_name,
                               std::uint32_t key);

/// Plans an empty primary index for a table that has lost its own.
NewFile PlanPrimary(const Header& table, std::string_view base_name);

/// Plans the two files of a further secondary index of a table; `taken` are the extensions of the
/// files that are there.
std::vector<NewFile> PlanIndex(const Header& table, const IndexDef& index,
                               std::string_view base_name, const std::vector<std::string>& taken);

}  // namespace kelvorin::database::paradox
