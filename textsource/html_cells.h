#pragma once
// The rows and cells of HTML tables as a browser shows them. The record reader finds the rows, the
// field splitter cuts them; neither looks at anything else of the page.

#include <cstddef>
#include <span>
#include <string_view>

#include "textsource/field_splitter.h"

namespace kelvorin::textsource {

/// Whether a tag of this name stands at `at`, which must hold a `<`: "td", "/tr", in any case.
bool IsHtmlTag(std::string_view text, std::size_t at, std::string_view name) noexcept;

/// First tag of this name at or behind `from`, or `npos`. A tag that the text's end cuts off is not
/// found.
std::size_t FindHtmlTag(std::string_view text, std::string_view name,
                        std::size_t from = 0) noexcept;

/// Position behind the `>` of the tag that begins at `at`; `>` inside quoted attributes does not
/// count. The text's size when the tag does not end.
std::size_t HtmlTagEnd(std::string_view text, std::size_t at) noexcept;

/// Cuts a row into the texts of its cells, in place: tags go, entities become their characters in
/// the ANSI page (one that the page lacks stays as it is written), white space runs together and
/// goes at the ends, a hard blank is a blank. False at the 252nd cell.
bool CutHtmlCells(std::span<char> row, FieldValues& fields);

}  // namespace kelvorin::textsource
