#pragma once
// The key of a key lookup as typed values, made from each source record.

#include <array>
#include <span>
#include <string>

#include "base/status.h"
#include "engine/field_plan.h"
#include "values/value.h"
#include "values/value_format.h"

namespace kelvorin::engine {

class KeyValues {
 public:
  KeyValues(const FieldPlan& plan, TextConversion& conversion, const values::ValueFormat& format)
      : plan_(plan), conversion_(conversion), format_(format) {}

  /// Converts and parses the key values of a record. Fails with the parser's error and fills
  /// `refused` when one does not fit its field.
  Status Take(const textsource::FieldValues& record, RefusedValue& refused);
  /// In key order; live until the next `Take`, at most as long as the record.
  std::span<const values::Value> values() const noexcept {
    return std::span<const values::Value>(values_).first(plan_.keys.size());
  }

 private:
  const FieldPlan& plan_;
  TextConversion& conversion_;
  const values::ValueFormat& format_;
  std::array<values::Value, kMaxKeyFields> values_{};
  std::array<std::string, kMaxKeyFields> texts_;   // converted texts
  std::array<std::string, kMaxKeyFields> digits_;  // of the parser
};

}  // namespace kelvorin::engine
