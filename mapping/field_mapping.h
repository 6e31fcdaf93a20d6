#pragma once
// Edits the list that tells which source field feeds which target field, and says what each row of
// the mapping grid shows. The forms and the command line use it; the run only reads the list.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/status.h"
#include "catalog/target.h"
#include "settings/import_setting.h"

namespace kelvorin::mapping {

inline constexpr std::string_view kIgnored = "(Ignored)";
inline constexpr std::string_view kIgnoreAll = "(Ignore all)";

using settings::FieldMap;
using settings::FieldMapEntry;
using SourceFields = std::span<const std::string>;

/// What the row of an entry shows as its source field: a name, or "(Ignored)" when it has none or
/// the source has no such field. The entry itself keeps what it holds.
std::string_view RowText(const FieldMapEntry& entry, SourceFields source_fields);
/// Whether an entry is mapped to a source field that the source no longer has.
bool LostItsSource(const FieldMapEntry& entry, SourceFields source_fields);

/// Maps an entry to the first source field of this name (exact). For fixed columns the field's
/// position is taken from `breaks`, else pass null. False when there is no such field.
bool PickSourceField(FieldMapEntry& entry, std::string_view name, SourceFields source_fields,
                     const textsource::BreakList* breaks);
/// Maps an entry to source field `field_no`, from 0 to 250.
void MapTo(FieldMapEntry& entry, std::size_t field_no, const textsource::BreakList* breaks);
/// Takes the source field away.
void Ignore(FieldMapEntry& entry);
/// Unmaps every entry; its `Length` alone stays: kept as it is.
void IgnoreAll(FieldMap& map);

/// Start (from 0) and length in characters of a fixed-width field; zeros for a field that the
/// breaks do not have.
std::pair<std::int16_t, std::int16_t> FixedColumn(const textsource::BreakList& breaks,
                                                  std::size_t field_no);

/// Maps every target field to the source field of the same name in any case. A name that several
/// source fields bear is left alone. Returns the number of fields mapped.
std::size_t MapByName(FieldMap& map, std::span<const catalog::TargetField> fields,
                      SourceFields source_fields, const textsource::BreakList* breaks);
/// Maps the first target field to the first source field, and so on. Returns the number mapped.
std::size_t MapInOrder(FieldMap& map, std::span<const catalog::TargetField> fields,
                       std::size_t source_field_count, const textsource::BreakList* breaks);

/// A mapping in words, as the command line gives it.
struct MapRequest {
  enum class Rest : std::uint8_t { kKeep, kByName, kInOrder };
  /// What the target fields without a pair of their own get; `kKeep` leaves them as they are.
  Rest rest = Rest::kKeep;
  /// Target field (name in any case) and source field: its number from 0, or its name in any case.
  std::vector<std::pair<std::string, std::string>> pairs;

  bool empty() const noexcept { return rest == Rest::kKeep && pairs.empty(); }
};

/// Carries a request out. Fails with `kNotFound` naming a field that does not exist, or with
/// `kInvalidArgument` when a target field is named twice or a source name is not unique; the map
/// may then be half done.
Status ApplyRequest(const MapRequest& request, std::span<const catalog::TargetField> fields,
                    SourceFields source_fields, const textsource::BreakList* breaks, FieldMap& map);

/// Names of the columns of a text source with `column_count` columns: the fields of the line that
/// names them, without blanks around them; blank or doubled ones, and those that the line does not
/// have, are "Field n".
std::vector<std::string> TextHeadings(std::span<const std::string_view> heading,
                                      std::size_t column_count);

}  // namespace kelvorin::mapping
