#include "catalog/target.h"

#include <algorithm>

#include "base/M_Const.h"
#include "base/M_Misc.h"

namespace kelvorin::catalog {

Status Target::Close() noexcept {
  Status first = recordset ? recordset->Close() : Status();
  recordset.reset();
  Status second = database ? database->Close() : Status();
  database.reset();
  return first.ok() ? std::move(second) : std::move(first);
}

std::vector<TargetField> InitTargetTable(const database::Recordset& recordset,
                                         std::string_view table_name, contract::EventSink& events,
                                         settings::FieldMap& map) {
  std::vector<TargetField> fields;
  for (settings::FieldMapEntry& entry : map) entry = {};

  const auto& defs = recordset.Def().Fields;
  for (std::size_t i = 0; i < defs.size(); ++i) {
    bool hide = false;
    events.FilterField(table_name, defs[i].Name, hide);
    if (hide || fields.size() == base::kMaxFields) continue;
    map[fields.size()].Name = defs[i].Name;
    fields.push_back({defs[i].Name, base::Narrow<std::int16_t>(std::clamp(defs[i].Size, 0, 32767)),
                      i, defs[i].Type});
  }
  return fields;
}

}  // namespace kelvorin::catalog
