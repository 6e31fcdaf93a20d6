#include "textsource/fixed_columns.h"

#include <algorithm>
#include <string>
#include <vector>

#include "base/M_STRING.h"
#include "base/code_page.h"
#include "textsource/cell_kinds.h"

namespace kelvorin::textsource {
namespace {

constexpr std::size_t kLongestLine = 4096;  // characters; what is behind them is the last column's
constexpr std::size_t kMostTitles = 3;

/// What one character is, as far as columns are concerned.
enum class Mark : char { kBlank, kDigit, kLetter, kOther };

using Marks = std::vector<Mark>;

Marks MarksOf(std::string_view line) {
  Marks marks;
  const bool utf8 = base::AnsiPage().is_utf8();
  for (std::size_t at = 0; at < line.size() && marks.size() < kLongestLine;) {
    const char c = line[at];
    const char upper = base::ToUpperAscii(c);
    const bool high = static_cast<unsigned char>(c) >= 0x80;
    marks.push_back(c == ' '                                 ? Mark::kBlank
                    : base::IsDigit(c)                       ? Mark::kDigit
                    : high || (upper >= 'A' && upper <= 'Z') ? Mark::kLetter
                                                             : Mark::kOther);
    if (utf8 && high) {
      static_cast<void>(base::DecodeUtf8(line, at));
    } else {
      ++at;
    }
  }
  return marks;
}

/// A run of places that not all lines leave blank.
struct Piece {
  std::size_t begin = 0;
  std::size_t end = 0;
};

std::vector<Piece> FindPieces(std::span<const Marks> lines) {
  std::vector<bool> filled;
  for (const Marks& line : lines) {
    if (filled.size() < line.size()) filled.resize(line.size());
    for (std::size_t i = 0; i < line.size(); ++i)
      if (line[i] != Mark::kBlank) filled[i] = true;
  }
  std::vector<Piece> pieces;
  for (std::size_t i = 0; i < filled.size(); ++i) {
    if (!filled[i]) continue;
    if (pieces.empty() || pieces.back().end != i) pieces.push_back({i, i});
    pieces.back().end = i + 1;
  }
  return pieces;
}

/// The characters of a line between two places, without blanks around them.
std::string_view CellOf(std::string_view line, Piece piece) {
  const std::string_view before = base::CutToCharacters(line, piece.begin);
  line.remove_prefix(before.size());
  return base::Trim(base::CutToCharacters(line, piece.end - piece.begin));
}

class Columns {
 public:
  Columns(std::span<const std::string_view> lines, std::span<const Marks> marks)
      : lines_(lines), marks_(marks) {}

  std::vector<Piece> Find() {
    std::vector<Piece> columns;
    for (const Piece& piece : FindPieces(marks_)) {
      if (!columns.empty() && !Ends(columns.back(), piece)) {
        columns.back().end = piece.end;
      } else {
        columns.push_back(piece);
      }
    }
    return columns;
  }

  /// Whether most of a column's values are numbers or dates.
  bool IsTyped(Piece column) const {
    std::size_t filled = 0;
    std::size_t typed = 0;
    for (const std::string_view line : lines_) {
      const CellKind kind = KindOf(CellOf(line, column));
      if (kind == CellKind::kEmpty) continue;
      ++filled;
      if (kind != CellKind::kText) ++typed;
    }
    return filled > 0 && typed * 10 >= filled * 9;
  }

  /// Where between two columns the first one ends: before a column whose values all begin at one
  /// place, behind one whose values all end there, else half way.
  std::size_t BreakBetween(Piece left, Piece right) const {
    bool right_begins = true;
    bool left_ends = true;
    for (const Marks& line : marks_) {
      const auto blank = [&](std::size_t at) {
        return at >= line.size() || line[at] == Mark::kBlank;
      };
      right_begins = right_begins && !blank(right.begin);
      left_ends = left_ends && !blank(left.end - 1);
    }
    if (right_begins) return right.begin;
    if (left_ends) return left.end;
    return (left.end + right.begin + 1) / 2;
  }

 private:
  // Whether the blanks between two pieces end a column.
  bool Ends(Piece left, Piece right) const {
    if (right.begin - left.end > 1) return true;
    if (IsUnit(left, right) || ReachesOver(left, right)) return false;
    // One blank says little where most lines end before it.
    const auto reaching = std::count_if(
        marks_.begin(), marks_.end(), [&](const Marks& line) { return line.size() > right.begin; });
    if (reaching * 5 < static_cast<std::ptrdiff_t>(marks_.size()) * 4) return false;
    if (IsTyped(left) || IsTyped(right)) return true;
    constexpr std::size_t kEnoughLines = 10;
    if (lines_.size() < kEnoughLines) return false;
    const std::string_view first = CellOf(lines_[0], left);
    return std::any_of(lines_.begin(), lines_.end(),
                       [&](std::string_view line) { return CellOf(line, left) != first; });
  }

  // Whether the right piece is the currency or the per cent of the number to its left.
  bool IsUnit(Piece left, Piece right) const {
    const std::string_view unit = CellOf(lines_.back(), right);
    const auto fits = [&](std::string_view line) {
      const std::string_view value = CellOf(line, {left.begin, right.end});
      const bool other = CellOf(line, right) != unit || KindOf(value) != CellKind::kNumber;
      return value.empty() || !other;
    };
    // A heading may stand above them.
    return !unit.empty() && IsTyped(left) && KindOf(unit) == CellKind::kText &&
           std::all_of(lines_.begin() + 1, lines_.end(), fits);
  }

  // Whether few lines have the right piece, as words of the left one that are longer than others.
  bool ReachesOver(Piece left, Piece right) const {
    std::size_t both = 0;
    bool others_end_before = false;
    for (const Marks& line : marks_) {
      const auto filled = [&](std::size_t from, std::size_t to) {
        to = std::min(to, line.size());
        return from < to && std::any_of(line.begin() + static_cast<std::ptrdiff_t>(from),
                                        line.begin() + static_cast<std::ptrdiff_t>(to),
                                        [](Mark mark) { return mark != Mark::kBlank; });
      };
      const bool reaches = filled(left.end - 1, left.end);
      if (filled(right.begin, right.end)) {
        if (!reaches) return false;
        ++both;
      } else {
        others_end_before = others_end_before || !reaches;
      }
    }
    return both * 2 < marks_.size() && others_end_before && !IsTyped(right);
  }

  std::span<const std::string_view> lines_;
  std::span<const Marks> marks_;
};

/// Whether a column has values in the lines from `first` to `skip` only, where no line has values
/// in all columns: a title above the others.
bool HoldsTitle(const std::vector<Piece>& columns, std::span<const Marks> lines, std::size_t first,
                std::size_t skip) {
  const auto fills = [](const Marks& line, Piece column) {
    const std::size_t end = std::min(column.end, line.size());
    for (std::size_t i = column.begin; i < end; ++i)
      if (line[i] != Mark::kBlank) return true;
    return false;
  };
  const auto above = lines.subspan(first, skip - first);
  const auto below = lines.subspan(skip);
  const bool names = std::any_of(above.begin(), above.end(), [&](const Marks& line) {
    return std::all_of(columns.begin(), columns.end(), [&](Piece c) { return fills(line, c); });
  });
  return !names && std::any_of(columns.begin(), columns.end(), [&](Piece c) {
    return std::none_of(below.begin(), below.end(),
                        [&](const Marks& line) { return fills(line, c); });
  });
}

/// Dashes below a heading, one run for each column.
bool IsRuler(std::string_view line) {
  return line.find("--") != line.npos && line.find_first_not_of("-=+ ") == line.npos;
}

/// Where letters meet digits in every line of equal length and nothing is blank: the pieces on both
/// sides are three characters or more.
std::vector<Piece> CutByKind(std::span<const Marks> lines) {
  std::vector<Piece> columns;
  const std::size_t width = lines[0].size();
  for (const Marks& line : lines)
    if (line.size() != width) return columns;
  std::vector<bool> changes(width);
  for (std::size_t i = 1; i < width; ++i) {
    changes[i] = std::all_of(lines.begin(), lines.end(), [&](const Marks& line) {
      const bool letters = line[i - 1] == Mark::kLetter && line[i] == Mark::kDigit;
      const bool digits = line[i - 1] == Mark::kDigit && line[i] == Mark::kLetter;
      return letters || digits;
    });
  }
  constexpr std::size_t kNarrowest = 3;
  std::size_t begin = 0;
  for (std::size_t i = kNarrowest; i + kNarrowest <= width; ++i) {
    if (!changes[i] || i - begin < kNarrowest) continue;
    columns.push_back({begin, i});
    begin = i;
  }
  columns.push_back({begin, width});
  return columns;
}

FixedColumns WithBreaks(const Columns& columns, const std::vector<Piece>& pieces) {
  FixedColumns found;
  const std::size_t most = std::min(pieces.size(), base::kMaxFields);
  for (std::size_t i = 0; i + 1 < most; ++i) {
    const std::size_t at = columns.BreakBetween(pieces[i], pieces[i + 1]);
    static_cast<void>(found.breaks.AddFixedBreak(static_cast<std::uint16_t>(at)).ok());
  }
  static_cast<void>(found.breaks.AddFixedBreak(kToLineEnd).ok());
  return found;
}

}  // namespace

std::optional<FixedColumns> FindFixedColumns(std::span<const std::string_view> lines) {
  constexpr std::size_t kFewestLines = 2;
  const auto has_tab = [](std::string_view line) { return line.find('\t') != line.npos; };
  if (lines.size() < kFewestLines || std::any_of(lines.begin(), lines.end(), has_tab))
    return std::nullopt;
  std::vector<Marks> marks;
  for (const std::string_view line : lines) marks.push_back(MarksOf(line));

  for (std::size_t i = 0; i <= kMostTitles && i + kFewestLines < lines.size(); ++i) {
    if (!IsRuler(lines[i])) continue;
    Columns columns(lines.subspan(i + 1), std::span<const Marks>(marks).subspan(i + 1));
    const std::vector<Piece> pieces = FindPieces(std::span<const Marks>(marks).subspan(i, 1));
    if (pieces.size() < 2) break;
    FixedColumns found = WithBreaks(columns, pieces);
    found.first_row = i + 1;
    found.heading_row = static_cast<int>(i) - 1;
    return found;
  }

  std::vector<Piece> best;
  std::size_t titles = 0;
  for (std::size_t skip = 0; skip <= kMostTitles && skip + kFewestLines < lines.size(); ++skip) {
    Columns columns(lines.subspan(skip), std::span<const Marks>(marks).subspan(skip));
    const std::vector<Piece> pieces = columns.Find();
    const bool more = pieces.size() > std::max<std::size_t>(best.size(), 1);
    const bool titled = pieces.size() > 1 && HoldsTitle(best, marks, titles, skip);
    if (!more && !titled) continue;
    // What is passed over must not look like a row.
    const bool rows_passed = std::any_of(pieces.begin(), pieces.end(), [&](Piece piece) {
      return std::any_of(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(skip),
                         [&](std::string_view line) {
                           const CellKind kind = KindOf(CellOf(line, piece));
                           return columns.IsTyped(piece) && kind != CellKind::kText &&
                                  kind != CellKind::kEmpty;
                         });
    });
    if (rows_passed) continue;
    const bool typed = std::any_of(pieces.begin(), pieces.end(),
                                   [&](Piece piece) { return columns.IsTyped(piece); });
    if (skip > 0 && !typed) continue;
    best = pieces;
    titles = skip;
  }
  if (best.size() >= 2) {
    Columns columns(lines.subspan(titles), std::span<const Marks>(marks).subspan(titles));
    FixedColumns found = WithBreaks(columns, best);
    found.first_row = titles;
    return found;
  }
  const std::vector<Piece> pieces = CutByKind(marks);
  if (pieces.size() < 2) return std::nullopt;
  Columns columns(lines, marks);
  FixedColumns found = WithBreaks(columns, pieces);
  found.bare_breaks = pieces.size() - 1;
  return found;
}

}  // namespace kelvorin::textsource
