#pragma once
// A text file's layout in words, as `detect` and `import` print it.

#include <string>

#include "textsource/format_detection.h"

namespace kelvorin::app {

/// "delimited by semicolon, records end with CR LF".
std::string LayoutWords(const textsource::DetectedLayout& layout);

}  // namespace kelvorin::app
