#include "engine/key_values.h"

namespace kelvorin::engine {

Status KeyValues::Take(const textsource::FieldValues& record, RefusedValue& refused) {
  for (std::size_t i = 0; i < plan_.keys.size(); ++i) {
    const AssignedField& field = plan_.fields[plan_.keys[i]];
    std::string_view text = record[field.source_no];
    if (conversion_.active()) {
      conversion_.Convert(text, texts_[i]);
      text = texts_[i];
    }
    if (field.cut_to != 0 && text.size() > field.cut_to)
      text = base::CutToCharacters(text, field.cut_to);
    Status parsed = format_.Parse(text, field.type, values_[i], digits_[i]);
    if (parsed.ok()) continue;
    refused.field = &field;
    refused.value = text;
    return parsed;
  }
  return Status();
}

}  // namespace kelvorin::engine
