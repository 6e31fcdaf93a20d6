#include "values/decimal_digits.h"

#include <algorithm>
#include <charconv>

namespace kelvorin::values {

std::string_view PlainText(double number, std::span<char, kMaxPlainDouble> room) noexcept {
  const auto written =
      std::to_chars(room.data(), room.data() + room.size(), number, std::chars_format::fixed);
  return {room.data(), static_cast<std::size_t>(written.ptr - room.data())};
}

std::string_view PlainCurrency(std::int64_t ten_thousandths,
                               std::span<char, kMaxPlainDouble> room) noexcept {
  constexpr std::size_t kDecimals = 4;
  char* out = room.data();
  auto magnitude = static_cast<std::uint64_t>(ten_thousandths);
  if (ten_thousandths < 0) {
    *out++ = '-';
    magnitude = 0 - magnitude;
  }
  out = std::to_chars(out, out + 24, magnitude / 10'000).ptr;
  *out++ = '.';
  std::uint64_t rest = magnitude % 10'000;
  for (std::size_t i = kDecimals; i > 0; --i, rest /= 10)
    out[i - 1] = static_cast<char>('0' + rest % 10);
  return {room.data(), static_cast<std::size_t>(out + kDecimals - room.data())};
}

bool RoundDigits(std::string_view plain, std::size_t decimals, std::span<char> room,
                 RoundedDigits& out) noexcept {
  RoundedDigits parts;
  parts.negative = !plain.empty() && plain.front() == '-';
  if (parts.negative) plain.remove_prefix(1);
  const std::size_t point = std::min(plain.find('.'), plain.size());
  parts.whole = plain.substr(0, point);
  while (!parts.whole.empty() && parts.whole.front() == '0') parts.whole.remove_prefix(1);
  if (point < plain.size()) parts.fraction = plain.substr(point + 1);
  if (parts.whole.size() + decimals + 1 > room.size()) return false;

  const bool up = parts.fraction.size() > decimals && parts.fraction[decimals] >= '5';
  parts.fraction = parts.fraction.substr(0, decimals);
  if (up) {
    // All kept digits in a row, one place in front for the carry.
    char* first = room.data() + 1;
    char* const end = std::copy(parts.fraction.begin(), parts.fraction.end(),
                                std::copy(parts.whole.begin(), parts.whole.end(), first));
    char* at = end;
    while (at > first && at[-1] == '9') *--at = '0';
    if (at > first) {
      ++at[-1];
    } else {
      *--first = '1';
    }
    parts.whole = {first, static_cast<std::size_t>(end - first) - decimals};
    parts.fraction = {end - decimals, decimals};
  } else if (parts.zero()) {
    parts.negative = false;
  }
  out = parts;
  return true;
}

}  // namespace kelvorin::values
