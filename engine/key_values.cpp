#include "engine/key_values.h"

namespace kelvorin::engine {

Status KeyValues::Take(const textsource::FieldValues& record, bool& fits, RefusedValue& refused) {
  fits = true;
  for (std::size_t i = 0; i < plan_.keys.size(); ++i) {
    const AssignedField& field = plan_.fields[plan_.keys[i]];
    std::string_view text = record[field.source_no];
    if (null_text_.Matches(field, text)) {
      values_[i] = values::Value::Null();
      continue;
    }
    if (conversion_.active()) {
      const std::int64_t replaced_before = conversion_.replaced_characters();
      conversion_.Convert(text, texts_[i]);
      text = texts_[i];
      fits = fits && conversion_.replaced_characters() == replaced_before;
    }
    if (field.cut_to != 0 && base::CutToCharacters(text, field.cut_to).size() != text.size())
      fits = false;
    Status parsed = format_.Parse(text, field.type, values_[i], digits_[i]);
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
