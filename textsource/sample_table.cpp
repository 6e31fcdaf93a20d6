#include "textsource/sample_table.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "base/M_STRING.h"
#include "base/code_page.h"

namespace kelvorin::textsource {
namespace {

using Row = SampleTable::Row;

bool IsBlank(std::string_view text) noexcept {
  return text.find_first_not_of(" \t\r\n\x1A") == text.npos;
}

/// Number of fields that most rows have; of equally many the larger one.
std::size_t UsualCount(const std::vector<Row>& rows) {
  std::map<std::size_t, std::size_t> how_often;
  for (const Row& row : rows) ++how_often[row.count];
  std::size_t usual = 0;
  std::size_t most = 0;
  for (const auto& [count, times] : how_often) {
    if (times < most) continue;
    usual = count;
    most = times;
  }
  return usual;
}

std::size_t FilledCells(const SampleTable& table, const Row& row) {
  std::size_t filled = 0;
  for (std::size_t column = 0; column < row.count; ++column)
    filled += IsBlank(table.Cell(row, column)) ? 0u : 1u;
  return filled;
}

/// Whether a row above a table of so many columns is a title: one text and nothing else.
bool IsTitle(const SampleTable& table, const Row& row, std::size_t columns) {
  if (columns < 2 || row.count > columns || FilledCells(table, row) > 1) return false;
  for (std::size_t column = 0; column < row.count; ++column) {
    const CellKind kind = KindOf(table.Cell(row, column));
    if (kind != CellKind::kText && kind != CellKind::kEmpty) return false;
  }
  if (columns > 2) return true;
  return row.count == 1 && table.Cell(row, 0).find(' ') != std::string_view::npos;
}

bool IsComment(const Row& row) noexcept {  // "#1" is a value
  return row.record.starts_with('#') && (row.record.size() == 1 || !base::IsDigit(row.record[1]));
}

/// Whether a row draws a line instead of holding values.
bool IsDrawnLine(std::string_view text) noexcept {
  return (text.find("--") != text.npos || text.find("==") != text.npos) &&
         text.find_first_not_of("-=+|:_ ") == text.npos;
}

bool IsHeading(const SampleTable& table, std::size_t columns, std::size_t row) {
  LayoutScore score;
  score.fields = columns;
  score.first_row = row;
  score.rows = table.rows().size() - row;
  return FindHeading(table, score) >= 0;
}

/// First row of the table: behind the titles above it, which are few. Comments and drawn lines are
/// titles, and so are shorter rows above a row of names.
std::size_t FirstRow(const SampleTable& table, std::size_t columns, std::size_t from) {
  constexpr std::size_t kMostTitles = 20;
  const std::vector<Row>& rows = table.rows();
  const std::size_t end = std::min(rows.size(), from + kMostTitles + 1);
  std::size_t plain = from;
  while (plain < end && IsComment(rows[plain])) ++plain;
  const bool comments = plain > from && plain < end;
  std::size_t first = from;
  for (; first < end; ++first) {
    const Row& row = rows[first];
    if (row.ruler || IsTitle(table, row, columns)) continue;
    if (!comments || first >= plain) break;
    // The last comment may hold the names.
    if (row.count == columns && !IsHeading(table, columns, plain)) break;
  }
  if (first == end) return from;
  // Rows of no more values above the names; where they have all separators, a blank line parts
  // them.
  std::size_t most = 0;
  for (std::size_t i = first; i < end; ++i) {
    const std::size_t filled = FilledCells(table, rows[i]);
    const bool shorter = rows[first].count < columns;
    const bool parted = i > first && (rows[i].number > rows[i - 1].number + 1 ||
                                      FilledCells(table, rows[i - 1]) == 0);
    if (rows[i].count == columns && i > first && filled >= most && (shorter || parted) &&
        IsHeading(table, columns, i))
      return i;
    if (shorter && rows[i].count >= columns) break;
    most = std::max(most, filled);
  }
  return rows[first].count == columns ? first : from;
}

/// Whether a colon stands between the hours and minutes of a time.
bool CutsTime(std::string_view text, std::size_t at) noexcept {
  const auto digit = [&](std::size_t i) { return i < text.size() && base::IsDigit(text[i]); };
  return at > 0 && digit(at - 1) && digit(at + 1) && digit(at + 2) && !digit(at + 3) &&
         (at < 3 || !digit(at - 3));
}

/// Whether a comma stands between seconds and their fraction, which a log has.
bool CutsSeconds(std::string_view text, std::size_t at) noexcept {
  const auto digit = [&](std::size_t i) { return i < text.size() && base::IsDigit(text[i]); };
  return at >= 6 && text[at - 3] == ':' && text[at - 6] == ':' && digit(at - 1) && digit(at + 1) &&
         digit(at + 2) && digit(at + 3) && !digit(at + 4);
}

/// Whether a value of a fixed column holds several numbers or dates: columns that were not parted.
bool HoldsSeveral(std::string_view cell) {
  cell = base::Trim(cell);
  if (cell.find(' ') == cell.npos) return false;
  const std::vector<std::string_view> pieces = base::SplitAt(cell, ' ');
  return std::all_of(pieces.begin(), pieces.end(), [](std::string_view piece) {
    return piece.empty() || KindOf(piece) != CellKind::kText;
  });
}

/// Whether a value of a delimited field holds wide gaps with a number behind them: columns of fixed
/// width that the separator does not know of.
bool HoldsColumns(std::string_view cell) {
  cell = base::Trim(cell);
  const std::size_t gap = cell.rfind("  ");
  if (gap == cell.npos) return false;
  const std::size_t before = cell.find("  ");
  return cell.find_first_not_of(' ', before) < gap || base::IsDigit(cell[gap + 2]);
}

void LookAtSeparators(const SampleTable& table, const ScoredLayout& layout, LayoutScore& score) {
  if (layout.rule != CutRule::kDelimited || layout.separator.size() != 1) return;
  const char separator = layout.separator[0];
  std::size_t count = 0;
  std::size_t blanks = 0;
  std::size_t times = 0;
  for (std::size_t i = score.first_row; i < table.rows().size(); ++i) {
    const std::string_view text = table.rows()[i].record;
    for (std::size_t at = text.find(separator); at != text.npos;
         at = text.find(separator, at + 1)) {
      ++count;
      if (at + 1 < text.size() && text[at + 1] == ' ') ++blanks;
      if (separator == ':' ? CutsTime(text, at) : separator == ',' && CutsSeconds(text, at))
        ++times;
    }
  }
  if (count == 0) return;
  score.followed_by_blank = static_cast<double>(blanks) / static_cast<double>(count);
  score.cuts_times = separator == ':' ? times * 2 >= count && times > 0 : times * 2 > score.rows;
}

void LookAtColumns(const SampleTable& table, const ScoredLayout& layout, LayoutScore& score) {
  score.columns.resize(score.fields);
  std::vector<std::size_t> kinds(score.fields * 5);
  const char separator = layout.separator.size() == 1 ? layout.separator[0] : '\0';
  for (std::size_t i = score.first_row; i < table.rows().size(); ++i) {
    const Row& row = table.rows()[i];
    if (row.count != score.fields || row.ruler) continue;
    for (std::size_t column = 0; column < score.fields; ++column) {
      const std::string_view cell = table.Cell(row, column);
      const CellKind kind = KindOf(cell);
      if (kind == CellKind::kEmpty) continue;
      ColumnFacts& facts = score.columns[column];
      ++facts.filled;
      ++kinds[column * 5 + static_cast<std::size_t>(kind)];
      if (kind != CellKind::kText) continue;
      // A quoted value is kept whole, whatever it holds.
      const bool fixed = layout.rule == CutRule::kFixed;
      if (!layout.said && !table.IsQuoted(cell, layout.delimiter) &&
          (LooksCut(cell, separator) || (fixed ? HoldsSeveral(cell) : HoldsColumns(cell)))) {
        ++facts.cut;
        if (score.cut_cell.empty()) score.cut_cell = cell;
      }
    }
  }
  for (std::size_t column = 0; column < score.fields; ++column) {
    ColumnFacts& facts = score.columns[column];
    for (std::size_t kind = 1; kind < 5; ++kind) {
      if (kinds[column * 5 + kind] <= facts.of_kind) continue;
      facts.of_kind = kinds[column * 5 + kind];
      facts.kind = static_cast<CellKind>(kind);
    }
    score.cells += facts.filled;
    score.cut_cells += facts.cut;
    if (facts.typed()) ++score.typed_columns;
  }
}

/// Rows that are none to a person. Where the sample holds the whole file: a last row that stands
/// apart below a blank line, or that alone has no more than one value.
void LookForStrangers(const SampleTable& table, LayoutScore& score) {
  const std::vector<Row>& rows = table.rows();
  const auto note = [&](const Row& row) {
    if (score.strangers++ == 0) score.stranger = row.record;
  };
  const std::size_t first = score.first_row;
  std::size_t comments = 0;
  for (std::size_t i = first + 1; i < rows.size(); ++i) comments += IsComment(rows[i]) ? 1u : 0u;
  const bool some = comments * 2 < rows.size() - first;
  for (std::size_t i = first + 1; i < rows.size(); ++i) {
    const bool below_names = i == first + 1;
    if ((rows[i].ruler && !below_names) || (some && IsComment(rows[i]))) note(rows[i]);
  }
  constexpr std::size_t kFewestRows = 5;
  if (table.cut_off() || score.rows < kFewestRows || score.fields < 2) return;
  // A drawn line at the end is one with the footer.
  std::size_t end = rows.size();
  const auto leave_lines = [&] {
    while (end > first + 1 && rows[end - 1].ruler) --end;
  };
  leave_lines();
  if (end < first + kFewestRows) return;
  const std::size_t last = end - 1;
  const auto apart = [&](std::size_t i) { return rows[i].number > rows[i - 1].number + 1; };
  const auto bare = [&](std::size_t i) {
    return IsTitle(table, rows[i], score.fields) && rows[i].record.find(' ') != std::string::npos;
  };
  bool others_apart = false;
  bool others_bare = false;
  for (std::size_t i = first + 2; i < last; ++i) {
    if (rows[i].ruler) continue;
    others_apart = others_apart || apart(i);
    others_bare = others_bare || bare(i);
  }
  if ((apart(last) && !others_apart) || (bare(last) && !others_bare)) {
    note(rows[last]);
    end = last;
    leave_lines();
  }
  if (end < rows.size()) score.footer_row = end;
}

/// Words that stand in every row, as in the lines of a log.
bool HasTemplate(const SampleTable& table, const LayoutScore& score) {
  constexpr std::size_t kFewestRows = 5;
  constexpr std::size_t kShortestWord = 3;
  if (score.rows < kFewestRows) return false;
  const auto words_of = [](std::string_view text) {
    std::vector<std::string_view> words;
    for (const std::string_view word : base::SplitAt(text, ' ')) {
      if (!word.empty()) words.push_back(word);
    }
    return words;
  };
  const auto& rows = table.rows();
  // Columns have wide gaps; a log has one blank between words.
  std::size_t gaps = 0;
  for (std::size_t i = score.first_row; i < rows.size(); ++i) {
    const std::string_view text = rows[i].record;
    for (std::size_t at = text.find("  "); at != text.npos; at = text.find("  ", at)) {
      ++gaps;
      at = std::min(text.find_first_not_of(' ', at), text.size());
    }
  }
  if (gaps >= 2 * score.rows) return false;
  std::vector<std::string_view> same = words_of(rows[score.first_row + 1].record);
  for (std::size_t i = score.first_row + 1; i < rows.size(); ++i) {
    const std::vector<std::string_view> words = words_of(rows[i].record);
    for (std::size_t at = 0; at < same.size(); ++at) {
      if (at >= words.size() || words[at] != same[at]) same[at] = {};
    }
  }
  return std::count_if(same.begin(), same.end(), [](std::string_view word) {
           const bool letters = std::all_of(word.begin(), word.end(), [](char c) {
             const char upper = base::ToUpperAscii(c);
             return upper >= 'A' && upper <= 'Z';
           });
           const bool lower =
               std::any_of(word.begin(), word.end(), [](char c) { return c >= 'a' && c <= 'z'; });
           return letters && lower && word.size() >= kShortestWord;
         }) >= 2;
}

}  // namespace

Result<SampleTable> SampleTable::Read(const std::string& file_name, const RecordFormat& format,
                                      const SplitRules& rules) {
  Result<RecordReader> reader = RecordReader::Open(
      file_name, format, {.block_bytes = kSampleBytes, .max_record_bytes = kLongestJudged});
  if (!reader.ok()) return reader.status();
  SampleTable table;
  std::vector<std::pair<std::size_t, std::size_t>> places;
  for (std::int32_t number = 1; !reader->AtEnd(); ++number) {
    std::span<char> record;
    if (const Status read = reader->ReadRecord(record); !read.ok()) {
      if (read.code() != Code::kOutOfRange && read.code() != Code::kInvalidArgument) return read;
      table.cut_off_ = true;
      break;  // the run is going to say so
    }
    const bool beyond = reader->position() > kSampleBytes && !reader->AtEnd();
    if (beyond && !table.rows_.empty()) {
      table.cut_off_ = true;
      break;
    }
    const std::string_view text(record.data(), record.size());
    if (IsBlank(text)) {
      if (!text.empty()) ++table.blank_records_;
      continue;
    }
    places.emplace_back(table.records_.size(), text.size());
    table.records_.insert(table.records_.end(), text.begin(), text.end());
    table.records_.push_back('\n');
    Row& row = table.rows_.emplace_back();
    row.number = number;
  }
  table.cut_ = table.records_;
  FieldValues values;
  for (std::size_t i = 0; i < table.rows_.size(); ++i) {
    const auto [at, size] = places[i];
    Row& row = table.rows_[i];
    row.record = std::string_view(table.records_.data() + at, size);
    row.ruler = IsDrawnLine(row.record);
    // A record with more fields than are held counts with those that are.
    static_cast<void>(rules.Split(std::span<char>(table.cut_).subspan(at, size), values).ok());
    row.first = table.cells_.size();
    row.count = values.count();
    row.loose_quotes = values.left_open() || values.loose();
    for (std::size_t field = 0; field < values.count(); ++field)
      table.cells_.push_back(values[field]);
  }
  return table;
}

LayoutScore ScoreTable(const SampleTable& table, const ScoredLayout& layout,
                       std::size_t first_row) {
  LayoutScore score;
  const std::vector<Row>& rows = table.rows();
  if (first_row >= rows.size()) return score;
  score.fields = UsualCount(rows);
  score.first_row = FirstRow(table, score.fields, first_row);
  for (std::size_t i = score.first_row; i < rows.size(); ++i) {
    if (rows[i].ruler) continue;
    ++score.rows;
    if (rows[i].loose_quotes) ++score.loose_quotes;
    if (rows[i].count == score.fields && !rows[i].loose_quotes) ++score.agreeing;
  }
  LookAtSeparators(table, layout, score);
  LookAtColumns(table, layout, score);
  LookForStrangers(table, score);
  const auto useful =
      static_cast<double>(std::count_if(score.columns.begin(), score.columns.end(),
                                        [](const ColumnFacts& c) { return c.filled > 0; }));
  const double even = static_cast<double>(score.agreeing) / static_cast<double>(score.rows);
  if (useful < 2) {
    // Cells of one column are certain all the same: tags say so.
    if (layout.rule == CutRule::kHtmlTags && score.rows > 1) score.certainty = even;
    return score;
  }
  const double cut = static_cast<double>(score.cut_cells) /
                     static_cast<double>(std::max<std::size_t>(score.cells, 1));
  const double typed = static_cast<double>(score.typed_columns) / useful;
  // As in a sentence: what follows is text that begins with a blank.
  const bool mark = layout.separator == "," || layout.separator == ";" || layout.separator == ":";
  const bool sentence = mark && score.followed_by_blank > 0.5 && typed < 0.5;
  double trust = layout.separator == " " ? 0.7 : layout.separator == ":" ? 0.9 : 1;
  if (layout.rule == CutRule::kFixed) trust = layout.ruled ? 1 : 0.85;
  if (sentence) trust *= 0.5;
  if (score.cuts_times) trust *= 0.3;
  if (score.first_row > first_row) trust *= 0.98;  // a title may be a row that does not fit
  score.score = even * even * (1 - cut) * (1 - cut) * (0.8 + 0.2 * typed) *
                (0.7 + 0.3 * (1 - 1 / useful)) * trust;

  score.certainty = even * (1 - cut / 2);
  if (sentence && score.typed_columns == 0) score.certainty *= 0.7;
  if (score.cuts_times) score.certainty *= 0.5;
  const bool by_blanks = layout.separator == " " || layout.rule == CutRule::kFixed;
  if (by_blanks) {
    score.is_template = HasTemplate(table, score);
    const bool few_typed = layout.separator == " " && typed < 1.0 / 3;
    if (score.is_template || few_typed) score.certainty = std::min(score.certainty, 0.6);
    if (typed == 0 && score.rows < 5) score.certainty = std::min(score.certainty, 0.6);
  }
  if (score.strangers > 0) score.certainty = std::min(score.certainty, 0.8);
  if (score.rows < 2) score.certainty = std::min(score.certainty, 0.5);  // nothing to compare with
  return score;
}

}  // namespace kelvorin::textsource
