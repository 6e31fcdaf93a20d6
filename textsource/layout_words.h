#pragma once
// A detected layout in words, for people: what `detect`, `import` and the wizard's status line say.

#include <string>
#include <string_view>

#include "textsource/layout_detection.h"

namespace kelvorin::textsource {

/// "comma", "tab", "\"|\"".
std::string SeparatorName(std::string_view separator);
/// "delimited by semicolon", "fixed width": how records are cut into fields.
std::string CutWords(const DetectedLayout& layout);
/// `CutWords` and how the file is cut into records: ", records end with CR LF", the code page where
/// it is not the usual one, the heading and the first line of data.
std::string LayoutWords(const DetectedLayout& layout);
/// "100 % (9 of 9 lines have 8 fields)".
std::string CertaintyWords(const DetectionReport& report);

}  // namespace kelvorin::textsource
