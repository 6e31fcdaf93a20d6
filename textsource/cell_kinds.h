#pragma once
// What a value looks like to somebody who reads it: a number, a date, a text, or a piece of
// something that was cut in the wrong place. Used by the detection of layouts; nothing is converted
// by it.

#include <cstdint>
#include <string_view>

namespace kelvorin::textsource {

enum class CellKind : std::uint8_t { kEmpty, kNumber, kDate, kTime, kText };

/// The kind of a value; blanks around it do not count. Numbers may have a sign, a currency sign,
/// groups of three, a decimal point or comma, an exponent, a percent sign. A date may have a time
/// behind it.
CellKind KindOf(std::string_view value) noexcept;

/// Whether a value that was not quoted looks like a piece of something: a quote or a bracket
/// without its partner, another separator between its characters, a line end. `separator` is the
/// character that it was cut at, or the character 0.
bool LooksCut(std::string_view value, char separator) noexcept;

}  // namespace kelvorin::textsource
