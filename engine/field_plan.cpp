#include "engine/field_plan.h"

#include <algorithm>

#include "base/M_Const.h"
#include "base/M_STRING.h"
#include "base/case_map.h"

namespace kelvorin::engine {

Result<FieldPlan> PlanFields(const settings::FieldMap& map,
                             std::span<const catalog::TargetField> fields,
                             const database::TableDef& table, bool nulls) {
  FieldPlan plan;
  const std::size_t count = std::min(fields.size(), map.size());
  for (std::size_t i = 0; i < count; ++i) {
    const settings::FieldMapEntry& entry = map[i];
    if (!entry.Mapped || fields[i].Name.empty()) continue;
    if (entry.Field < 0 || std::cmp_greater_equal(entry.Field, base::kMaxFields))
      return Status(Code::kInvalidArgument,
                    "field '" + fields[i].Name + "' is mapped to source field " +
                        std::to_string(entry.Field) + "; source fields are 0 to 250");
    plan.maps_any = true;
    if (values::IsBinary(fields[i].Type)) {
      plan.binary.push_back(fields[i].Name);
      continue;
    }
    AssignedField field;
    field.name = fields[i].Name;
    field.type = fields[i].Type;
    field.is_text = values::IsText(field.type);
    field.size = fields[i].Size;
    field.source_no = static_cast<std::size_t>(entry.Field);
    field.position = fields[i].position;
    // The 16-bit size of the field table may be less than the field holds.
    const std::int32_t size = table.Fields[field.position].Size;
    field.takes_null = field.is_text && nulls && !table.Fields[field.position].Required;
    if (field.type == values::TypeCode::kText && size > 0)
      field.cut_to = static_cast<std::size_t>(size);
    plan.fields.push_back(field);
  }
  return plan;
}

std::string ResolveKeys(const database::IndexDef& index, FieldPlan& plan) {
  for (const database::IndexField& column : index.Columns) {
    const auto found =
        std::find_if(plan.fields.begin(), plan.fields.end(),
                     [&](const AssignedField& f) { return !f.is_key && f.name == column.Name; });
    if (found == plan.fields.end()) return column.Name;
    found->is_key = true;
    plan.keys.push_back(static_cast<std::size_t>(found - plan.fields.begin()));
  }
  return {};
}

std::string MarkAbsentFields(std::size_t columns, bool remove, FieldPlan& plan) {
  std::string names;
  for (AssignedField& field : plan.fields) {
    field.is_absent = field.source_no >= columns;
    if (!field.is_absent) continue;
    names += names.empty() ? "" : ", ";
    names += "'" + std::string(field.name) + "' from column " +
             base::ToDecimal(static_cast<std::int64_t>(field.source_no) + 1);
  }
  if (names.empty()) return names;
  if (remove) std::erase_if(plan.fields, [](const AssignedField& f) { return f.is_absent; });
  return "The source has " +
         (columns == 1 ? "1 column"
                       : base::ToDecimal(static_cast<std::int64_t>(columns)) + " columns") +
         "; nothing is assigned to fields that are mapped to others: " + names;
}

void MarkSourceTypes(const database::TableDef& source, FieldPlan& plan) {
  for (AssignedField& field : plan.fields) {
    if (field.source_no >= source.Fields.size()) continue;
    const values::TypeCode type = source.Fields[field.source_no].Type;
    field.from_truth = values::IsNumber(field.type) && type == values::TypeCode::kBoolean;
    field.from_binary = values::IsBinary(type);
  }
}

std::string BinaryNote(const FieldPlan& plan) {
  std::string names;
  const auto add = [&](std::string_view name, const char* what) {
    names.append(names.empty() ? "" : ", ").append("'").append(name).append(what);
  };
  for (const std::string_view name : plan.binary) add(name, "' gets nothing");
  for (const AssignedField& field : plan.fields)
    if (field.from_binary) add(field.name, "' is filled as from an empty value");
  return names.empty() ? names : "Binary values are not imported: field " + names;
}

NullText::NullText(std::string_view text) : text_(text), trimmed_(base::Trim(text)) {}

bool NullText::IsText(const AssignedField& field, std::string_view value) const noexcept {
  return field.is_text ? value == text_ : base::Trim(value) == trimmed_;
}

std::vector<bool> WantedSourceFields(const FieldPlan& plan) {
  std::vector<bool> wanted;
  for (const AssignedField& field : plan.fields) {
    if (wanted.size() <= field.source_no) wanted.resize(field.source_no + 1);
    wanted[field.source_no] = true;
  }
  return wanted;
}

TextConversion::TextConversion(const settings::ImportSetting& setting)
    : oem_(setting.OemConvert),
      upper_(setting.Upper && !setting.Lower),
      lower_(setting.Lower),
      converter_(base::OemPage(), base::AnsiPage()) {}

void TextConversion::Convert(std::string_view text, std::string& out) {
  out.clear();
  if (oem_) {
    std::string& converted = upper_ || lower_ ? scratch_ : out;
    converted.clear();
    replaced_ += static_cast<std::int64_t>(converter_.Append(text, converted));
    text = converted;
  }
  if (upper_) {
    base::AppendUpper(text, out);
  } else if (lower_) {
    base::AppendLower(text, out);
  } else if (!oem_) {
    out = text;
  }
}

}  // namespace kelvorin::engine
