#pragma once
// Finds the columns of lines that are aligned by blanks. Used by the detection of layouts.

#include <optional>
#include <span>
#include <string_view>

#include "textsource/break_list.h"

namespace kelvorin::textsource {

/// The last break of detected columns: the column ends with the line.
inline constexpr std::uint16_t kToLineEnd = 32767;

struct FixedColumns {
  /// Positions in characters, ascending, the last one `kToLineEnd`.
  BreakList breaks;
  /// Lines from the front that are no rows: titles, a heading's line of dashes.
  std::size_t first_row = 0;
  /// Line whose cells are above the columns although it is no row, or -1.
  int heading_row = -1;
  /// Breaks that stand where letters meet digits and nothing is blank: these may cut a word.
  std::size_t bare_breaks = 0;
};

/// The columns of lines, or nothing when they have no more than one. A column ends where every line
/// is blank; one blank alone ends it only beside numbers, or where the word before it varies, since
/// names hold blanks too. Where nothing is blank, letters that meet digits in every line end a
/// column.
std::optional<FixedColumns> FindFixedColumns(std::span<const std::string_view> lines);

}  // namespace kelvorin::textsource
