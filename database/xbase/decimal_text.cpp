#include "database/xbase/decimal_text.h"

#include "base/M_STRING.h"
#include "values/decimal_digits.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

namespace kelvorin::database::xbase {
namespace {

constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                              1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
constexpr std::size_t kExactDigits = 15;  // that many always fit a double's mantissa
constexpr int kMaxExponent = 350;         // beyond it nothing a double can hold
constexpr std::size_t kMaxFieldBytes = 255;

constexpr std::size_t kWord = sizeof(std::uint64_t);
constexpr std::uint64_t kBlankWord = 0x2020202020202020;

std::uint64_t WordAt(const char* text) noexcept {
  std::uint64_t word;
  std::memcpy(&word, text, kWord);
  return word;
}

/// Without the blanks and zero bytes around; numbers stand at the right end of wide fields.
std::string_view TrimNumber(std::string_view field) noexcept {
  const char* first = field.data();
  const char* end = first + field.size();
  while (static_cast<std::size_t>(end - first) >= kWord && WordAt(first) == kBlankWord)
    first += kWord;
  while (first < end && (*first == ' ' || *first == '\0')) ++first;
  while (first < end && (end[-1] == ' ' || end[-1] == '\0')) --end;
  return {first, static_cast<std::size_t>(end - first)};
}

/// Reads "-12.50": a sign, 1 to 15 digits without superfluous zeros in front, a point. These are
/// nearly all numbers, and their text is plain already.
bool ParsePlain(std::string_view text, double& number) noexcept {
  std::size_t at = text.front() == '-' ? 1 : 0;
  const std::size_t first = at;
  std::uint64_t digits = 0;
  while (at < text.size() && base::IsDigit(text[at]))
    digits = digits * 10 + static_cast<std::uint64_t>(text[at++] - '0');
  const std::size_t whole = at - first;
  if (whole == 0 || whole > kExactDigits || (whole > 1 && text[first] == '0')) return false;
  std::size_t decimals = 0;
  if (at < text.size()) {
    if (text[at++] != '.') return false;
    const std::size_t point = at;
    if (text.size() - point + whole > kExactDigits) return false;
    while (at < text.size() && base::IsDigit(text[at]))
      digits = digits * 10 + static_cast<std::uint64_t>(text[at++] - '0');
    decimals = at - point;
    if (decimals == 0 || at != text.size()) return false;
  }
  if (digits == 0 && first != 0) return false;  // "-0" loses its sign elsewhere
  number = static_cast<double>(digits) / kPowers[decimals];
  if (first != 0) number = -number;
  return true;
}

/// Takes any accepted form apart and writes it plainly into `plain`.
bool Normalize(std::string_view text, std::string& plain) {
  const bool negative = text.front() == '-';
  if (negative || text.front() == '+') text.remove_prefix(1);
  const std::size_t mantissa_end = std::min(text.find_first_of("eE"), text.size());
  std::string_view mantissa = text.substr(0, mantissa_end);
  int exponent = 0;
  if (mantissa_end < text.size()) {
    std::string_view power = text.substr(mantissa_end + 1);
    if (!power.empty() && power.front() == '+') power.remove_prefix(1);
    const char* end = power.data() + power.size();
    const auto read = std::from_chars(power.data(), end, exponent);
    if (read.ec != std::errc() || read.ptr != end) return false;
    if (exponent < -kMaxExponent || exponent > kMaxExponent) return false;
  }
  std::size_t point = mantissa.find('.');
  if (point == std::string_view::npos) point = mantissa.find(',');
  std::string digits(mantissa.substr(0, point));
  if (point != std::string_view::npos) digits += mantissa.substr(point + 1);
  if (digits.empty() || !std::all_of(digits.begin(), digits.end(), base::IsDigit)) return false;

  // Where the point stands among the digits, then as many zeros as it takes to reach it.
  std::ptrdiff_t whole = static_cast<std::ptrdiff_t>(std::min(point, mantissa.size())) + exponent;
  if (whole <= 0) {
    digits.insert(0, static_cast<std::size_t>(1 - whole), '0');
    whole = 1;
  }
  const auto at = static_cast<std::size_t>(whole);
  if (digits.size() < at) digits.append(at - digits.size(), '0');
  const std::size_t first = std::min(digits.find_first_not_of('0'), at - 1);
  const bool zero = digits.find_first_not_of('0') == std::string::npos;
  plain.clear();
  if (negative && !zero) plain += '-';
  plain.append(digits, first, at - first);
  if (at < digits.size()) plain.append(1, '.').append(digits, at);
  return true;
}

}  // namespace

NumberText ParseNumber(std::string_view field, double& number, std::string_view& exact,
                       std::string& scratch) {
  field = TrimNumber(field);
  if (field.empty() || field == "." || field.find_first_not_of('*') == std::string_view::npos)
    return NumberText::kBlank;
  if (ParsePlain(field, number)) {
    exact = field;
    return NumberText::kNumber;
  }
  if (!Normalize(field, scratch)) return NumberText::kWrong;
  const char* end = scratch.data() + scratch.size();
  if (std::from_chars(scratch.data(), end, number).ec != std::errc()) return NumberText::kWrong;
  exact = scratch;
  return NumberText::kNumber;
}

namespace {

/// Writes a number whose digits need no rounding.
bool FormatExact(const values::RoundedDigits& parts, unsigned decimals,
                 std::span<char> field) noexcept {
  const std::size_t tail = decimals == 0 ? 0 : decimals + 1u;
  const std::size_t sign = parts.negative ? 1 : 0;
  std::size_t width = sign + parts.whole.size() + tail;
  if (width > field.size()) return false;
  bool zero_before = parts.whole.empty() && (tail == 0 || width < field.size());
  if (zero_before && ++width > field.size()) return false;

  char* out = field.data();
  std::memset(out, ' ', field.size() - width);
  out += field.size() - width;
  if (parts.negative) *out++ = '-';
  if (zero_before) *out++ = '0';
  out += parts.whole.copy(out, parts.whole.size());
  if (tail == 0) return true;
  *out++ = '.';
  out += parts.fraction.copy(out, parts.fraction.size());
  std::memset(out, '0', decimals - parts.fraction.size());
  return true;
}

}  // namespace

bool FormatNumber(std::string_view plain, unsigned decimals, std::span<char> field) noexcept {
  // Not cleared: it is filled before it is read, and often.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
  std::array<char, kMaxFieldBytes + 1> room;
  values::RoundedDigits parts;
  return field.size() <= kMaxFieldBytes &&
         values::RoundDigits(plain, decimals, std::span(room).first(field.size() + 1), parts) &&
         FormatExact(parts, decimals, field);
}

}  // namespace kelvorin::database::xbase
