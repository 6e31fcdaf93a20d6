#include "job/suggestion.h"

#include "base/M_STRING.h"
#include "base/language.h"
#include "engine/source_reader.h"
#include "textsource/fixed_columns.h"
#include "textsource/layout_words.h"

namespace kelvorin::job {

using textsource::CutRule;
using textsource::DetectedLayout;

void TakeHeading(const DetectedLayout& layout, settings::ImportSetting& setting) {
  setting.StartingLine = layout.start_line;
  settings::SetHeadingLine(setting, layout.heading_line);
}

void TakeCut(const DetectedLayout& layout, settings::ImportSetting& setting,
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
}

void Take(const DetectedLayout& layout, settings::ImportSetting& setting,
          textsource::BreakList& breaks) {
  TakeCut(layout, setting, breaks);
  TakeHeading(layout, setting);
}

namespace {

constexpr std::uint64_t kLookedAt = 64 * 1024;  // bytes, as the detection does

// Records of a file as a run would take them, one after the other.
class Records {
 public:
  Records(textsource::RecordReader reader, const settings::ImportSetting& setting,
          const textsource::BreakList& breaks)
      : reader_(std::move(reader)),
        rules_(engine::SplitRulesOf(setting, breaks)),
        skips_blanks_(setting.SkipBlankLines != 0) {}

  /// False at the end.
  bool Next(textsource::FieldValues& values) {
    while (!reader_.AtEnd() && reader_.position() < kLookedAt) {
      std::span<char> record;
      if (!reader_.ReadRecord(record).ok()) return false;
      const std::string_view text(record.data(), record.size());
      if (record.empty() || (skips_blanks_ && base::Trim(text).empty())) continue;
      static_cast<void>(rules_.Split(record, values).ok());  // the first fields do
      return true;
    }
    return false;
  }

 private:
  textsource::RecordReader reader_;
  textsource::SplitRules rules_;
  bool skips_blanks_;
};

}  // namespace

bool Differs(const std::string& path, const DetectedLayout& layout,
             const settings::ImportSetting& setting, const textsource::BreakList& breaks) {
  settings::ImportSetting taken = setting;
  textsource::BreakList taken_breaks = breaks;
  Take(layout, taken, taken_breaks);
  auto now = textsource::RecordReader::Open(path, engine::RecordFormatOf(setting));
  auto then = textsource::RecordReader::Open(path, engine::RecordFormatOf(taken));
  if (!now.ok() || !then.ok()) return false;
  // Lines above the data, or their names, are known and nothing was made of them yet.
  if (setting.StartingLine <= 1 && layout.start_line > 1) return true;
  Records first(*std::move(now), setting, breaks);
  Records second(*std::move(then), taken, taken_breaks);
  textsource::FieldValues a;
  textsource::FieldValues b;
  for (;;) {
    const bool more = first.Next(a);
    if (more != second.Next(b)) return true;
    if (!more) return false;
    if (a.count() != b.count()) return true;
    for (std::size_t i = 0; i < a.count(); ++i)
      if (a[i] != b[i]) return true;
  }
}

std::string SuggestionText(const DetectedLayout& layout) {
  constexpr std::uint16_t kMostBreaks = 12;
  std::string words = textsource::LayoutWords(layout);
  std::string breaks;
  for (std::uint16_t slot = 0; layout.rule == CutRule::kFixed && slot < layout.breaks.count();
       ++slot) {
    if (layout.breaks[slot] == textsource::kToLineEnd) continue;
    if (!breaks.empty()) breaks += ", ";
    if (slot == kMostBreaks) {
      breaks += "...";
      break;
    }
    breaks += base::ToDecimal(layout.breaks[slot]);
  }
  if (!breaks.empty()) words += ", " + base::Tr("breaks at %1", {breaks});
  return base::Tr("Suggested: %1 (certainty %2 %).",
                  {words, base::ToDecimal(layout.report.certainty_percent)});
}

}  // namespace kelvorin::job
