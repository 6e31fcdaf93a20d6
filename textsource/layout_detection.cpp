#include "textsource/layout_detection.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "base/M_STRING.h"
#include "base/code_page.h"
#include "base/language.h"
#include "textsource/fixed_columns.h"
#include "textsource/html_cells.h"
#include "textsource/layout_words.h"
#include "textsource/page_guess.h"
#include "textsource/sample_table.h"

namespace kelvorin::textsource {

using base::Tr;
namespace {

constexpr std::string_view kSeparators = ",;\t|:^~\x1F ";

/// The first bytes of a file, as they come in, and what they tell by themselves.
struct Beginning {
  std::string text;
  bool whole = false;
  int utf16_page = 0;
  std::size_t crlf = 0, lf = 0, cr = 0;
  bool long_record = false;  // the first line is longer than what is judged
};

void CountLineEnds(Beginning& start) {
  const std::string_view text = start.text;
  for (std::size_t at = text.find_first_of("\r\n"); at != text.npos;
       at = text.find_first_of("\r\n", at + 1)) {
    if (text[at] == '\n') {
      ++start.lf;
    } else if (at + 1 < text.size() && text[at + 1] == '\n') {
      ++start.crlf;
      ++at;
    } else if (at + 1 < text.size() || start.whole) {
      ++start.cr;
    }
  }
}

// Looks on behind the sample for the first line end.
Status LookFurther(const TextInput& input, Beginning& start) {
  constexpr std::uint64_t kFarthest = std::uint64_t{8} << 20;  // longer records are not read
  std::string piece;
  for (std::uint64_t at = start.text.size(); at < kFarthest; at += piece.size()) {
    start.long_record = at >= kLongestJudged;
    piece.resize(kSampleBytes);
    const Result<std::size_t> got = input.ReadAt(at, piece);
    if (!got.ok()) return got.status();
    piece.resize(*got);
    // Two searches for one character are ten times as quick as one for either.
    const std::size_t feed = piece.find('\n');
    const std::size_t end = std::min(feed, std::string_view(piece).substr(0, feed).find('\r'));
    if (end != piece.npos) {
      if (piece[end] == '\n') {
        ++start.lf;
      } else {
        ++(end + 1 < piece.size() && piece[end + 1] == '\n' ? start.crlf : start.cr);
      }
      return Status();
    }
    if (piece.size() < kSampleBytes) return Status();
  }
  return Status();
}

Result<Beginning> ReadBeginning(const std::string& file_name, bool unmarked_utf16) {
  Result<TextInput> input = TextInput::Open(file_name, unmarked_utf16);
  if (!input.ok()) return input.status();
  Beginning start;
  start.utf16_page = input->utf16_page();
  start.text.resize(kSampleBytes);
  const Result<std::size_t> got = input->ReadAt(0, start.text);
  if (!got.ok()) return got.status();
  start.text.resize(*got);
  start.whole = *got < kSampleBytes;
  CountLineEnds(start);
  if (start.crlf + start.lf + start.cr == 0 && !start.whole) KV_TRY(LookFurther(*input, start));
  return start;
}

/// The record formats that may be: one where all line ends are alike, else also "any of them".
std::vector<RecordFormat> RecordFormats(const Beginning& start) {
  RecordFormat format;
  const int kinds = (start.crlf > 0) + (start.lf > 0) + (start.cr > 0);
  format.code = start.crlf > 0 || kinds == 0 ? separator_code::kCrLf
                : start.lf >= start.cr       ? separator_code::kLf
                                             : separator_code::kCr;
  std::vector<RecordFormat> formats{format};
  if (kinds > 1) {
    format.code = separator_code::kLf;
    format.any_line_end = true;
    formats.push_back(format);
  }
  return formats;
}

/// A layout that was tried.
struct Candidate {
  DetectedLayout layout;
  LayoutScore score;
  std::optional<SampleTable> table;
  bool may_cut_words = false;  // columns end where letters meet digits
};

/// Tries layouts on one file and keeps the two best.
class Detection {
 public:
  Detection(const std::string& file_name, const GivenLayout& given, Beginning start)
      : file_(file_name), given_(given), start_(std::move(start)) {}

  Result<DetectedLayout> Run();

 private:
  void ChoosePage();
  Status TryAll(const RecordFormat& format);
  Status TrySeparator(const RecordFormat& format, std::string_view separator);
  Status TryDelimited(const RecordFormat& format, std::string_view separator, char delimiter,
                      LayoutScore* score = nullptr);
  Status TryFixed(const RecordFormat& format);
  Status TryHtml(const RecordFormat& format);
  Status Try(DetectedLayout layout, std::size_t first_row, LayoutScore* score = nullptr,
             bool may_cut_words = false, bool ruled = false);
  bool MayDelimit(std::string_view separator) const;
  void Keep(Candidate candidate);
  void Finish(Candidate& best);
  void FinishHeading(Candidate& best);
  int Certainty(const Candidate& best) const;
  std::string Hint(const Candidate& best) const;
  bool LooksLikeJson() const;

  const std::string& file_;
  const GivenLayout& given_;
  Beginning start_;
  DetectedLayout plain_;        // what holds for every candidate
  std::string said_separator_;  // by a first line "sep=;"
  std::size_t first_row_ = 0;   // rows before it are no data, whatever the layout
  std::vector<std::string_view> lines_;
  std::optional<Candidate> best_;
  std::optional<Candidate> second_;
};

void Detection::ChoosePage() {
  const base::CodePage& ansi = base::AnsiPage();
  plain_.page = start_.utf16_page != 0 ? start_.utf16_page
                : given_.page != 0     ? given_.page
                                       : ansi.number();
  const bool as_it_is = plain_.page == ansi.number() && ansi.is_utf8();
  if (!as_it_is || start_.utf16_page != 0) return;
  if (Utf8Fault(start_.text, !start_.whole) == std::string::npos) return;
  if (given_.page != 0) return;
  plain_.page = GuessPage(start_.text);
  plain_.page_is_guessed = true;
}

// Lines of the beginning, whatever ends them; the one that the sample cuts off is left out.
std::vector<std::string_view> LinesOf(const Beginning& start) {
  std::vector<std::string_view> lines;
  std::string_view text = start.text;
  while (!text.empty()) {
    const std::size_t end = text.find_first_of("\r\n");
    if (end == text.npos && !start.whole && !lines.empty()) break;
    const std::string_view line = text.substr(0, end);
    if (line.find_first_not_of(" \t\x1A") != line.npos) lines.push_back(line);
    if (end == text.npos) break;
    text.remove_prefix(end + 1);
  }
  return lines;
}

/// The separator that a first line names for spreadsheets: `sep=;`.
std::string SaidSeparator(std::string_view line) {
  if (line.starts_with("\xEF\xBB\xBF")) line.remove_prefix(3);
  if (line.size() >= 2 && line.front() == '"' && line.back() == '"')
    line = line.substr(1, line.size() - 2);
  if (!base::StartsWithIgnoreCase(line, "sep=") || line.size() < 5) return {};
  line.remove_prefix(4);
  return line.size() == 1 || base::CountCharacters(line) == 1 ? std::string(line) : std::string();
}

Result<DetectedLayout> Detection::Run() {
  ChoosePage();
  lines_ = LinesOf(start_);
  if (!lines_.empty()) said_separator_ = SaidSeparator(lines_[0]);
  if (!said_separator_.empty()) first_row_ = 1;
  std::vector<RecordFormat> formats = RecordFormats(start_);
  if (given_.records) formats.assign(1, *given_.records);
  for (const RecordFormat& format : formats) KV_TRY(TryAll(format));
  if (!best_) {  // an empty file, or one record that is too long to be judged
    plain_.format = formats[0];
    plain_.format.page = plain_.page_is_guessed ? plain_.page : 0;
    plain_.skip_blank_lines = true;
    if (!lines_.empty())
      plain_.report.hint =
          Tr("The first record is longer than 1 MiB: separators and columns were not looked for.");
    return plain_;
  }
  Finish(*best_);
  return std::move(best_->layout);
}

Status Detection::TryAll(const RecordFormat& format) {
  const auto may = [&](CutRule rule) { return !given_.rule || *given_.rule == rule; };
  if (may(CutRule::kHtmlTags)) KV_TRY(TryHtml(format));
  const bool html = best_ && best_->layout.rule == CutRule::kHtmlTags;
  if (html && !given_.rule) return Status();
  if (start_.long_record && !given_.records) return Status();
  if (may(CutRule::kFixed)) KV_TRY(TryFixed(format));
  if (!may(CutRule::kDelimited)) return Status();
  if (!given_.separators.empty()) return TrySeparator(format, given_.separators);
  if (!said_separator_.empty()) return TrySeparator(format, said_separator_);
  for (const char& separator : kSeparators) {
    const std::string_view one(&separator, 1);
    // The comma is what text is cut at when nothing else tells.
    if (MayDelimit(one) || separator == ',') KV_TRY(TrySeparator(format, one));
  }
  return Status();
}

bool Detection::MayDelimit(std::string_view separator) const {
  const auto holding = std::count_if(lines_.begin(), lines_.end(), [&](std::string_view line) {
    return line.find(separator) != line.npos;
  });
  return holding * 2 >= static_cast<std::ptrdiff_t>(lines_.size());
}

// Double quotes unless values stand in single ones, or double ones stand there unpaired.
Status Detection::TrySeparator(const RecordFormat& format, std::string_view separator) {
  if (given_.delimiter) return TryDelimited(format, separator, *given_.delimiter);
  LayoutScore score;
  KV_TRY(TryDelimited(format, separator, '"', &score));
  bool single = false;
  bool stray = false;
  for (const std::string_view line : lines_) {
    for (std::size_t at = 0; at != line.npos; at = line.find(separator, at)) {
      if (at > 0) at += separator.size();
      if (at >= line.size()) break;
      if (line[at] == '\'') single = true;
      if (line[at] == '"') stray = true;
      if (at == 0) at = 1;
    }
  }
  if (single) KV_TRY(TryDelimited(format, separator, '\''));
  const bool uneven = score.loose_quotes > 0 || score.agreeing < score.rows;
  return stray && uneven ? TryDelimited(format, separator, '\0') : Status();
}

Status Detection::TryDelimited(const RecordFormat& format, std::string_view separator,
                               char delimiter, LayoutScore* score) {
  DetectedLayout layout = plain_;
  layout.rule = CutRule::kDelimited;
  layout.format = format;
  layout.separators = separator;
  layout.merge_separators = separator == " " && given_.separators.empty();
  layout.delimiter = delimiter;
  const bool line_ends = given_.quoted_line_ends.value_or(!given_.records.has_value());
  if (line_ends) layout.format.quote = delimiter;
  layout.format.separators = separator;
  return Try(std::move(layout), first_row_, score);
}

Status Detection::TryFixed(const RecordFormat& format) {
  DetectedLayout layout = plain_;
  layout.rule = CutRule::kFixed;
  layout.format = format;
  layout.trim = true;
  if (given_.breaks) {
    layout.breaks = *given_.breaks;
    return Try(std::move(layout), first_row_);
  }
  RecordFormat lines = format;
  if (plain_.page_is_guessed) lines.page = plain_.page;
  Result<SampleTable> table =
      SampleTable::Read(file_, lines, SplitRules::Delimited(std::string_view(), '\0'));
  if (!table.ok()) return table.status();
  std::vector<std::string_view> records;
  constexpr std::size_t kEnough = 500;
  for (const SampleTable::Row& row : table->rows()) {
    records.push_back(row.record);
    if (records.size() == kEnough) break;
  }
  const std::optional<FixedColumns> found = FindFixedColumns(records);
  if (!found) return Status();
  layout.breaks = found->breaks;
  layout.heading_line = found->heading_row >= 0
                            ? table->rows()[static_cast<std::size_t>(found->heading_row)].number
                            : 0;
  return Try(std::move(layout), found->first_row, nullptr, found->bare_breaks > 0,
             found->heading_row >= 0);
}

Status Detection::TryHtml(const RecordFormat& format) {
  const std::string_view text = start_.text;
  const bool rows = FindHtmlTag(text, "tr") != text.npos;
  const bool cells = FindHtmlTag(text, "td") != text.npos || FindHtmlTag(text, "th") != text.npos;
  if (!given_.rule && !(rows && cells)) {
    // Rows of cells alone, one to a line.
    const auto is_row = [](std::string_view line) {
      line = base::TrimLeft(line, base::kBlankOrTab);
      return IsHtmlTag(line, 0, "td") || IsHtmlTag(line, 0, "th");
    };
    if (lines_.empty() || !std::all_of(lines_.begin(), lines_.end(), is_row)) return Status();
  }
  DetectedLayout layout = plain_;
  layout.rule = CutRule::kHtmlTags;
  layout.format = format;
  layout.format.html_rows = rows;
  return Try(std::move(layout), 0);
}

Status Detection::Try(DetectedLayout layout, std::size_t first_row, LayoutScore* score,
                      bool may_cut_words, bool ruled) {
  if (layout.page_is_guessed || given_.page != 0) layout.format.page = layout.page;
  Result<SampleTable> table = SampleTable::Read(file_, layout.format, RulesOf(layout));
  if (!table.ok()) return table.status();
  if (table->rows().empty()) return Status();
  Candidate candidate;
  candidate.score = ScoreTable(
      *table, {layout.rule, layout.separators, layout.delimiter, !said_separator_.empty(), ruled},
      first_row);
  if (score != nullptr) *score = candidate.score;
  candidate.layout = std::move(layout);
  candidate.may_cut_words = may_cut_words;
  candidate.table = *std::move(table);
  Keep(std::move(candidate));
  return Status();
}

void Detection::Keep(Candidate candidate) {
  // Equal scores: what was tried first stays, except that text of one column loses to any other.
  if (!best_ || candidate.score.score > best_->score.score) {
    std::swap(best_, second_);
    best_ = std::move(candidate);
  } else if (!second_ || candidate.score.score > second_->score.score) {
    second_ = std::move(candidate);
  }
}

bool Detection::LooksLikeJson() const {
  const auto json = std::count_if(lines_.begin(), lines_.end(), [](std::string_view line) {
    line = base::Trim(line, " \t,");
    return line.size() >= 2 && ((line.front() == '{' && line.back() == '}') ||
                                (line.front() == '[' && line.back() == ']'));
  });
  return json > 0 && json * 5 >= static_cast<std::ptrdiff_t>(lines_.size()) * 4;
}

int Detection::Certainty(const Candidate& best) const {
  const LayoutScore& score = best.score;
  double certainty = score.certainty;
  const bool one_column = score.fields < 2 && best.layout.rule == CutRule::kDelimited;
  if (one_column) {
    // A list: values of one kind, or words without anything that could part them.
    constexpr std::size_t kLongestWord = 40;
    const bool words = std::all_of(lines_.begin(), lines_.end(), [](std::string_view line) {
      return line.size() <= kLongestWord && line.find_first_of(kSeparators) == line.npos &&
             line.find_first_of("<>{}=\"") == line.npos;
    });
    const bool typed = !score.columns.empty() && score.columns[0].typed();
    certainty = score.rows >= 2 && (words || typed) ? 0.9 : 0.25;
  }
  if (best.may_cut_words) certainty = std::min(certainty, 0.8);
  if (LooksLikeJson()) certainty = std::min(certainty, 0.2);
  if (!given_.rule && best.layout.rule != CutRule::kHtmlTags && !lines_.empty()) {
    const auto tags = std::count_if(lines_.begin(), lines_.end(), [](std::string_view line) {
      return base::TrimLeft(line, base::kBlankOrTab).starts_with('<');
    });
    if (tags * 2 > static_cast<std::ptrdiff_t>(lines_.size())) certainty = std::min(certainty, 0.2);
  }
  return static_cast<int>(std::floor(100 * certainty + 1e-9));
}

std::string Detection::Hint(const Candidate& best) const {
  std::string hint;
  const auto add = [&hint](std::string_view text) {
    if (!hint.empty()) hint += ' ';
    hint += text;
  };
  if (best.layout.page_is_guessed)
    add(Tr("The text is not UTF-8: code page %1 fits best, but nothing in the file says so.",
           {base::ToDecimal(best.layout.page)}));
  if (LooksLikeJson()) {
    add(Tr("The lines look like JSON, which is no table."));
  } else if (best.score.is_template) {
    add(Tr("Every line holds the same words, as in a log: there may be no table."));
  } else if (best.score.fields < 2 && best.layout.report.certainty_percent < kSureFrom) {
    add(Tr("No separator and no columns were found: there may be no table."));
  }
  if (best.may_cut_words)
    add(Tr("Columns were found only where letters meet digits; a word may be cut."));
  if (best.score.strangers > 0) {
    add(Tr("Not all lines look like records, the first one of these '%1'.",
           {base::CutToCharacters(best.score.stranger, 40)}));
    const auto& rows = best.table->rows();
    const auto data = std::count_if(
        rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(best.score.footer_row),
        [&](const SampleTable::Row& row) { return row.number >= best.layout.start_line; });
    if (best.score.footer_row > 0)
      add(Tr("A footer is left out by --guess --max-lines %1.", {base::ToDecimal(data)}));
  }
  if (best.score.cut_cells > 0)
    add(Tr("%1 values look as if something was cut in two, the first one '%2'.",
           {base::ToDecimal(static_cast<std::int64_t>(best.score.cut_cells)),
            base::CutToCharacters(best.score.cut_cell, 40)}));
  return hint;
}

void Detection::FinishHeading(Candidate& best) {
  DetectedLayout& layout = best.layout;
  const std::vector<SampleTable::Row>& rows = best.table->rows();
  int heading = FindHeading(*best.table, best.score);
  if (heading < 0 && layout.rule == CutRule::kHtmlTags &&
      FindHtmlTag(rows[best.score.first_row].record, "th") != std::string_view::npos &&
      best.score.rows > 1)
    heading = static_cast<int>(best.score.first_row);
  if (layout.heading_line != 0) {  // above a line of dashes
    const auto above = std::find_if(rows.begin(), rows.end(), [&](const SampleTable::Row& row) {
      return row.number == layout.heading_line;
    });
    heading = above == rows.end() ? -1 : static_cast<int>(above - rows.begin());
  }
  std::size_t first = best.score.first_row;
  layout.heading_line = 0;
  if (heading >= 0) {
    const SampleTable::Row& row = rows[static_cast<std::size_t>(heading)];
    layout.heading_line = row.number;
    for (std::size_t column = 0; column < row.count; ++column)
      layout.heading.emplace_back(best.table->Cell(row, column));
    first = std::max(first, static_cast<std::size_t>(heading) + 1);
  }
  while (first > 0 && first < rows.size() && rows[first].ruler) ++first;
  layout.start_line = first == 0 || first >= rows.size() ? 1 : rows[first].number;
  if (layout.heading_line == 0 && first == 0) layout.start_line = 1;
}

void Detection::Finish(Candidate& best) {
  DetectedLayout& layout = best.layout;
  const LayoutScore& score = best.score;
  FinishHeading(best);
  layout.skip_blank_lines = best.table->blank_records() > 0;
  // "a, b, c": the blanks belong to the separators.
  if (layout.rule == CutRule::kDelimited && score.followed_by_blank > 0.5) layout.trim = true;
  DetectionReport& report = layout.report;
  report.lines = static_cast<int>(score.rows);
  report.fields = static_cast<int>(score.fields);
  report.lines_agreeing = static_cast<int>(score.agreeing);
  report.unclosed_lines = static_cast<int>(score.loose_quotes);
  report.utf16 = start_.utf16_page != 0;
  report.html_rows = layout.rule == CutRule::kHtmlTags;
  report.certainty_percent = Certainty(best);
  report.hint = Hint(best);
  if (second_ && second_->score.score > 0) {
    const LayoutScore& other = second_->score;
    const auto number = [](std::size_t n) { return base::ToDecimal(static_cast<std::int64_t>(n)); };
    std::string why = number(other.agreeing) + " of " + number(other.rows) + " lines have " +
                      number(other.fields) + " fields";
    if (other.cuts_times) {
      why += ", and it cuts times";
    } else if (other.cut_cells > 0) {
      why += ", and " + number(other.cut_cells) + " values look cut, the first one '" +
             std::string(base::CutToCharacters(other.cut_cell, 40)) + "'";
    } else if (other.followed_by_blank > 0.5) {
      why += ", and a blank follows the separator as in a sentence";
    } else if (other.agreeing == other.rows) {
      why += ", but fewer values of one kind stand below each other";
    }
    layout.runner_up = CutWords(second_->layout) + ": " + why;
  }
}

}  // namespace

SplitRules RulesOf(const DetectedLayout& layout) {
  SplitRules rules = [&] {
    switch (layout.rule) {
      case CutRule::kFixed:
        return SplitRules::Fixed(layout.breaks);
      case CutRule::kHtmlTags:
        return SplitRules::HtmlCells();
      case CutRule::kDelimited:
        break;
    }
    return SplitRules::Delimited(
        layout.separators, layout.delimiter,
        {.quotes_at_start = layout.quotes_at_start, .merge_separators = layout.merge_separators});
  }();
  rules.set_trim(layout.trim);
  return rules;
}

Result<DetectedLayout> DetectLayout(const std::string& file_name, const GivenLayout& given) {
  const bool dump = given.records && given.records->code == separator_code::kLength;
  Result<Beginning> start = ReadBeginning(file_name, !dump);
  if (!start.ok()) return start.status();
  return Detection(file_name, given, *std::move(start)).Run();
}

}  // namespace kelvorin::textsource
