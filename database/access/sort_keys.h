#pragma once
// The bytes by which an index orders rows: one stretch for each key column, compared as plain
// bytes. Every stretch tells where it ends, so that keys of several columns are simply put one
// behind the other. Pure functions; the row's position, which ends an index entry, is not part of
// them.

#include <optional>
#include <span>
#include <string>

#include "database/access/table_definition.h"

namespace kelvorin::database::access {

/// Longest part of a text that counts in a key, in UTF-16 units.
inline constexpr std::size_t kKeyUnits = 255;

/// Whether keys of this column can be computed: false for texts of an order that is not known here
/// and for types without keys.
bool HasKeys(const Column& column) noexcept;

/// Appends the key of one column. `stored` is its stored value (a memo's whole contents, one byte
/// 0 or 1 for a bit column), nothing for Null. The column must have keys.
void AppendKey(Version version, const Column& column, bool ascending,
               std::optional<base::ByteSpan> stored, const TextCodec& text, std::string& out);

/// Appends the key of a text, flag byte included.
void AppendTextKey(TextOrder order, bool ascending, std::span<const char16_t> units,
                   std::string& out);

}  // namespace kelvorin::database::access
