#include <algorithm>
#include <utility>

#include "base/M_Const.h"
#include "textsource/format_detection.h"

namespace kelvorin::textsource {
namespace {

SplitRules RulesOf(const DetectedLayout& layout, char delimiter, const BreakList& breaks) {
  if (layout.rule == CutRule::kFixed) return SplitRules::Fixed(breaks);
  if (layout.rule == CutRule::kHtmlTags) return SplitRules::HtmlTags();
  return SplitRules::Delimited(layout.separators, delimiter);
}

void Guess(const PreviewLines& preview, char delimiter, BreakList& breaks, DetectedLayout& layout) {
  const FileTypeGuess guess = GuessFileType(preview, breaks);
  const bool fixed = guess.TypeFormat == 1 && layout.format.quote == 0;
  layout.rule = fixed ? CutRule::kFixed : CutRule::kDelimited;
  layout.separators = guess.SepSemicolon ? ";" : ",";
  layout.report = Weigh(preview, layout.format, RulesOf(layout, delimiter, breaks));
  if (layout.report.html_rows) {
    layout.rule = CutRule::kHtmlTags;
  } else if (layout.report.better_separator != 0) {
    layout.rule = CutRule::kDelimited;
    layout.separators = layout.report.better_separator;
  } else {
    return;
  }
  layout.report = Weigh(preview, layout.format, RulesOf(layout, delimiter, breaks));
}

// Reads the preview by the layout's record format and guesses the rest, twice when the first look
// finds a better record separator and may take it.
Status ReadAndGuess(const std::string& file_name, bool may_change, char delimiter,
                    PreviewLines& preview, BreakList& breaks, DetectedLayout& layout) {
  preview.file_present = true;
  KV_TRY(preview.ReadFileRecords(file_name, layout.format, 1));
  Guess(preview, delimiter, breaks, layout);
  if (!may_change || layout.report.better_record_code < 0) return Status();
  layout.format.code = layout.report.better_record_code;
  return ReadAndGuess(file_name, false, delimiter, preview, breaks, layout);
}

bool AnyOpen(const PreviewLines& preview, char delimiter) {
  for (int n = 1; n <= static_cast<int>(base::kPreviewLines); ++n) {
    const std::string& line = preview.Line(n);
    if (std::count(line.begin(), line.end(), delimiter) % 2 != 0) return true;
  }
  return false;
}

}  // namespace

Result<DetectedLayout> DetectLayout(const std::string& file_name, const RecordFormat* given,
                                    char delimiter, PreviewLines& preview, BreakList& breaks) {
  DetectedLayout layout;
  if (given == nullptr) {
    KV_TRY(GuessRecordSeparator(file_name, layout.format));
  } else {
    layout.format = *given;
  }
  KV_TRY(ReadAndGuess(file_name, given == nullptr, delimiter, preview, breaks, layout));
  if (layout.report.utf16)
    return Status(Code::kNotSupported, "'" + file_name + "' is UTF-16 text, which is not read; " +
                                           "convert it first: iconv -f UTF-16 -t UTF-8");
  if (delimiter == 0 || !AnyOpen(preview, delimiter)) return layout;

  DetectedLayout joined;
  joined.format = layout.format;
  joined.format.quote = delimiter;
  PreviewLines lines;
  BreakList columns;
  KV_TRY(ReadAndGuess(file_name, given == nullptr, delimiter, lines, columns, joined));
  const bool better = joined.rule == CutRule::kDelimited && joined.report.fields >= 2 &&
                      joined.report.unclosed_lines == 0 &&
                      joined.report.certainty_percent > layout.report.certainty_percent;
  if (!better) return layout;
  preview = std::move(lines);
  breaks = columns;
  return joined;
}

}  // namespace kelvorin::textsource
