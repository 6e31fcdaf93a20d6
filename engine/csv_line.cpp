#include "engine/csv_line.h"

namespace kelvorin::engine {

void AppendCsvValue(std::string_view value, std::string& out) {
  if (value.find_first_of(",\"\r\n") == std::string_view::npos) {
    out += value;
    return;
  }
  out += '"';
  for (const char c : value) {
    out += c;
    if (c == '"') out += c;
  }
  out += '"';
}

}  // namespace kelvorin::engine
