#pragma once
// Writes single CSV values for reject files, so that they can be imported again with comma and
// double quote.

#include <string>
#include <string_view>

namespace kelvorin::engine {

/// Appends a value; one that holds a comma, a quote or a line end goes in double quotes, with
/// quotes doubled.
void AppendCsvValue(std::string_view value, std::string& out);

}  // namespace kelvorin::engine
