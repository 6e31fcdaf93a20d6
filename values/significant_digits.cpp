#include "values/significant_digits.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace kelvorin::values {
namespace {

bool SameDigits(std::string_view a, std::string_view b) noexcept {
  std::size_t i = 0, j = 0;
  for (;; ++i, ++j) {
    if (i < a.size() && a[i] == '.') ++i;
    if (j < b.size() && b[j] == '.') ++j;
    if (i == a.size() || j == b.size()) return i == a.size() && j == b.size();
    if (a[i] != b[j]) return false;
  }
}

}  // namespace

Significant DigitsOf(std::string_view plain) noexcept {
  Significant out;
  std::size_t point = plain.size();
  std::size_t first = plain.size();
  std::size_t last = 0;
  for (std::size_t at = 0; at < plain.size(); ++at) {
    if (plain[at] == '.') {
      point = std::min(point, at);
    } else if (plain[at] >= '1' && plain[at] <= '9') {
      first = std::min(first, at);
      last = at;
    }
  }
  if (first == plain.size()) return out;
  out.text = plain.substr(first, last - first + 1);
  out.count = static_cast<int>(out.text.size()) - (first < point && last > point ? 1 : 0);
  out.power =
      first < point ? static_cast<int>(point - first) - 1 : -static_cast<int>(first - point);
  return out;
}

Significant DigitsOf(double number, int count, DigitRoom& room) noexcept {
  constexpr auto kForm = std::chars_format::scientific;
  char* const end = room.data() + room.size();
  const auto written = count == 0 ? std::to_chars(room.data(), end, number, kForm)
                                  : std::to_chars(room.data(), end, number, kForm, count - 1);
  *written.ptr = '\0';
  const std::string_view text(room.data(), static_cast<std::size_t>(written.ptr - room.data()));
  const std::size_t letter = text.find('e');
  Significant out = DigitsOf(text.substr(0, letter));
  if (!out.zero()) out.power = static_cast<int>(std::strtol(&room[letter + 1], nullptr, 10));
  return out;
}

template <typename Binary>
bool ShowsDigits(double number, const Significant& digits) noexcept {
  if (digits.zero()) return number == 0;
  using Limits = std::numeric_limits<Binary>;
  // Numbers near 0 have fewer digits than the others.
  const bool full = std::abs(number) >= static_cast<double>(Limits::min());
  if (full && digits.count <= Limits::digits10) return true;
  if (digits.count > kMostDigits) return false;
  DigitRoom room;
  return SameDigits(DigitsOf(number, digits.count, room).text, digits.text);
}
template bool ShowsDigits<double>(double, const Significant&) noexcept;
template bool ShowsDigits<float>(double, const Significant&) noexcept;

}  // namespace kelvorin::values
