#pragma once
// The beginning of a text file cut by one layout that may be the right one, and how well that went.
// The detection of layouts makes one for each candidate and compares.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "textsource/cell_kinds.h"
#include "textsource/field_splitter.h"
#include "textsource/record_reader.h"

namespace kelvorin::textsource {

/// As much of a file as a layout is judged by.
inline constexpr std::size_t kSampleBytes = std::size_t{64} * 1024;
/// A longer record tells nothing: there is no second one to compare with.
inline constexpr std::size_t kLongestJudged = std::size_t{1} << 20;

class SampleTable {
 public:
  struct Row {
    std::size_t first = 0;      // its first cell
    std::size_t count = 0;      // of cells
    std::int32_t number = 0;    // of the record, from 1
    bool loose_quotes = false;  // a text delimiter was not closed, or text stands behind it
    bool ruler = false;         // a drawn line: dashes, pluses and bars
    std::string_view record;    // as it was read
  };

  /// Reads the records of the sample and cuts them. Records without a character other than blanks
  /// are counted but are no rows; so is one that the sample's end cuts off.
  static Result<SampleTable> Read(const std::string& file_name, const RecordFormat& format,
                                  const SplitRules& rules);
  SampleTable(SampleTable&&) noexcept = default;
  SampleTable& operator=(SampleTable&&) noexcept = default;

  const std::vector<Row>& rows() const noexcept { return rows_; }
  std::string_view Cell(const Row& row, std::size_t column) const noexcept {
    return column < row.count ? cells_[row.first + column] : std::string_view();
  }
  /// Whether the cell stood between text delimiters.
  bool IsQuoted(std::string_view cell, char delimiter) const noexcept {
    return delimiter != 0 && cell.data() > cut_.data() && cell.data()[-1] == delimiter;
  }
  /// Records of blanks only.
  int blank_records() const noexcept { return blank_records_; }
  /// Whether the sample ended before the file did.
  bool cut_off() const noexcept { return cut_off_; }

 private:
  SampleTable() = default;

  // Buffers that keep their place when the table moves. A line end follows each record.
  std::vector<char> cut_;      // the records as the splitter left them
  std::vector<char> records_;  // and as they were read
  std::vector<Row> rows_;
  std::vector<std::string_view> cells_;
  int blank_records_ = 0;
  bool cut_off_ = false;
};

/// What the values of a column have in common.
struct ColumnFacts {
  std::size_t filled = 0;            // values that are not blank
  std::size_t cut = 0;               // of them, what looks cut
  CellKind kind = CellKind::kEmpty;  // of most
  std::size_t of_kind = 0;
  /// One value may be a name above the others.
  bool typed() const noexcept {
    return kind != CellKind::kText && kind != CellKind::kEmpty && of_kind * 10 + 9 >= filled * 9;
  }
};

/// How well a layout suits, from 0 to 1, and why.
struct LayoutScore {
  double score = 0;
  double certainty = 0;
  std::size_t fields = 0;     // of most rows
  std::size_t first_row = 0;  // of the table; what stands above it is a title
  std::size_t rows = 0;       // from there on
  std::size_t agreeing = 0;   // rows with so many fields
  std::size_t loose_quotes = 0;
  // What the run would read as records although a person would not: comments and drawn lines
  // between the records, a footer below them.
  std::size_t strangers = 0;
  std::string_view stranger;     // the first of these
  std::size_t footer_row = 0;    // 0 for none
  std::size_t cells = 0;         // filled
  std::size_t cut_cells = 0;     // of them, what looks cut
  std::string_view cut_cell;     // the first of these
  double followed_by_blank = 0;  // share of the separators
  bool cuts_times = false;
  bool is_template = false;  // the same words in every line, as in a log
  std::size_t typed_columns = 0;
  std::vector<ColumnFacts> columns;
};

/// What a score must know of its layout.
struct ScoredLayout {
  CutRule rule = CutRule::kDelimited;
  std::string_view separator;
  char delimiter = 0;
  bool said = false;   // the file itself names the separator: nothing is cut by mistake
  bool ruled = false;  // a drawn line shows the columns
};

/// `first_row`: rows before it are not looked at.
LayoutScore ScoreTable(const SampleTable& table, const ScoredLayout& layout,
                       std::size_t first_row = 0);

/// Row of the table's heading, or -1: its first row, when its cells are names and what stands below
/// them is of another kind or shape, or a drawn line.
int FindHeading(const SampleTable& table, const LayoutScore& score);

}  // namespace kelvorin::textsource
