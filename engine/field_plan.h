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
  bool is_absent = false;     // the source has no such column, though a record of it may
  bool is_text = false;       // an empty value is text of length zero
  bool takes_null = false;    // a text that the target tells from Null
  bool from_truth = false;    // a number that a table's truth value goes to
  bool from_binary = false;   // the source's values are binary, which are read as empty
};

struct FieldPlan {
  /// In target table order. Binary fields are never assigned and left out.
  std::vector<AssignedField> fields;
  /// Key fields of a key lookup in key order, as numbers into `fields`.
  std::vector<std::size_t> keys;
  std::vector<std::string_view> binary;  // names of those that are mapped
  /// Whether the setting maps any field at all, binary ones included.
  bool maps_any = false;
};

/// Most values that a record can be looked up by.
inline constexpr std::size_t kMaxKeyFields = 16;

/// `nulls`: the target keeps a Null text of a table as Null, where its field takes it. Fails with
/// `kInvalidArgument` for a field that is mapped to a source field outside 0 to 250.
Result<FieldPlan> PlanFields(const settings::FieldMap& map,
                             std::span<const catalog::TargetField> fields,
                             const database::TableDef& table, bool nulls);

/// Marks the key fields of an index in the plan. Returns the name of the first one that no source
/// field feeds, or an empty text. All of them are used, so that no record is found by a part of its
/// key.
std::string ResolveKeys(const database::IndexDef& index, FieldPlan& plan);

/// Marks the fields whose source column is not among the first `columns`, and takes them out of the
/// plan with `remove`. Returns a sentence that names them for the user, or nothing.
std::string MarkAbsentFields(std::size_t columns, bool remove, FieldPlan& plan);

/// Marks what depends on the types of `source`, a table: fields that take truth values as numbers,
/// and those whose values are binary.
void MarkSourceTypes(const database::TableDef& source, FieldPlan& plan);
/// Names the mapped fields that get nothing because one side is binary, for the user; or nothing.
std::string BinaryNote(const FieldPlan& plan);
/// What of a source value is assigned: a truth value goes to a number as 1 or 0.
inline std::string_view AsAssigned(const AssignedField& field, std::string_view value) noexcept {
  if (!field.from_truth) [[likely]]
    return value;
  return value == "True" ? "1" : value == "False" ? "0" : value;
}

/// The text of a setting that stands for Null. It is compared with values as they were read.
class NullText {
 public:
  explicit NullText(std::string_view text);
  bool Matches(const AssignedField& field, std::string_view value) const noexcept {
    return !text_.empty() && IsText(field, value);
  }

 private:
  bool IsText(const AssignedField& field, std::string_view value) const noexcept;

  std::string_view text_;     // as given, for texts
  std::string_view trimmed_;  // without blanks around it, for every other type
};

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
