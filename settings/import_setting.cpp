#include "settings/import_setting.h"

#include <algorithm>

#include "base/code_page.h"

namespace kelvorin::settings {

void FieldMapEntry::Unmap() noexcept {
  Offset = 0;
  Length = 0;
  FieldInfo = -1;
  Mapped = false;
  Field = -1;
}

bool HasMapping(const FieldMap& map) noexcept {
  return std::any_of(map.begin(), map.end(), [](const FieldMapEntry& e) { return e.Mapped; });
}

void SetDefaultSetting(ImportSetting& setting, textsource::BreakList& breaks,
                       std::int16_t default_source_type) {
  setting.TypeFormat = default_source_type;
  setting.SepComma = true;
  setting.SepSemicolon = setting.SepSpace = setting.SepTab = false;
  setting.SepOtherChar = ' ';
  setting.nbSeparators = 1;
  setting.UseDelimiter = true;  // for every kind of source: kept as it is
  setting.Delimiter = 0;
  setting.DelimiterChar = '"';
  setting.SeparatorSet = ",";
  setting.RecSeparator = 0;
  setting.RecSepOther = " ";
  setting.Upper = setting.Lower = setting.OemConvert = false;
  setting.StartingLine = 1;
  setting.MaxLines = 0;
  setting.AllLines = true;
  setting.AppendRecords = true;
  setting.UpdateIndex = false;
  setting.IndexName.clear();
  setting.KeyLookUp = setting.AppendFields = setting.AppendIfEof = false;
  setting.ShowErrors = true;
  setting.LimitErrors = false;
  setting.Trace = false;
  setting.LogFileName.clear();
  setting.LogAppend = false;
  breaks.ClearBreakList();
  setting.SourceDBName.clear();
  setting.SourceTableName.clear();

  for (std::int32_t* number :
       {&setting.AnsiPage, &setting.OemPage, &setting.QuotedLineEnds, &setting.QuotesAtStart,
        &setting.MergeSeparators, &setting.AnyLineEnd, &setting.HtmlCells, &setting.Trim,
        &setting.SkipBlankLines, &setting.HeadingLine, &setting.IgnoreExtraFields,
        &setting.ExactValues})
    *number = 0;
  setting.RecGap = 1;
  for (std::string* text :
       {&setting.DateOrder, &setting.Decimal, &setting.NullText, &setting.RejectFile})
    text->clear();
}

void RebuildSeparatorSet(ImportSetting& setting) {
  setting.SeparatorSet.clear();
  if (setting.SepComma) setting.SeparatorSet += ',';
  if (setting.SepSpace) setting.SeparatorSet += ' ';
  if (setting.SepTab) setting.SeparatorSet += base::kTab;
  if (setting.SepSemicolon) setting.SeparatorSet += ';';
  if (!setting.SepOther) return;
  const std::string_view text = base::CutToCharacters(setting.SepOtherText, 1);
  if (text.starts_with(setting.SepOtherChar)) {
    setting.SeparatorSet += text;
  } else {
    setting.SeparatorSet += setting.SepOtherChar;
  }
}

void SetSeparators(ImportSetting& setting, std::string_view characters) {
  setting.SepComma = setting.SepSemicolon = setting.SepSpace = setting.SepTab = false;
  setting.SepOther = false;
  setting.SepOtherText.clear();
  for (std::string_view rest = characters; !rest.empty();) {
    const std::string_view one = base::CutToCharacters(rest, 1);
    rest.remove_prefix(one.size());
    switch (one[0]) {
      case ',':
        setting.SepComma = true;
        break;
      case ';':
        setting.SepSemicolon = true;
        break;
      case ' ':
        setting.SepSpace = true;
        break;
      case base::kTab:
        setting.SepTab = true;
        break;
      default:
        setting.SepOther = true;
        setting.SepOtherChar = one[0];
        setting.SepOtherText = one;
    }
  }
  RebuildSeparatorSet(setting);
}

void SetHeadingLine(ImportSetting& setting, std::int32_t line) noexcept {
  const std::int32_t before = std::max(setting.StartingLine - 1, 0);
  setting.HeadingLine = line == before ? 0 : line == 0 ? -1 : line;
}

std::int32_t HeadingLineOf(const ImportSetting& setting) noexcept {
  if (setting.HeadingLine != 0) return std::max(setting.HeadingLine, 0);
  return setting.StartingLine >= 2 ? setting.StartingLine - 1 : 0;
}

void RebuildDelimiter(ImportSetting& setting) noexcept {
  switch (setting.Delimiter) {
    case 0:
      setting.DelimiterChar = '"';
      break;
    case 1:
      setting.DelimiterChar = '\'';
      break;
    default:
      setting.DelimiterChar = '\0';
  }
  setting.UseDelimiter = setting.TypeFormat == 0 && setting.Delimiter != 2;
}

}  // namespace kelvorin::settings
