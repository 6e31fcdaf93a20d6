#include "textsource/layout_words.h"

#include "base/M_Const.h"
#include "base/M_STRING.h"
#include "base/code_page.h"
#include "base/language.h"

namespace kelvorin::textsource {

using base::Tr;

namespace {

std::string RecordEndName(const RecordFormat& format) {
  if (format.html_rows) return Tr("records are rows of tables");
  if (format.any_line_end) return Tr("records end with LF, CR LF or CR");
  constexpr std::string_view kNames[] = {"CR LF", "CR", "LF", "a text", "a fixed length"};
  const bool known = format.code >= 0 && format.code <= separator_code::kLength;
  return Tr("records end with %1",
            {Tr(known ? kNames[format.code] : std::string_view("the end of the file"))});
}

std::string PageName(int page) {
  if (page == kUtf16LittleEndianPage || page == kUtf16BigEndianPage) return "UTF-16";
  return Tr("code page %1", {base::ToDecimal(page)});
}

}  // namespace

std::string SeparatorName(std::string_view separator) {
  if (separator == ",") return Tr("comma");
  if (separator == ";") return Tr("semicolon");
  if (separator == " ") return Tr("space");
  if (separator == "\t") return Tr("tab");
  if (separator == "\x1F") return Tr("unit separator");
  return '"' + std::string(separator) + '"';
}

std::string CutWords(const DetectedLayout& layout) {
  if (layout.rule == CutRule::kFixed) return Tr("fixed width");
  if (layout.rule == CutRule::kHtmlTags) return Tr("rows of HTML tags");
  std::string words;
  for (std::size_t at = 0; at < layout.separators.size();) {
    const std::string_view rest = std::string_view(layout.separators).substr(at);
    const std::string_view one = base::CutToCharacters(rest, 1);
    if (at > 0) words += ", ";
    words += SeparatorName(one);
    at += one.size();
  }
  words = Tr(layout.merge_separators ? "delimited by runs of %1" : "delimited by %1", {words});
  if (layout.delimiter == '\'') words += ", " + Tr("texts in single quotes");
  return words;
}

std::string LayoutWords(const DetectedLayout& layout) {
  std::string words = CutWords(layout) + ", " + RecordEndName(layout.format);
  if (layout.page != base::AnsiPage().number()) words += ", " + PageName(layout.page);
  if (layout.heading_line > 0)
    words += ", " + Tr("heading in line %1", {base::ToDecimal(layout.heading_line)});
  if (layout.start_line > 1)
    words += ", " + Tr("data from line %1", {base::ToDecimal(layout.start_line)});
  return words;
}

std::string CertaintyWords(const DetectionReport& report) {
  std::string words =
      base::ToDecimal(report.certainty_percent) + " % (" + base::ToDecimal(report.lines_agreeing) +
      " of " + base::ToDecimal(report.lines) + " lines have " + base::ToDecimal(report.fields);
  words += report.fields == 1                                   ? " field)"
           : report.fields < static_cast<int>(base::kMaxFields) ? " fields)"
                                                                : " fields or more)";
  return words;
}

}  // namespace kelvorin::textsource
