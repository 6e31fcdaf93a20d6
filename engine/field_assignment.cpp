#include "engine/field_assignment.h"

#include <algorithm>

namespace kelvorin::engine {

FieldAssignment::FieldAssignment(const settings::ImportSetting& setting, const FieldPlan& plan,
                                 TextConversion& conversion, contract::EventSink& events,
                                 std::string_view table_name)
    : plan_(plan),
      conversion_(conversion),
      events_(events),
      table_name_(table_name),
      null_text_(setting.NullText),
      // A new record holds Null everywhere, so only changed records have something to append to.
      append_to_current_(setting.AppendFields && !setting.AppendRecords),
      host_listens_(events.Listens(contract::Event::kBeforeFieldImport)),
      fast_(!conversion.active() && !append_to_current_ && !host_listens_),
      exact_(setting.ExactValues != 0) {}

void FieldAssignment::Cut(const AssignedField& field, Step& step, RecordLosses& losses) {
  if (field.cut_to == 0 || step.value.size() <= field.cut_to) return;
  const std::string_view cut = base::CutToCharacters(step.value, field.cut_to);
  if (cut.size() == step.value.size()) return;
  ++losses.truncated;
  step.lost = true;
  uncut_ = step.value;
  step.value = cut;
}

// Leaves in value_ what is to be assigned.
Status FieldAssignment::Prepare(const AssignedField& field, Place place, TargetWriter& target,
                                Step& step, RecordLosses& losses) {
  if (step.is_null) {
    value_.clear();
  } else if (conversion_.active()) {
    const std::int64_t replaced_before = conversion_.replaced_characters();
    conversion_.Convert(step.read, value_);
    step.lost = conversion_.replaced_characters() != replaced_before;
  } else {
    value_ = step.read;
  }
  if (append_to_current_ && place == Place::kFound) {
    bool is_null = true;
    KV_TRY(target.Current(field, current_, is_null));
    if (!is_null) value_.insert(0, current_);
    step.is_null = step.is_null && is_null;
  }
  step.value = value_;
  Cut(field, step, losses);
  if (!host_listens_) return Status();
  value_.resize(step.value.size());
  events_.BeforeFieldImport(table_name_, field.name, static_cast<std::int16_t>(field.type),
                            field.size, value_);
  step.value = value_;
  step.is_null = step.is_null && value_.empty();
  return Status();
}

Status FieldAssignment::Take(const AssignedField& field, Place place, SourceReader& source,
                             TargetWriter& target, Step& step, RecordLosses& losses,
                             bool want_case) {
  step.is_null =
      null_text_.Matches(field, step.read) || (field.takes_null && source.IsNull(field.source_no));
  step.read = AsAssigned(field, step.read);
  step.value = step.is_null ? std::string_view() : step.read;
  if (fast_) {
    Cut(field, step, losses);
  } else {
    KV_TRY(Prepare(field, place, target, step, losses));
  }
  bool changed = false;
  KV_TRY(target.Assign(field, step.value, step.is_null, changed));
  if (!changed && !step.lost && source.altered().empty()) [[likely]]
    return Status();
  step.lost = step.lost || changed || source.Altered(field.source_no);
  return step.lost ? NoteLoss(field, step, source, target, want_case, losses) : Status();
}

Status FieldAssignment::NoteLoss(const AssignedField& field, const Step& step, SourceReader& source,
                                 TargetWriter& target, bool want_case, RecordLosses& losses) {
  ++losses.changed;
  if (!exact_ && (!want_case || losses.field != nullptr)) return Status();
  losses.field = &field;
  losses.was = uncut_.empty() ? step.value : std::string_view(uncut_);
  if (fast_ && source.Altered(field.source_no))
    KV_TRY(source.Original(field.source_no, losses.was));
  KV_TRY(target.Kept(field, losses.is));
  if (!exact_) return Status();
  return Status(Code::kConversion, "'" + losses.was + "' would be kept as '" + losses.is +
                                       "', and the import is to keep every value as it is");
}

Status FieldAssignment::AssignAll(const textsource::FieldValues& values, Place place,
                                  SourceReader& source, TargetWriter& target, bool want_case,
                                  RecordLosses& losses, RefusedValue& refused) {
  for (const AssignedField& field : plan_.fields) {
    if (field.is_key && place != Place::kNew) continue;
    if (field.is_absent && field.source_no >= values.count()) continue;
    Step step;
    step.read = values[field.source_no];
    uncut_.clear();
    Status status = Take(field, place, source, target, step, losses, want_case);
    if (status.ok()) continue;
    refused.field = &field;
    refused.value = uncut_.empty() ? step.value : std::string_view(uncut_);
    return status;
  }
  // A handler that failed is not asked again; the record is refused before it is posted.
  return host_listens_ ? events_.Failure() : Status();
}

}  // namespace kelvorin::engine
