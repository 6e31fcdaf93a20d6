#pragma once
// Plain decimal digits ("-12.340": perhaps a sign, digits, perhaps a point and digits), the exact
// form that values carry: made from numbers, rounded to what a format stores. Works on digits,
// never on their binary approximation, so that 1.005 with two decimals becomes 1.01. Nothing
// allocates.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace kelvorin::values {

/// Longest plain text of a double.
inline constexpr std::size_t kMaxPlainDouble = 400;
/// The plain text of a finite number, with the fewest digits that read back the same.
std::string_view PlainText(double number, std::span<char, kMaxPlainDouble> room) noexcept;
/// The plain text of a number of ten-thousandths, with all four decimals.
std::string_view PlainCurrency(std::int64_t ten_thousandths,
                               std::span<char, kMaxPlainDouble> room) noexcept;

struct RoundedDigits {
  bool negative = false;      // never of 0
  std::string_view whole;     // without zeros in front; empty below 1
  std::string_view fraction;  // at most as many digits as were asked for
  bool zero() const noexcept {
    return whole.empty() && fraction.find_first_not_of('0') == std::string_view::npos;
  }
};
/// Rounds plain digits half away from zero to `decimals`. What `out` shows points into `plain`, or
/// into `room` where rounding carried. False, with `out` as it was, when the whole digits and
/// `decimals` together need more than `room` less one.
bool RoundDigits(std::string_view plain, std::size_t decimals, std::span<char> room,
                 RoundedDigits& out) noexcept;

}  // namespace kelvorin::values
