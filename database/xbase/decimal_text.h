#pragma once
// Decimal numbers as text, the way dBASE stores them: reading what other programs wrote, and
// writing exactly the digits a field declares. No allocation in the usual case.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace kelvorin::database::xbase {

enum class NumberText : std::uint8_t { kNumber, kBlank, kWrong };

/// Reads the text of a number field: blanks and zero bytes around it are ignored; nothing, a lone
/// point and a run of `*` (a number that another program could not fit in) are blank. Accepts "+",
/// an exponent, and a comma for the point. `exact` is set to the digits in their plain form ("-",
/// digits, "." and digits); it points into `field` or `scratch`.
NumberText ParseNumber(std::string_view field, double& number, std::string_view& exact,
                       std::string& scratch);

/// Writes a plain decimal text (as in `exact` above) right-justified into `field` with exactly
/// `decimals` digits behind the point, rounded half away from zero. The zero before the point is
/// left out where the field is too narrow for it. False, and `field` unchanged, when the number is
/// too wide.
bool FormatNumber(std::string_view plain, unsigned decimals, std::span<char> field) noexcept;

}  // namespace kelvorin::database::xbase
