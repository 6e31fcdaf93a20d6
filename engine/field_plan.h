#pragma once
// Which source field feeds which target field, worked out once before the first record: names,
// types, sizes and positions, so that nothing is looked up while records run.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/code_page.h"
#include "base/status.h"
#include "catalog/target.h"
#include "database/table_def.h"
#include "settings/import_setting.h"
#include "textsource/field_splitter.h"
#include "values/field_types.h"

namespace kelvorin::engine {

/// One target field that gets a value from each record.
struct AssignedField {
  std::string_view name;  // the target field table's
  values::TypeCode type = values::TypeCode::kText;
  std::int16_t size = 0;      // as events report it
  std::size_t cut_to = 0;     // characters that fit; 0: never cut
  std::size_t source_no = 0;  // field of the source record
  std::size_t position = 0;   // in the target's record set
  bool is_key = false;        // used to find the record, assigned only to a new one
};

struct FieldPlan {
  /// In target table order. Binary fields are never assigned and left out.
  std::vector<AssignedField> fields;
  /// Key fields of a key lookup in key order, at most 7, as numbers into `fields`.
  std::vector<std::size_t> keys;
  /// Whether the setting maps any field at all, binary ones included.
  bool maps_any = false;
};

inline constexpr std::size_t kMaxKeyFields = 7;

/// Fails with `kInvalidArgument` for a field that is mapped to a source field outside 0 to 250.
Result<FieldPlan> PlanFields(const settings::FieldMap& map,
                             std::span<const catalog::TargetField> fields,
                             const database::TableDef& table);

/// Marks the key fields of an index in the plan. Returns the name of the first one that no source
/// field feeds, or an empty text. Key fields behind the seventh are marked but not used.
std::string ResolveKeys(const database::IndexDef& index, FieldPlan& plan);

/// Marks of the source fields that the plan reads.
std::vector<bool> WantedSourceFields(const FieldPlan& plan);

/// The conversions of a setting that every imported text goes through.
class TextConversion {
 public:
  explicit TextConversion(const settings::ImportSetting& setting);
  /// Whether there is anything to convert.
  bool active() const noexcept { return oem_ || upper_ || lower_; }
  /// Puts the converted text into `out`: OEM to ANSI first, then upper case, then lower case.
  void Convert(std::string_view text, std::string& out);
  /// Characters that the ANSI page could not hold.
  std::int64_t replaced_characters() const noexcept { return replaced_; }

 private:
  bool oem_;
  bool upper_;
  bool lower_;
  base::Converter converter_;
  std::string scratch_;
  std::int64_t replaced_ = 0;
};

/// A value that a field does not take, for messages and reject files.
struct RefusedValue {
  const AssignedField* field = nullptr;  // null: the failure is no value's
  std::string value;
};

}  // namespace kelvorin::engine
