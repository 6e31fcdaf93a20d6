#include "wizard/suggestion.h"

#include "base/M_STRING.h"
#include "textsource/layout_words.h"

namespace kelvorin::wizard {

using textsource::CutRule;
using textsource::DetectedLayout;

void TakeHeading(const DetectedLayout& layout, settings::ImportSetting& setting) {
  setting.StartingLine = layout.start_line;
  setting.HeadingLine = layout.heading_line != layout.start_line - 1 ? layout.heading_line : 0;
}

void Take(const DetectedLayout& layout, settings::ImportSetting& setting,
          textsource::BreakList& breaks) {
  const textsource::RecordFormat& format = layout.format;
  const bool delimited = layout.rule == CutRule::kDelimited;
  setting.TypeFormat = static_cast<std::int32_t>(layout.rule);
  setting.RecSeparator = format.code;
  if (format.code == textsource::separator_code::kOther) setting.RecSepOther = format.other;
  setting.RecLength = format.length;
  setting.RecGap = format.gap;
  setting.AnyLineEnd = format.any_line_end ? 1 : 0;
  if (delimited) {
    setting.Delimiter = layout.delimiter == '\'' ? 1 : layout.delimiter == 0 ? 2 : 0;
    settings::SetSeparators(setting, layout.separators);
  }
  settings::RebuildDelimiter(setting);
  setting.QuotedLineEnds = delimited && format.quote != 0 ? 1 : 0;
  setting.QuotesAtStart = delimited && layout.delimiter != 0 ? 1 : 0;
  setting.MergeSeparators = delimited && layout.merge_separators ? 1 : 0;
  setting.HtmlCells = layout.rule == CutRule::kHtmlTags ? 1 : 0;
  setting.Trim = layout.trim ? 1 : 0;
  setting.SkipBlankLines = layout.skip_blank_lines ? 1 : 0;
  if (layout.page_is_guessed) setting.AnsiPage = layout.page;
  if (layout.rule == CutRule::kFixed) breaks = layout.breaks;
  TakeHeading(layout, setting);
}

bool Differs(const DetectedLayout& layout, const settings::ImportSetting& setting,
             const textsource::BreakList& breaks) {
  settings::ImportSetting taken = setting;
  textsource::BreakList taken_breaks = breaks;
  Take(layout, taken, taken_breaks);
  taken.StartingLine = setting.StartingLine;
  taken.HeadingLine = setting.HeadingLine;
  taken.RecLength = setting.RecLength;
  // Quotes that open at a field's start only, and line ends in quotes, matter where there are some.
  taken.QuotesAtStart = setting.QuotesAtStart;
  taken.nbSeparators = setting.nbSeparators;
  taken.SepOtherChar = setting.SepOtherChar;
  taken.SepOtherText = setting.SepOtherText;
  if (setting.TypeFormat == taken.TypeFormat && taken.QuotedLineEnds == 1 &&
      layout.report.unclosed_lines == 0)
    taken.QuotedLineEnds = setting.QuotedLineEnds;
  return taken != setting || (layout.rule == CutRule::kFixed && !(taken_breaks == breaks));
}

std::string SuggestionText(const DetectedLayout& layout) {
  std::string text = "Suggested: " + textsource::LayoutWords(layout);
  return text + " (certainty " + base::ToDecimal(layout.report.certainty_percent) + " %).";
}

}  // namespace kelvorin::wizard
