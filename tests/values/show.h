#pragma once
// What a text parsed to, as one short text to compare: "12" for whole numbers, "1.5 [1.50]" for
// numbers with their exact digits, "!is no number" for a refused one, which its message must quote.

#include <cstdio>
#include <string>
#include <string_view>

#include "values/value_format.h"

namespace kelvorin::tests {

inline std::string Show(const values::ValueFormat& format, std::string_view text,
                        values::TypeCode type) {
  using values::Kind;
  values::Value value;
  std::string scratch, shown;
  const Status status = format.Parse(text, type, value, scratch);
  if (!status.ok()) {
    const std::string quoted = "'" + std::string(text) + "' ";
    shown = status.message();
    return "!" + (shown.starts_with(quoted) ? shown.substr(quoted.size()) : shown);
  }
  if (value.kind == Kind::kDouble) {
    char room[64];
    std::snprintf(room, sizeof(room), "%.17g [", value.number);
    return room + std::string(value.text) + "]";
  }
  if (value.kind == Kind::kBytes) return "<" + std::string(value.text) + ">";
  if (value.kind == Kind::kText) return "\"" + std::string(value.text) + "\"";
  values::ValueFormat::Neutral().Append(value, shown);
  return value.IsNull() ? "Null" : shown;
}

}  // namespace kelvorin::tests
