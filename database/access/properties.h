#pragma once
// The properties that the catalog keeps of a table and its fields as one blob: Required,
// AllowZeroLength, DefaultValue and whatever else a program stored. Read for what this room uses;
// written for new tables. Defaults are understood as far as they are constants or the date.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "database/access/text_codec.h"
#include "values/field_types.h"
#include "values/value.h"

namespace kelvorin::database::access {

struct FieldProperties {
  std::string name;  // of the field, ANSI page
  bool required = false;
  bool allow_zero_length = false;
  std::string default_value;    // the expression as stored
  std::string validation_rule;  // never evaluated
};

/// Properties of the fields that have any. Damaged parts are passed over: a property that cannot be
/// read counts as absent.
std::vector<FieldProperties> ReadProperties(base::ByteSpan blob, TextCodec& text);
/// The blob for a new table.
std::string WriteProperties(const std::vector<FieldProperties>& fields, TextCodec& text);

/// What a default's expression says.
struct DefaultPlan {
  enum class Kind : std::uint8_t { kNone, kConstant, kNow, kToday, kTimeOfDay, kRandom, kUnknown };
  Kind kind = Kind::kNone;
  std::string text;  // of a constant: for display and for parsing by the field's type
};
DefaultPlan UnderstandDefault(std::string_view expression);
/// The expression of a constant of a field's type; other expressions stay as they are.
std::string DefaultExpression(std::string_view value, values::TypeCode type);
/// The value of a default now. `scratch` holds what the value points to. `kNotSupported` for an
/// expression that is not understood.
Status EvaluateDefault(const DefaultPlan& plan, values::TypeCode type, values::Value& out,
                       std::string& scratch);

/// The current date and time of day.
values::DateTime CurrentDateTime();

}  // namespace kelvorin::database::access
