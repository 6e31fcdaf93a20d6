#pragma once
// A text file's layout in words, as `detect` and `import` print it.

#include <string>

#include "textsource/format_detection.h"

namespace kelvorin::app {

/// "delimited by semicolon, records end with CR LF".
std::string LayoutWords(const textsource::DetectedLayout& layout);
/// "100 % (9 of 9 lines have 8 fields)".
std::string CertaintyWords(const textsource::DetectionReport& report);

}  // namespace kelvorin::app
