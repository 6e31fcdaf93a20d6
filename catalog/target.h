#pragma once
// The open target of one form: its database, the record set on its table, and the target field
// table. Filled by the form, read by the mapping and the run.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "contract/events.h"
#include "database/database.h"
#include "settings/import_setting.h"
#include "values/field_types.h"

namespace kelvorin::catalog {

/// One field of the target table that the host did not hide. Entry i belongs to entry i of the
/// field map.
struct TargetField {
  std::string Name;
  std::int16_t Size = 0;     // as the engine reports it, at most 32767
  std::size_t position = 0;  // in the record set, from 0; hidden fields count
  values::TypeCode Type = values::TypeCode::kText;
};

/// Records of state only; the record set is let go before its database.
struct Target {
  std::int16_t kind = 3;  // of the database, a TypeConnect value
  std::unique_ptr<database::Database> database;
  std::unique_ptr<database::Recordset> recordset;
  std::string table_name;
  std::vector<TargetField> fields;  // at most 251

  /// Closes the record set, then the database, and forgets both. The first failure is returned: a
  /// record set may find only here that its last records cannot be written.
  Status Close() noexcept;
};

/// Loads the target field table from a record set and resets the field map: every loaded field gets
/// its name and no source, entries behind them are empty. The host is asked for each field. A table
/// with more than 251 fields left is cut.
std::vector<TargetField> InitTargetTable(const database::Recordset& recordset,
                                         std::string_view table_name, contract::EventSink& events,
                                         settings::FieldMap& map);

}  // namespace kelvorin::catalog
