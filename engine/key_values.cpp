#include "engine/key_values.h"

namespace kelvorin::engine {

Status ParseNumberOrTruth(const values::ValueFormat& format, const database::FieldDef& field,
                          std::string_view text, values::Value& out, std::string& scratch) {
  Status parsed = format.Parse(text, field.Type, out, scratch);
  if (parsed.ok() || !field.TakesTruth) [[likely]]
    return parsed;
  values::Value truth;
  if (!format.Parse(text, values::TypeCode::kBoolean, truth, scratch).ok() || truth.narrowed)
    return parsed;
  out = values::Value::Integer(truth.boolean ? 1 : 0);
  return Status();
}

Status KeyValues::Take(const textsource::FieldValues& record, bool& fits, RefusedValue& refused) {
  fits = true;
  for (std::size_t i = 0; i < plan_.keys.size(); ++i) {
    const AssignedField& field = plan_.fields[plan_.keys[i]];
    std::string_view text = record[field.source_no];
    if (null_text_.Matches(field, text)) {
      values_[i] = values::Value::Null();
      continue;
    }
    text = AsAssigned(field, text);
    if (conversion_.active()) {
      const std::int64_t replaced_before = conversion_.replaced_characters();
      conversion_.Convert(text, texts_[i]);
      text = texts_[i];
      fits = fits && conversion_.replaced_characters() == replaced_before;
    }
    if (field.cut_to != 0 && base::CutToCharacters(text, field.cut_to).size() != text.size())
      fits = false;
    Status parsed = ParseNumberOrTruth(format_, recordset_.Def().Fields[field.position], text,
                                       values_[i], digits_[i]);
    bool changed = false;
    if (parsed.ok())
      parsed = database::CheckFit(recordset_.Def().Fields[field.position],
                                  recordset_.Keeps(field.position), values_[i], changed);
    fits = fits && !changed;
    if (parsed.ok()) continue;
    refused.field = &field;
    refused.value = text;
    return parsed;
  }
  return Status();
}

}  // namespace kelvorin::engine
