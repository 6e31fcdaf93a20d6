#include "values/number_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "base/M_STRING.h"
#include "values/significant_digits.h"

namespace kelvorin::values {
namespace {

using base::IsDigit;

constexpr std::size_t kMaxShiftedDigits = 40;
constexpr int kExponentLimit = 100'000;  // beyond every number that a double holds
// Powers of ten that a double, and a float, hold exactly: a quotient of two exact numbers is
// rounded once and therefore is the nearest one.
constexpr std::array<double, 23> kTens{1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                       1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                       1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr std::size_t kFloatTens = 10;
constexpr std::uint64_t kExactDouble = std::uint64_t{1} << 53;
constexpr std::uint64_t kExactFloat = std::uint64_t{1} << 24;

/// What a text may hold besides a sign and digits.
struct Allowed {
  bool exponent = false;
  bool currency = false;
};

/// A number whose digits were written to a scratch text as `-123.450`.
struct Digits {
  bool negative = false;
  bool zero = true;
  std::size_t integer_size = 0;  // at least 1
  std::size_t fraction_size = 0;
  int exponent = 0;
};

/// Length of the thousands separator at the front of `text`, 0 when there is none. Where a locale
/// groups by a blank, files hold no-break blanks as well; likewise the two apostrophes.
std::size_t ThousandsSize(std::string_view text, char thousands) noexcept {
  if (thousands == '\0' || text.empty()) return 0;
  if (text.front() == thousands) return 1;
  if (thousands == ' ') {
    if (text.starts_with("\xC2\xA0")) return 2;      // no-break space
    if (text.starts_with("\xE2\x80\xAF")) return 3;  // narrow no-break space
    if (text.front() == '\xA0') return 1;            // no-break space of single-byte pages
  }
  if (thousands == '\'' && text.starts_with("\xE2\x80\x99")) return 3;
  return 0;
}

bool StartsWithDigits(std::string_view text, std::size_t count) noexcept {
  if (text.size() < count) return false;
  for (std::size_t i = 0; i < count; ++i) {
    if (!IsDigit(text[i])) return false;
  }
  return true;
}

bool TakeCurrency(std::string_view& text, std::string_view sign) noexcept {
  if (sign.empty() || !text.starts_with(sign)) return false;
  text.remove_prefix(sign.size());
  return true;
}

/// Digits before the decimal sign, leading zeros dropped; false when thousands are misplaced.
bool TakeInteger(std::string_view& text, char thousands, std::string& scratch,
                 std::size_t& digits_read) {
  std::size_t group = 0;
  bool grouped = false;
  const std::size_t start = scratch.size();
  while (!text.empty()) {
    if (IsDigit(text.front())) {
      if (text.front() != '0' || scratch.size() != start) scratch += text.front();
      text.remove_prefix(1);
      ++group;
      ++digits_read;
      continue;
    }
    const std::size_t separator = ThousandsSize(text, thousands);
    if (separator == 0 || group == 0 || group > 3 || (grouped && group != 3) ||
        !StartsWithDigits(text.substr(separator), 3))
      break;
    text.remove_prefix(separator);
    grouped = true;
    group = 0;
  }
  if (scratch.size() == start && digits_read > 0) scratch += '0';
  return !grouped || group == 3;
}

bool TakeExponent(std::string_view& text, int& exponent) noexcept {
  text.remove_prefix(1);  // the letter
  bool negative = false;
  if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
    negative = text.front() == '-';
    text.remove_prefix(1);
  }
  if (text.empty() || !IsDigit(text.front())) return false;
  for (; !text.empty() && IsDigit(text.front()); text.remove_prefix(1)) {
    if (exponent < kExponentLimit) exponent = exponent * 10 + (text.front() - '0');
  }
  if (negative) exponent = -exponent;
  return true;
}

/// Takes a whole text apart. False when it is no number.
bool ReadNumber(std::string_view text, const FormatOptions& options, Allowed allowed,
                std::string& scratch, Digits& digits) {
  scratch.clear();
  bool sign = false;
  bool currency = !allowed.currency;
  while (!text.empty()) {
    if (!sign && (text.front() == '-' || text.front() == '+')) {
      digits.negative = text.front() == '-';
      sign = true;
      text.remove_prefix(1);
    } else if (!currency && TakeCurrency(text, options.currency)) {
      currency = true;
      text = base::TrimLeft(text);
    } else {
      break;
    }
  }
  if (digits.negative) scratch += '-';
  const std::size_t start = scratch.size();
  std::size_t digits_read = 0;
  if (!TakeInteger(text, options.thousands, scratch, digits_read)) return false;
  if (digits_read == 0) scratch += '0';
  digits.integer_size = scratch.size() - start;
  if (!text.empty() && text.front() == options.decimal) {
    text.remove_prefix(1);
    if (!text.empty() && IsDigit(text.front())) scratch += '.';
    for (; !text.empty() && IsDigit(text.front()); text.remove_prefix(1)) {
      scratch += text.front();
      ++digits.fraction_size;
    }
    digits_read += digits.fraction_size;
  }
  if (digits_read == 0) return false;
  if (allowed.exponent && !text.empty() && (text.front() == 'e' || text.front() == 'E') &&
      !TakeExponent(text, digits.exponent))
    return false;
  if (!currency) {
    std::string_view rest = base::TrimLeft(text);
    if (TakeCurrency(rest, options.currency)) text = rest;
  }
  if (!text.empty()) return false;
  digits.zero = scratch.find_first_not_of("-0.") == std::string::npos;
  if (digits.zero && digits.negative) scratch.erase(0, 1);
  return true;
}

/// Moves the decimal point of the digits in `scratch` by the exponent. False when the result would
/// be too long; the text is then useless.
bool ShiftPoint(std::string& scratch, const Digits& digits) {
  const bool minus = scratch.front() == '-';
  const std::size_t start = minus ? 1 : 0;
  if (digits.fraction_size > 0) scratch.erase(start + digits.integer_size, 1);
  const auto count = static_cast<std::int64_t>(digits.integer_size + digits.fraction_size);
  const std::int64_t point = static_cast<std::int64_t>(digits.integer_size) + digits.exponent;
  const std::int64_t result_size = point <= 0 ? count - point + 1 : std::max(point, count);
  if (!digits.zero && result_size > static_cast<std::int64_t>(kMaxShiftedDigits)) return false;
  if (digits.zero) {
    scratch.assign(1, '0');
    return true;
  }
  if (point <= 0) {
    scratch.insert(start, static_cast<std::size_t>(1 - point), '0');
    scratch.insert(start + 1, 1, '.');
  } else if (point >= count) {
    scratch.append(static_cast<std::size_t>(point - count), '0');
  } else {
    scratch.insert(start + static_cast<std::size_t>(point), 1, '.');
  }
  std::size_t zeros = 0;
  while (scratch[start + zeros] == '0' && start + zeros + 1 < scratch.size() &&
         scratch[start + zeros + 1] != '.')
    ++zeros;
  scratch.erase(start, zeros);
  return true;
}

template <typename Number>
bool Nearest(std::string_view text, double& out) noexcept {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  out = static_cast<double>(number);
  return error == std::errc() && end == text.data() + text.size() && std::isfinite(out);
}

/// Digits that stand in the text as a value keeps them: `-?digits` or `-?digits<decimal>digits`,
/// short enough for a 64-bit mantissa, no superfluous zero in front, no negative zero.
struct Plain {
  bool ok = false;
  bool negative = false;
  std::uint64_t mantissa = 0;
  std::size_t fraction_size = 0;
  std::size_t point_at = std::string_view::npos;
};

Plain ReadPlain(std::string_view text, char decimal) noexcept {
  Plain plain;
  if (text.empty() || text.size() > 19) return plain;
  std::size_t at = 0;
  plain.negative = text[0] == '-';
  if (plain.negative) at = 1;
  const std::size_t first = at;
  for (; at < text.size() && IsDigit(text[at]); ++at)
    plain.mantissa = plain.mantissa * 10 + static_cast<std::uint64_t>(text[at] - '0');
  if (at == first || (text[first] == '0' && at - first > 1)) return plain;
  if (at < text.size() && text[at] == decimal) {
    plain.point_at = at;
    for (++at; at < text.size() && IsDigit(text[at]); ++at)
      plain.mantissa = plain.mantissa * 10 + static_cast<std::uint64_t>(text[at] - '0');
    plain.fraction_size = at - plain.point_at - 1;
    if (plain.fraction_size == 0) return plain;
  }
  plain.ok = at == text.size() && !(plain.negative && plain.mantissa == 0);
  return plain;
}

/// The shortest digits that read back as the same finite number. They are laid out by hand, since
/// the library's fixed form shows digits of large numbers that mean nothing.
class Shortest {
 public:
  template <typename Number>
  explicit Shortest(Number number) noexcept {
    std::array<char, 32> room{};  // -d.ddde-xxx
    const auto [end, error] = std::to_chars(room.data(), room.data() + room.size(), number,
                                            std::chars_format::scientific);
    std::string_view text(room.data(), static_cast<std::size_t>(end - room.data()));
    negative_ = text.front() == '-';
    if (negative_) text.remove_prefix(1);
    const std::size_t letter = text.find('e');
    exponent_ = static_cast<int>(base::ParseInteger(text.substr(letter + 1)));
    for (const char c : text.substr(0, letter)) {
      if (c != '.') digits_[count_++] = c;
    }
  }

  /// Power of ten of the first digit.
  int exponent() const noexcept { return exponent_; }

  void AppendScientific(char decimal, std::string& out) const {
    if (negative_) out += '-';
    out += digits_[0];
    if (count_ > 1) {
      out += decimal;
      out.append(digits_.data() + 1, count_ - 1);
    }
    out += 'E';
    base::AppendDecimal(exponent_, out);
  }
  void AppendPlain(char decimal, std::string& out) const {
    if (negative_) out += '-';
    if (exponent_ < 0) {
      out += '0';
      out += decimal;
      out.append(static_cast<std::size_t>(-exponent_ - 1), '0');
      out.append(digits_.data(), count_);
      return;
    }
    const std::size_t integer_size = static_cast<std::size_t>(exponent_) + 1;
    out.append(digits_.data(), std::min(count_, integer_size));
    if (count_ <= integer_size) {
      out.append(integer_size - count_, '0');
      return;
    }
    out += decimal;
    out.append(digits_.data() + integer_size, count_ - integer_size);
  }

 private:
  std::array<char, 32> digits_{};
  std::size_t count_ = 0;
  int exponent_ = 0;
  bool negative_ = false;
};

/// The 64-bit number of a magnitude and a sign, or false when it does not fit.
bool Signed(std::uint64_t magnitude, bool negative, std::int64_t& out) noexcept {
  constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (magnitude > kMost + (negative ? 1u : 0u)) return false;
  out = static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
  return true;
}

std::string_view IntegerDigits(std::string_view scratch, const Digits& digits) noexcept {
  return scratch.substr(scratch.front() == '-' ? 1 : 0, digits.integer_size);
}
std::string_view FractionDigits(std::string_view scratch, const Digits& digits) noexcept {
  return scratch.substr(scratch.size() - digits.fraction_size);
}

}  // namespace

NumberFault ParseInteger(std::string_view text, const FormatOptions& options, std::int64_t& out,
                         std::string& scratch) {
  const Plain plain = ReadPlain(text, options.decimal);
  if (plain.ok && plain.fraction_size == 0 && Signed(plain.mantissa, plain.negative, out))
    return NumberFault::kNone;
  Digits digits;
  if (!ReadNumber(text, options, {}, scratch, digits)) return NumberFault::kNoNumber;
  if (FractionDigits(scratch, digits).find_first_not_of('0') != std::string_view::npos)
    return NumberFault::kFraction;
  const std::string_view whole = IntegerDigits(scratch, digits);
  std::uint64_t magnitude = 0;
  const auto [end, error] = std::from_chars(whole.data(), whole.data() + whole.size(), magnitude);
  if (error != std::errc() || !Signed(magnitude, digits.negative, out))
    return NumberFault::kOutOfRange;
  return NumberFault::kNone;
}

NumberFault ParseCurrency(std::string_view text, const FormatOptions& options, std::int64_t& out,
                          bool& rounded, std::string& scratch) {
  constexpr std::array<std::uint64_t, 5> kScale{10'000, 1'000, 100, 10, 1};
  const Plain plain = ReadPlain(text, options.decimal);
  rounded = false;
  if (plain.ok && plain.fraction_size <= 4 && plain.mantissa < 100'000'000'000'000) {
    (void)Signed(plain.mantissa * kScale[plain.fraction_size], plain.negative, out);
    return NumberFault::kNone;
  }
  Digits digits;
  if (!ReadNumber(text, options, {.currency = true}, scratch, digits))
    return NumberFault::kNoNumber;
  if (digits.integer_size > 15) return NumberFault::kOutOfRange;
  std::uint64_t magnitude = 0;
  for (const char c : IntegerDigits(scratch, digits))
    magnitude = magnitude * 10 + static_cast<std::uint64_t>(c - '0');
  const std::string_view fraction = FractionDigits(scratch, digits);
  for (std::size_t i = 0; i < 4; ++i)
    magnitude =
        magnitude * 10 + static_cast<std::uint64_t>(i < fraction.size() ? fraction[i] - '0' : 0);
  rounded = fraction.find_first_not_of('0', 4) != std::string_view::npos;
  if (fraction.size() > 4 && fraction[4] >= '5') ++magnitude;
  if (magnitude == 0 && !digits.zero) return NumberFault::kVanishes;
  return Signed(magnitude, digits.negative, out) ? NumberFault::kNone : NumberFault::kOutOfRange;
}

NumberFault ParseDouble(std::string_view text, const FormatOptions& options, Precision precision,
                        Value& out, std::string& scratch) {
  const Plain plain = ReadPlain(text, options.decimal);
  const std::uint64_t exact = precision == Precision::kSingle ? kExactFloat : kExactDouble;
  const std::size_t tens = precision == Precision::kSingle ? kFloatTens : kTens.size() - 1;
  if (plain.ok && plain.mantissa <= exact && plain.fraction_size <= tens) {
    double number = static_cast<double>(plain.mantissa) / kTens[plain.fraction_size];
    if (precision == Precision::kSingle)
      number = static_cast<double>(static_cast<float>(plain.mantissa) /
                                   static_cast<float>(kTens[plain.fraction_size]));
    out.kind = Kind::kDouble;
    out.number = plain.negative ? -number : number;
    out.text = text;
    if (plain.point_at != std::string_view::npos && options.decimal != '.') {
      scratch.assign(text);
      scratch[plain.point_at] = '.';
      out.text = scratch;
    }
    return NumberFault::kNone;
  }

  Digits digits;
  if (!ReadNumber(text, options, {.exponent = precision != Precision::kDecimal}, scratch, digits))
    return NumberFault::kNoNumber;
  double number = 0;
  if (!digits.zero) {
    const std::size_t size = scratch.size();
    if (digits.exponent != 0) {
      scratch += 'e';
      base::AppendDecimal(digits.exponent, scratch);
    }
    const bool found = precision == Precision::kSingle ? Nearest<float>(scratch, number)
                                                       : Nearest<double>(scratch, number);
    scratch.resize(size);
    // The digits of a decimal hold even what is too small for the binary number.
    if (!found && !(precision == Precision::kDecimal && number == 0))
      return NumberFault::kOutOfRange;
  } else if (digits.negative) {
    number = -0.0;
  }
  out.kind = Kind::kDouble;
  out.number = number;
  out.text = {};
  if (digits.exponent == 0) {
    out.text = scratch;
    return NumberFault::kNone;
  }
  const Significant given = DigitsOf(scratch);
  const bool shown = precision == Precision::kSingle ? ShowsDigits<float>(number, given)
                                                     : ShowsDigits<double>(number, given);
  if (ShiftPoint(scratch, digits)) {
    out.text = scratch;
  } else {
    out.narrowed = !shown;
  }
  return NumberFault::kNone;
}

NumberFault ParseNonZero(std::string_view text, const FormatOptions& options, bool& out,
                         bool& unusual, std::string& scratch) {
  Digits digits;
  if (!ReadNumber(text, options, {.exponent = true}, scratch, digits))
    return NumberFault::kNoNumber;
  out = !digits.zero;
  const Significant value = DigitsOf(scratch);
  unusual = out && (value.count != 1 || value.first() != '1' || value.power + digits.exponent != 0);
  return NumberFault::kNone;
}

void AppendDouble(double number, char decimal, std::string& out) {
  if (!std::isfinite(number)) {
    out += std::isnan(number) ? "NaN" : number < 0 ? "-Infinity" : "Infinity";
    return;
  }
  constexpr int kLeastPlain = -10;
  constexpr int kMostPlain = 27;
  Shortest digits(number);
  const int exponent = digits.exponent();
  if (exponent >= kLeastPlain && exponent <= kMostPlain) {
    digits.AppendPlain(decimal, out);
  } else {
    digits.AppendScientific(decimal, out);
  }
}

void AppendPlainDigits(double number, std::string& out) {
  Shortest(number).AppendPlain('.', out);
}

void AppendSingleDigits(float number, std::string& out) {
  Shortest(number).AppendPlain('.', out);
}

void AppendExact(std::string_view digits, char decimal, std::string& out) {
  const std::size_t point = digits.find('.');
  if (point == std::string_view::npos) {
    out += digits;
    return;
  }
  std::size_t end = digits.size();
  while (end > point + 1 && digits[end - 1] == '0') --end;
  out += digits.substr(0, point);
  if (end == point + 1) return;
  out += decimal;
  out += digits.substr(point + 1, end - point - 1);
}

void AppendCurrency(std::int64_t ten_thousandths, char decimal, std::string& out) {
  auto magnitude = static_cast<std::uint64_t>(ten_thousandths);
  if (ten_thousandths < 0) {
    out += '-';
    magnitude = 0 - magnitude;
  }
  base::AppendDecimal(static_cast<std::int64_t>(magnitude / 10'000), out);
  std::uint64_t fraction = magnitude % 10'000;
  if (fraction == 0) return;
  std::array<char, 4> digits{};
  for (std::size_t i = digits.size(); i-- > 0; fraction /= 10)
    digits[i] = static_cast<char>('0' + fraction % 10);
  std::size_t count = digits.size();
  while (digits[count - 1] == '0') --count;
  out += decimal;
  out.append(digits.data(), count);
}

}  // namespace kelvorin::values
