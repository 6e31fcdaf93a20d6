#include "textsource/format_detection.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "base/M_Const.h"
#include "base/M_STRING.h"
#include "base/code_page.h"
#include "base/language.h"

namespace kelvorin::textsource {

using base::Tr;
namespace {

constexpr char kOtherSeparators[] = {',', ';', '\t', '|', ':'};

/// How one rule cuts the lines.
struct Cut {
  int fields = 0;
  int agreeing = 0;
  int unclosed = 0;
};

Cut CutLines(const std::vector<std::string_view>& lines, const SplitRules& rules) {
  Cut cut;
  FieldValues values;
  std::string line;
  std::vector<int> counts;
  for (const std::string_view original : lines) {
    if (rules.LeavesDelimiterOpen(original)) ++cut.unclosed;
    line = original;
    static_cast<void>(rules.Split(line, values));  // a line with more than 251 fields counts as 251
    int count = static_cast<int>(values.count());
    if (rules.rule() == CutRule::kFixed) {
      // The fields are always as many as the breaks: count those that the line reaches.
      while (count > 0 && values[static_cast<std::size_t>(count - 1)].empty()) --count;
    }
    counts.push_back(count);
  }
  for (const int count : counts) {
    const int same = static_cast<int>(std::count(counts.begin(), counts.end(), count));
    if (same > cut.agreeing || (same == cut.agreeing && count > cut.fields)) {
      cut.agreeing = same;
      cut.fields = count;
    }
  }
  return cut;
}

int Certainty(const Cut& cut, int lines, bool some_cut_off) {
  if (lines == 0) return 0;
  int percent = 100 * (cut.agreeing - std::min(cut.agreeing, cut.unclosed)) / lines;
  if (cut.fields < 2) percent = std::min(percent, 25);              // any layout does that
  if (lines == 1 || some_cut_off) percent = std::min(percent, 50);  // nothing to compare with
  return percent;
}

bool All(const std::vector<std::string_view>& lines, std::size_t from,
         bool (*holds)(std::string_view)) {
  return lines.size() > from &&
         std::all_of(lines.begin() + static_cast<std::ptrdiff_t>(from), lines.end(), holds);
}

std::int32_t BetterRecordCode(const std::vector<std::string_view>& lines, std::int32_t code) {
  const bool cut_in_crlf =
      (code == separator_code::kCr &&
       All(lines, 1, [](std::string_view line) { return line.front() == base::kLf; })) ||
      (code == separator_code::kLf &&
       All(lines, 0, [](std::string_view line) { return line.back() == base::kCr; }));
  if (cut_in_crlf) return separator_code::kCrLf;
  const auto inside = [&](char wanted) {
    return All(
        lines, 0,
        wanted == base::kLf ? [](std::string_view line) { return line.find('\n') != line.npos; }
                            : [](std::string_view line) { return line.find('\r') != line.npos; });
  };
  if (code == separator_code::kCrLf && inside(base::kLf)) return separator_code::kLf;
  if (code == separator_code::kCrLf && inside(base::kCr)) return separator_code::kCr;
  return -1;
}

std::string SeparatorName(char separator) {
  switch (separator) {
    case ',':
      return Tr("comma");
    case ';':
      return Tr("semicolon");
    case '\t':
      return Tr("tab");
    default:
      return std::string("\"") + separator + "\"";
  }
}

std::string_view RecordCodeName(std::int32_t code) {
  if (code == separator_code::kCrLf) return "CR LF";
  return code == separator_code::kCr ? "CR" : "LF";
}

bool IsBrokenUtf8(std::string_view line) {
  for (std::size_t at = base::AsciiPrefix(line); at < line.size();) {
    if (base::DecodeUtf8(line, at) == base::kInvalidCharacter) return true;
  }
  return false;
}

// Line ends that end no record are data; a mixture of them is seldom meant.
bool HoldsLineEnd(std::string_view line) {
  return line.find_first_of("\r\n") != std::string_view::npos;
}

void AppendCount(std::string& hint, const std::vector<std::string_view>& lines,
                 bool (*holds)(std::string_view), std::string_view words) {
  const auto count = std::count_if(lines.begin(), lines.end(), holds);
  if (count == 0) return;
  if (!hint.empty()) hint += ' ';
  hint +=
      Tr(words, {base::ToDecimal(count), base::ToDecimal(static_cast<std::int64_t>(lines.size()))});
}

void AppendHint(DetectionReport& report, const Cut& better) {
  std::string& hint = report.hint;
  if (report.utf16) {
    hint = Tr("The file is UTF-16 text, which is not read: convert it to UTF-8 first.");
  } else if (report.better_record_code >= 0) {
    hint = Tr("The records seem to end with %1.", {RecordCodeName(report.better_record_code)});
  } else if (report.html_rows) {
    hint = Tr("The lines look like HTML tags.");
  } else if (report.better_separator != 0) {
    hint = Tr("With %1 as separator %2 of %3 lines have %4 fields.",
              {SeparatorName(report.better_separator), base::ToDecimal(better.agreeing),
               base::ToDecimal(report.lines), base::ToDecimal(better.fields)});
  }
}

}  // namespace

DetectionReport Weigh(const PreviewLines& preview, const RecordFormat& format,
                      const SplitRules& rules) {
  std::vector<std::string_view> lines;
  std::vector<std::string_view> whole;  // not cut off by the preview
  for (int n = 1; n <= static_cast<int>(base::kPreviewLines); ++n) {
    const std::string& line = preview.Line(n);
    if (line.empty()) continue;
    lines.push_back(line);
    if (line.size() < static_cast<std::size_t>(kPreviewLineBytes)) whole.push_back(line);
  }
  const bool some_cut_off = whole.size() < lines.size();
  const std::vector<std::string_view>& sample = whole.empty() ? lines : whole;
  const int sample_size = static_cast<int>(sample.size());

  const Cut cut = CutLines(sample, rules);
  DetectionReport report;
  report.lines = static_cast<int>(lines.size());
  report.fields = cut.fields;
  report.lines_agreeing = cut.agreeing;
  report.unclosed_lines = cut.unclosed;
  report.certainty_percent = Certainty(cut, sample_size, some_cut_off);
  if (lines.empty()) return report;

  report.utf16 = lines[0].starts_with("\xFF\xFE") || lines[0].starts_with("\xFE\xFF");
  report.better_record_code = BetterRecordCode(lines, format.code);
  report.html_rows = rules.rule() != CutRule::kHtmlTags && All(lines, 0, [](std::string_view line) {
                       return base::TrimLeft(line, base::kBlankOrTab).starts_with('<');
                     });
  Cut best = cut;
  for (const char separator : kOtherSeparators) {
    const Cut other = CutLines(sample, SplitRules::Delimited({&separator, 1}, '"'));
    const bool cuts = other.fields >= 2 && other.unclosed == 0;
    // Tabs and bars hardly stand in data, so they need not cut more evenly when they cut more.
    const bool rare = separator == '\t' || separator == '|';
    const bool more_even = best.fields < 2 || other.agreeing > best.agreeing ||
                           (rare && other.agreeing == best.agreeing && other.fields > best.fields);
    if (cuts && more_even && 2 * other.agreeing > sample_size) {
      best = other;
      report.better_separator = separator;
    }
  }
  AppendHint(report, best);
  if (report.utf16 || report.better_record_code >= 0) return report;
  if (base::AnsiPage().is_utf8())
    AppendCount(report.hint, sample, IsBrokenUtf8,
                "%1 of %2 lines are not UTF-8: choose the code page of the file.");
  if (format.code >= separator_code::kCrLf && format.code <= separator_code::kLf &&
      format.quote == 0)
    AppendCount(report.hint, sample, HoldsLineEnd,
                "%1 of %2 lines hold a CR or LF that ends no record.");
  return report;
}

}  // namespace kelvorin::textsource
