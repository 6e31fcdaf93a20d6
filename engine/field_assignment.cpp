#include "engine/field_assignment.h"

namespace kelvorin::engine {

FieldAssignment::FieldAssignment(const settings::ImportSetting& setting, const FieldPlan& plan,
                                 TextConversion& conversion, contract::EventSink& events,
                                 std::string_view table_name)
    : plan_(plan),
      conversion_(conversion),
      events_(events),
      table_name_(table_name),
      // A new record holds Null everywhere, so only changed records have something to append to.
      append_to_current_(setting.AppendFields && !setting.AppendRecords),
      host_listens_(events.Listens(contract::Event::kBeforeFieldImport)),
      fast_(!conversion.active() && !append_to_current_ && !host_listens_) {}

std::string_view FieldAssignment::Cut(const AssignedField& field, std::string_view value) {
  if (field.cut_to == 0 || value.size() <= field.cut_to) return value;
  const std::string_view cut = base::CutToCharacters(value, field.cut_to);
  if (cut.size() != value.size()) ++truncated_;
  return cut;
}

// Leaves in value_ what is to be assigned.
Status FieldAssignment::Prepare(const AssignedField& field, std::string_view value, Place place,
                                TargetWriter& target) {
  if (conversion_.active()) {
    conversion_.Convert(value, value_);
  } else {
    value_ = value;
  }
  if (append_to_current_ && place == Place::kFound) {
    bool is_null = true;
    KV_TRY(target.Current(field, current_, is_null));
    if (!is_null) value_.insert(0, current_);
  }
  const std::size_t kept = Cut(field, value_).size();
  if (kept != value_.size()) value_.resize(kept);
  if (host_listens_)
    events_.BeforeFieldImport(table_name_, field.name, static_cast<std::int16_t>(field.type),
                              field.size, value_);
  return Status();
}

Status FieldAssignment::AssignAll(const textsource::FieldValues& values, Place place,
                                  TargetWriter& target, RefusedValue& refused) {
  for (const AssignedField& field : plan_.fields) {
    if (field.is_key && place != Place::kNew) continue;
    std::string_view value = values[field.source_no];
    Status status;
    if (fast_) {
      value = Cut(field, value);
    } else {
      status = Prepare(field, value, place, target);
      value = value_;
    }
    if (status.ok()) status = target.Assign(field, value);
    if (status.ok()) continue;
    refused.field = &field;
    refused.value = value;
    return status;
  }
  // A handler that failed is not asked again; the record is refused before it is posted.
  return host_listens_ ? events_.Failure() : Status();
}

}  // namespace kelvorin::engine
