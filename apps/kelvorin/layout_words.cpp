#include "apps/kelvorin/layout_words.h"

#include <string_view>

#include "base/M_Const.h"

namespace kelvorin::app {
namespace {

std::string_view RecordSeparatorName(std::int32_t code) {
  constexpr std::string_view kNames[] = {"CR LF", "CR", "LF", "a text", "a fixed length"};
  return code >= 0 && code <= 4 ? kNames[code] : "the end of the file";
}

std::string SeparatorNames(std::string_view set) {
  std::string names;
  for (const char c : set) {
    if (!names.empty()) names += ", ";
    switch (c) {
      case ',':
        names += "comma";
        break;
      case ';':
        names += "semicolon";
        break;
      case ' ':
        names += "space";
        break;
      case '\t':
        names += "tab";
        break;
      default:
        names.append("\"").append(1, c).append("\"");
        break;
    }
  }
  return names;
}

}  // namespace

std::string LayoutWords(const textsource::DetectedLayout& layout) {
  std::string words;
  switch (layout.rule) {
    case textsource::CutRule::kDelimited:
      words = "delimited by " + SeparatorNames(layout.separators);
      break;
    case textsource::CutRule::kFixed:
      words = "fixed width";
      break;
    case textsource::CutRule::kHtmlTags:
      words = "rows of HTML tags";
      break;
  }
  words.append(", records end with ").append(RecordSeparatorName(layout.format.code));
  if (layout.format.quote != 0) words += ", quoted fields hold line ends";
  return words;
}

std::string CertaintyWords(const textsource::DetectionReport& report) {
  return std::to_string(report.certainty_percent) + " % (" + std::to_string(report.lines_agreeing) +
         " of " + std::to_string(report.lines) + " lines have " + std::to_string(report.fields) +
         (report.fields == 1                      ? " field)"
          : report.fields < int{base::kMaxFields} ? " fields)"
                                                  : " fields or more)");
}

}  // namespace kelvorin::app
