#pragma once
// The digits that a number says something with: from its first one that is not 0 to its last. Tells
// whether a binary number still shows the digits that it was made from. Used inside this room only.

#include <array>
#include <string_view>

namespace kelvorin::values {

struct Significant {
  std::string_view text;  // with a point among the digits, perhaps
  int count = 0;          // 0 for the number 0
  int power = 0;          // of ten, of the first digit
  bool zero() const noexcept { return count == 0; }
  int last_power() const noexcept { return power - count + 1; }
  char first() const noexcept { return text.front(); }
};

/// Room for the most digits that a 64-bit number can have, with sign, point and exponent.
inline constexpr int kMostDigits = 767;
using DigitRoom = std::array<char, kMostDigits + 16>;

/// Of plain digits ("-12.340"), whose point may be missing.
Significant DigitsOf(std::string_view plain) noexcept;
/// Of a finite binary number: the first `count` of its digits, rounded, at most `kMostDigits`; with
/// `count` 0 the fewest that read back the same.
Significant DigitsOf(double number, int count, DigitRoom& room) noexcept;

/// Whether a finite number shows these digits when it is written with as many, at whatever power.
/// `Binary` is double or float; `number` is one of it.
template <typename Binary>
bool ShowsDigits(double number, const Significant& digits) noexcept;

}  // namespace kelvorin::values
