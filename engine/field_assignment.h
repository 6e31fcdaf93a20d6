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
#include "engine/source_reader.h"
#include "engine/target_writer.h"
#include "settings/import_setting.h"
#include "textsource/field_splitter.h"

namespace kelvorin::engine {

/// What the values of one record lose on their way into it.
struct RecordLosses {
  std::int64_t truncated = 0;  // texts cut to the size of their field
  std::int64_t changed = 0;    // values that their field keeps other than they were
  /// The first such value, where the run wants to show one; else null.
  const AssignedField* field = nullptr;
  std::string was, is;

  void Clear() noexcept {
    truncated = changed = 0;
    field = nullptr;
  }
};

class FieldAssignment {
 public:
  /// Everything is borrowed. `table_name` is what events report.
  FieldAssignment(const settings::ImportSetting& setting, const FieldPlan& plan,
                  TextConversion& conversion, contract::EventSink& events,
                  std::string_view table_name);

  /// Assigns all fields of a record that stands at `place`; key fields only in a new one. Stops at
  /// the first field that fails and tells which in `refused`. A host whose handler failed ends it
  /// with `kStopped`. What values lose is added to `losses`; with the setting's `ExactValues` the
  /// first one that loses anything fails. `source` is asked what a value lost when it was read.
  Status AssignAll(const textsource::FieldValues& values, Place place, SourceReader& source,
                   TargetWriter& target, bool want_case, RecordLosses& losses,
                   RefusedValue& refused);

 private:
  // A value on its way.
  struct Step {
    std::string_view read;   // as the source gave it
    std::string_view value;  // as it is assigned
    bool is_null = false;
    bool lost = false;  // something of it is gone already
  };
  void Cut(const AssignedField& field, Step& step, RecordLosses& losses);
  Status Prepare(const AssignedField& field, Place place, TargetWriter& target, Step& step,
                 RecordLosses& losses);
  Status Take(const AssignedField& field, Place place, SourceReader& source, TargetWriter& target,
              Step& step, RecordLosses& losses, bool want_case);
  Status NoteLoss(const AssignedField& field, const Step& step, SourceReader& source,
                  TargetWriter& target, bool want_case, RecordLosses& losses);

  const FieldPlan& plan_;
  TextConversion& conversion_;
  contract::EventSink& events_;
  std::string_view table_name_;
  NullText null_text_;
  bool append_to_current_;
  bool host_listens_;
  bool fast_;
  bool exact_;
  std::string value_;    // the value on its way, outside the fast lane
  std::string current_;  // what the target field holds
  std::string uncut_;    // the value before it was cut
};

}  // namespace kelvorin::engine
