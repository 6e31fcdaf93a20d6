#pragma once
// What a target field would make of values that are only shown so far: told before the run, cell by
// cell, by trying them on the fields themselves. Nothing is stored.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/status.h"
#include "catalog/target.h"
#include "settings/import_setting.h"
#include "values/value_format.h"

namespace kelvorin::job {

/// A value that does not arrive as it is.
struct ValueDoubt {
  enum class Kind : std::uint8_t { kNull, kChanged, kRefused };
  std::size_t record = 0, column = 0;  // of the values looked at, from 0
  Kind kind = Kind::kChanged;
  std::string reason;  // a sentence in the user's language
};

/// Values of records as they are assigned, converted already; field i of a record is source field
/// i.
using ShownValues = std::vector<std::vector<std::string>>;

/// Tries the values that the setting's field map takes on the fields of the open target table. One
/// value may feed several fields and then appears several times. Fails where the table cannot be
/// looked at. `text_too`: false where the target's texts are in another code page than the values.
Result<std::vector<ValueDoubt>> CheckValues(const ShownValues& records,
                                            const settings::ImportSetting& setting,
                                            const catalog::Target& target,
                                            const values::ValueFormat& format, bool text_too);

}  // namespace kelvorin::job
