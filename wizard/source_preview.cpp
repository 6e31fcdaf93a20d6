#include "wizard/source_preview.h"

#include "base/language.h"

#include <algorithm>
#include <map>
#include <span>

#include "base/M_Const.h"
#include "base/M_STRING.h"
#include "base/code_page.h"
#include "contract/enums.h"
#include "engine/field_plan.h"
#include "engine/source_reader.h"
#include "mapping/field_mapping.h"
#include "textsource/field_splitter.h"
#include "textsource/format_detection.h"

namespace kelvorin::wizard {

using base::Tr;
namespace {

constexpr std::int32_t kLongestRecord = 32 * 1024;
constexpr std::size_t kLongestCell = 200;  // characters

std::string CellText(std::string_view value) {
  std::string text(base::CutToCharacters(value, kLongestCell));
  if (text.size() < value.size()) text += "...";
  for (char& c : text)
    if (static_cast<unsigned char>(c) < ' ') c = ' ';
  return text;
}

std::string SeparatorNames(const settings::ImportSetting& setting) {
  std::string names;
  const auto add = [&](bool set, const std::string& name) {
    if (set) names = names.empty() ? name : Tr("%1 and %2", {names, name});
  };
  add(setting.SepComma, Tr("comma"));
  add(setting.SepSemicolon, Tr("semicolon"));
  add(setting.SepSpace, Tr("space"));
  add(setting.SepTab, Tr("tab"));
  if (setting.SepOther && !setting.SepOtherText.empty())
    add(true, "'" + std::string(base::CutToCharacters(setting.SepOtherText, 1)) + "'");
  return names.empty() ? Tr("no separator") : names;
}

std::size_t LastBreak(const textsource::BreakList& breaks) {
  std::size_t last = 0;
  for (std::size_t slot = 0; slot < breaks.count(); ++slot)
    if (breaks[slot] != base::kNoBreak) last = std::max<std::size_t>(last, breaks[slot]);
  return last;
}

}  // namespace

std::string ShownLine(const std::string& line, const settings::ImportSetting& setting) {
  if (!setting.OemConvert) return line;
  std::string shown;
  static_cast<void>(base::OemToAnsiText(line, shown));  // what the page lacks shows as such
  return shown;
}

Status ReadSample(const std::string& path, const settings::ImportSetting& setting,
                  TextSample& sample) {
  sample = {};
  textsource::RecordFormat format = engine::RecordFormatOf(setting);
  if (format.length == 0 && format.code != textsource::separator_code::kLength)
    format.length = kLongestRecord;
  auto reader = textsource::RecordReader::Open(path, std::move(format),
                                               {.stop_at = textsource::kLookedThrough});
  if (!reader.ok()) return reader.status();
  for (std::int64_t line = 1; !reader->AtEnd() && sample.records.size() < base::kPreviewLines;
       ++line) {
    std::span<char> record;
    KV_TRY(reader->ReadRecord(record));
    if (line == settings::HeadingLineOf(setting))
      sample.heading_line.assign(record.begin(), record.end());
    if (line < setting.StartingLine || record.empty()) continue;
    const std::string_view text(record.data(), record.size());
    if (setting.SkipBlankLines != 0 && base::Trim(text).empty()) continue;
    sample.records.emplace_back(record.begin(), record.end());
  }
  return Status();
}

PreviewTable CutSample(const TextSample& sample, const settings::ImportSetting& setting,
                       const textsource::BreakList& breaks) {
  PreviewTable table;
  const textsource::SplitRules rules = engine::SplitRulesOf(setting, breaks);
  textsource::FieldValues values;
  std::map<std::size_t, int> how_often;
  std::size_t columns = 0;
  std::vector<bool> unclosed;
  const std::size_t last_break = LastBreak(breaks);
  engine::TextConversion conversion(setting);
  std::string converted;
  for (const std::string& record : sample.records) {
    std::string copy = record;
    unclosed.push_back(rules.LeavesDelimiterOpen(record));
    if (setting.TypeFormat == contract::kFixedWidthText) {
      if (base::CountCharacters(record) != record.size()) ++table.wide;
      const std::string_view kept = base::CutToCharacters(record, last_break);
      if (!base::Trim(std::string_view(record).substr(kept.size())).empty()) ++table.behind;
    }
    // A record with too many fields still shows its first ones.
    if (!rules.Split(copy, values).ok()) ++table.crowded;
    contract::Grid::Row row;
    std::vector<std::string>& taken = table.values.emplace_back();
    for (std::size_t i = 0; i < values.count(); ++i) {
      if (conversion.active()) conversion.Convert(values[i], converted);
      taken.emplace_back(conversion.active() ? converted : values[i]);
      row.push_back({CellText(taken.back()), false});
    }
    columns = std::max(columns, row.size());
    ++how_often[row.size()];
    table.rows.push_back(std::move(row));
  }
  std::size_t usual = 0;
  int most = 0;
  for (const auto& [fields, count] : how_often)
    if (count > most) {
      most = count;
      usual = fields;
    }
  for (std::size_t i = 0; i < table.rows.size(); ++i) {
    contract::Grid::Row& row = table.rows[i];
    const bool ragged = row.size() != usual;
    table.ragged += ragged ? 1 : 0;
    table.unclosed += unclosed[i] ? 1 : 0;
    if (ragged || unclosed[i])
      for (contract::Grid::Cell& cell : row) cell.bold = true;
  }

  std::string heading = ShownLine(sample.heading_line, setting);
  values.Clear();
  if (!heading.empty()) static_cast<void>(rules.Split(heading, values).ok());
  std::vector<std::string_view> names;
  for (std::size_t i = 0; i < values.count(); ++i) names.push_back(values[i]);
  table.headings = mapping::TextHeadings(names, columns);
  return table;
}

Result<PreviewTable> ReadTable(database::Database& database, std::string_view table,
                               database::RecordsetType type, std::int32_t starting_line) {
  auto opened = database.OpenRecordset(table, type);
  if (!opened.ok()) return opened.status();
  database::Recordset& rows = **opened;
  PreviewTable preview;
  const std::size_t columns = std::min(rows.FieldCount(), base::kMaxFields);
  for (std::size_t i = 0; i < columns; ++i) preview.headings.push_back(rows.Fields(i).Name());
  if (starting_line > 1 && !rows.Eof()) KV_TRY(rows.Move(starting_line - 1));
  std::string text;
  for (std::size_t taken = 0; taken < base::kPreviewLines && !rows.Eof(); ++taken) {
    contract::Grid::Row row;
    std::vector<std::string>& whole = preview.values.emplace_back();
    for (std::size_t i = 0; i < columns; ++i) {
      bool is_null = false;
      const database::Field field = rows.Fields(i);
      text.clear();
      if (values::IsBinary(field.Type())) {
        text = Tr("(binary)");
      } else if (!field.GetText(text, is_null).ok()) {
        text = Tr("(unreadable)");  // one damaged value does not hide the others
      }
      row.push_back({CellText(text), false});
      whole.push_back(text);
    }
    preview.rows.push_back(std::move(row));
    KV_TRY(rows.MoveNext());
  }
  KV_TRY(rows.Close());
  return preview;
}

std::string LayoutText(const settings::ImportSetting& setting) {
  const char* const kEnds[] = {"CR LF", "CR", "LF", "other record separator", "fixed length"};
  std::string text =
      setting.TypeFormat == contract::kDelimitedText
          ? Tr("Delimited text") + ", " + SeparatorNames(setting)
          : Tr(setting.TypeFormat == contract::kFixedWidthText ? "Fixed-width text" : "HTML tags");
  if (setting.RecSeparator >= 0 && setting.RecSeparator <= 4)
    text += ", " + Tr(kEnds[setting.RecSeparator]);
  return text;
}

std::string DetectionText(const settings::ImportSetting& setting,
                          const textsource::BreakList& breaks, const TextSample& sample) {
  if (sample.records.empty()) return Tr("The file has no records to show.");
  textsource::PreviewLines lines;
  lines.file_present = lines.valid = true;
  for (std::size_t i = 0; i < sample.records.size(); ++i)
    lines.Line(static_cast<int>(i) + 1) = sample.records[i];
  const textsource::DetectionReport report = textsource::Weigh(
      lines, engine::RecordFormatOf(setting), engine::SplitRulesOf(setting, breaks));
  std::string text =
      LayoutText(setting) + ": " +
      Tr("%1 of %2 have %3.", {base::ToDecimal(report.lines_agreeing),
                               base::TrCount(report.lines, "%1 line", "%1 lines"),
                               base::TrCount(report.fields, "%1 field", "%1 fields")});
  if (report.unclosed_lines > 0) {
    text += " " + base::TrCount(report.unclosed_lines, "%1 line ends inside a text delimiter.",
                                "%1 lines end inside a text delimiter.");
    if (setting.QuotedLineEnds == 0)
      text += " " + Tr("The advanced options tell whether line ends inside quotes are data.");
  }
  if (!report.hint.empty()) text += " " + report.hint;
  return text;
}

}  // namespace kelvorin::wizard
