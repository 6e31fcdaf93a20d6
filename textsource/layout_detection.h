#pragma once
// Finds out how a text file is built, as a person would who looks at its beginning: code page,
// record ends, separators or columns, where the heading stands and where the data begin. For the
// command line, which has nobody to ask, and for a suggestion beside the required guess.
//
// Every layout that may be is tried on the first 64 KiB with the reader and the splitter of the
// run. The best is the one that keeps most: records of equal length, values of one type in a
// column, nothing cut that belongs together.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/status.h"
#include "textsource/break_list.h"
#include "textsource/field_splitter.h"
#include "textsource/format_detection.h"
#include "textsource/record_reader.h"

namespace kelvorin::textsource {

/// From this certainty on a layout may be taken without asking.
inline constexpr int kSureFrom = 90;

/// What is known of a file's layout and need not be found.
struct GivenLayout {
  /// Code, separator text, length and gap.
  std::optional<RecordFormat> records;
  std::optional<CutRule> rule;
  /// Field separators; empty for unknown.
  std::string separators;
  /// Text delimiter; the character 0 says that there is none.
  std::optional<char> delimiter;
  /// Whether line ends between text delimiters are data.
  std::optional<bool> quoted_line_ends;
  /// Ends of fixed columns.
  std::optional<BreakList> breaks;
  /// Code page; 0 for unknown.
  int page = 0;
};

/// A layout, ready to be used: `RulesOf` cuts what a `RecordReader` with `format` reads.
struct DetectedLayout {
  /// With quotes, separators and page filled in.
  RecordFormat format;
  CutRule rule = CutRule::kDelimited;
  /// Of delimited text; one character unless more were given.
  std::string separators = ",";
  /// Runs of the separator count as one.
  bool merge_separators = false;
  /// Text delimiter, or the character 0.
  char delimiter = '"';
  /// Delimiters count at a field's start only: always so in a detected layout.
  bool quotes_at_start = true;
  /// Blanks around values are padding.
  bool trim = false;
  /// The file has lines of blanks only, which are no records.
  bool skip_blank_lines = false;
  /// Of fixed columns. The last one ends with the line, wherever that is.
  BreakList breaks;
  /// The record (from 1) that names the columns, 0 for none, and the first one of data.
  std::int32_t heading_line = 0;
  std::int32_t start_line = 1;
  /// Names in the heading line.
  std::vector<std::string> heading;
  /// Code page of the file, found or given: 65001, 1252, 1200 for UTF-16, ...
  int page = 0;
  /// Bytes are no text of the ANSI page, and no page was given: `page` is what fits best. Somebody
  /// should agree before it is used.
  bool page_is_guessed = false;
  /// How evenly the layout cuts the sample, how certain it is, and what a person should know.
  DetectionReport report;
  /// The second best layout and why it lost, for a person; empty when there was no other.
  std::string runner_up;
};

/// The rule that cuts the layout's records.
SplitRules RulesOf(const DetectedLayout& layout);

/// Detects what is not given. The certainty is below `kSureFrom` when there seems to be no table,
/// when there is little to go by, and when characters would be lost. Fails as reading fails.
Result<DetectedLayout> DetectLayout(const std::string& file_name, const GivenLayout& given = {});

}  // namespace kelvorin::textsource
