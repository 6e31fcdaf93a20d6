#pragma once
// Takes the values of one source record into the target's record, field by field. What has to be
// done to a value is decided once per run: where nothing is converted, appended or shown to the
// host, the slice of the source goes straight to the target.

#include <cstdint>
#include <string>
#include <string_view>

#include "base/status.h"
#include "contract/events.h"
#include "engine/field_plan.h"
#include "engine/target_writer.h"
#include "settings/import_setting.h"
#include "textsource/field_splitter.h"

namespace kelvorin::engine {

class FieldAssignment {
 public:
  /// Everything is borrowed. `table_name` is what events report.
  FieldAssignment(const settings::ImportSetting& setting, const FieldPlan& plan,
                  TextConversion& conversion, contract::EventSink& events,
                  std::string_view table_name);

  /// Assigns all fields of a record that stands at `place`; key fields only in a new one. Stops at
  /// the first field that fails and tells which in `refused`. A host whose handler failed ends it
  /// with `kStopped`.
  Status AssignAll(const textsource::FieldValues& values, Place place, TargetWriter& target,
                   RefusedValue& refused);

  /// Texts that were cut to the size of their field.
  std::int64_t truncated_values() const noexcept { return truncated_; }

 private:
  std::string_view Cut(const AssignedField& field, std::string_view value);
  Status Prepare(const AssignedField& field, std::string_view value, Place place,
                 TargetWriter& target);

  const FieldPlan& plan_;
  TextConversion& conversion_;
  contract::EventSink& events_;
  std::string_view table_name_;
  bool append_to_current_;
  bool host_listens_;
  bool fast_;
  std::string value_;    // the value on its way, outside the fast lane
  std::string current_;  // what the target field holds
  std::int64_t truncated_ = 0;
};

}  // namespace kelvorin::engine
