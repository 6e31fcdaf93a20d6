#pragma once
// The key of a key lookup as typed values, made from each source record.

#include <array>
#include <span>
#include <string>

#include "base/status.h"
#include "database/recordset.h"
#include "engine/field_plan.h"
#include "values/value.h"
#include "values/value_format.h"

namespace kelvorin::engine {

/// As the format parses it; a field that takes truth values reads their words as 1 and 0, too.
Status ParseNumberOrTruth(const values::ValueFormat& format, const database::FieldDef& field,
                          std::string_view text, values::Value& out, std::string& scratch);

class KeyValues {
 public:
  /// `recordset` is the target's, whose fields say what they can hold.
  KeyValues(const FieldPlan& plan, TextConversion& conversion, const values::ValueFormat& format,
            const database::Recordset& recordset, std::string_view null_text)
      : plan_(plan),
        conversion_(conversion),
        format_(format),
        recordset_(recordset),
        null_text_(null_text) {}

  /// Converts and parses the key values of a record. `fits` is false when one does not fit its key
  /// field whole: no record can have it, and it must not find another one by a part of itself.
  /// Fails with the parser's error and fills `refused` for a text that is no value of its field.
  Status Take(const textsource::FieldValues& record, bool& fits, RefusedValue& refused);
  /// In key order; live until the next `Take`, at most as long as the record.
  std::span<const values::Value> values() const noexcept {
    return std::span<const values::Value>(values_).first(plan_.keys.size());
  }

 private:
  const FieldPlan& plan_;
  TextConversion& conversion_;
  const values::ValueFormat& format_;
  const database::Recordset& recordset_;
  NullText null_text_;
  std::array<values::Value, kMaxKeyFields> values_{};
  std::array<std::string, kMaxKeyFields> texts_;   // converted texts
  std::array<std::string, kMaxKeyFields> digits_;  // of the parser
};

}  // namespace kelvorin::engine
