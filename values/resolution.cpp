#include "values/resolution.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>

#include "values/decimal_digits.h"
#include "values/number_text.h"
#include "values/significant_digits.h"

namespace kelvorin::values {
namespace {

using Number = Resolution::Number;
using Time = Resolution::Time;

constexpr int kCurrencyDecimals = 4;
// Digits that every binary number of 64 bits shows as they were written, and the first whole number
// with more.
constexpr std::size_t kSurelyShown = std::numeric_limits<double>::digits10;
constexpr std::int64_t kMoreThanShown = 1'000'000'000'000'000;

Fit InDecimals(const Significant& digits, int decimals) noexcept {
  if (digits.zero() || digits.last_power() >= -decimals) return Fit::kWhole;
  if (decimals == 0) return Fit::kFraction;
  const bool stays =
      digits.power >= -decimals || (digits.power == -decimals - 1 && digits.first() >= '5');
  return stays ? Fit::kChanged : Fit::kVanishes;
}

// `number` is the value, `digits` what is known of its decimal form.
Fit FitNumber(double number, const Significant& digits, const Resolution& resolution) noexcept {
  switch (resolution.number) {
    case Number::kByType:
    case Number::kAllDigits:
      return Fit::kWhole;
    case Number::kDecimals:
      return InDecimals(digits, resolution.decimals);
    case Number::kDouble:
      return ShowsDigits<double>(number, digits) ? Fit::kWhole : Fit::kChanged;
    case Number::kSingle: {
      if (std::abs(number) > static_cast<double>(std::numeric_limits<float>::max()))
        return Fit::kWhole;  // too large, which whoever writes it says
      const auto kept = static_cast<double>(static_cast<float>(number));
      if (kept == 0 && !digits.zero()) return Fit::kVanishes;
      return ShowsDigits<float>(kept, digits) ? Fit::kWhole : Fit::kChanged;
    }
  }
  return Fit::kWhole;
}

// Whether plain digits fit by their count alone, as nearly all do.
bool SurelyFits(std::string_view digits, const Resolution& resolution) noexcept {
  if (resolution.number == Number::kDouble) return digits.size() <= kSurelyShown;
  if (resolution.number != Number::kDecimals) return false;
  const std::size_t point = digits.find('.');
  return point == std::string_view::npos || digits.size() - point - 1 <= resolution.decimals;
}

Fit FitDouble(const Value& value, const Resolution& resolution) noexcept {
  if (!std::isfinite(value.number)) return Fit::kWhole;
  if (!value.text.empty() && !value.narrowed && SurelyFits(value.text, resolution))
    return Fit::kWhole;
  DigitRoom room;
  const Significant digits =
      value.text.empty() ? DigitsOf(value.number, 0, room) : DigitsOf(value.text);
  const Fit fit = FitNumber(value.number, digits, resolution);
  return fit == Fit::kWhole && value.narrowed ? Fit::kChanged : fit;
}

Fit FitWhole(std::int64_t integer, int power, const Resolution& resolution) noexcept {
  if (resolution.number == Number::kDecimals && power <= resolution.decimals) return Fit::kWhole;
  if (resolution.number == Number::kDouble && integer < kMoreThanShown && integer > -kMoreThanShown)
    return Fit::kWhole;
  std::array<char, 24> room{};
  const auto end = std::to_chars(room.data(), room.data() + room.size(), integer).ptr;
  Significant digits =
      DigitsOf(std::string_view(room.data(), static_cast<std::size_t>(end - room.data())));
  digits.power -= power;
  const double number = static_cast<double>(integer) / (power == 0 ? 1.0 : 10'000.0);
  return FitNumber(number, digits, resolution);
}

Fit FitDate(const Value& value, const Resolution& resolution) noexcept {
  const std::int32_t rest = value.date_time.milliseconds;
  switch (resolution.time) {
    case Time::kMilliseconds:
      return value.narrowed ? Fit::kChanged : Fit::kWhole;
    case Time::kSeconds:
      return rest % 1000 == 0 && !value.narrowed ? Fit::kWhole : Fit::kChanged;
    case Time::kDateOnly:
      break;
  }
  if (value.time_only || (value.date_time.day == 0 && rest != 0)) return Fit::kNoDate;
  return rest == 0 ? Fit::kWhole : Fit::kChanged;
}

Value Binary(double number, const Resolution& resolution, std::string& digits) {
  return resolution.number == Number::kSingle ? SingleValue(static_cast<float>(number), digits)
                                              : Value::Double(number);
}

void AppendRounded(std::string_view digits, std::size_t decimals, char decimal, std::string& out) {
  std::string room(digits.size() + decimals + 1, '\0');
  RoundedDigits parts;
  (void)RoundDigits(digits, decimals, room, parts);  // there is room
  std::string kept = parts.negative ? "-" : "";
  kept += parts.whole.empty() ? "0" : parts.whole;
  kept.append(".").append(parts.fraction);
  AppendExact(kept, decimal, out);
}

}  // namespace

Resolution ResolutionOf(TypeCode type, std::int32_t decimals, Resolution declared) noexcept {
  if (declared.number == Number::kDecimals || declared.number == Number::kByType)
    declared.decimals = static_cast<std::uint8_t>(std::clamp(decimals, 0, 255));
  if (declared.number != Number::kByType) return declared;
  declared.number = Number::kDecimals;
  switch (type) {
    case TypeCode::kSingle:
      declared.number = Number::kSingle;
      break;
    case TypeCode::kDouble:
    case TypeCode::kFloat:
      declared.number = Number::kDouble;
      break;
    case TypeCode::kCurrency:
      declared.decimals = kCurrencyDecimals;
      break;
    case TypeCode::kNumeric:
    case TypeCode::kDecimal:
      break;
    default:
      if (!IsNumber(type)) declared.number = Number::kAllDigits;
      declared.decimals = 0;
  }
  return declared;
}

Fit FitOf(const Value& value, const Resolution& resolution) noexcept {
  switch (value.kind) {
    case Kind::kNull:
      return resolution.null_is_false ? Fit::kChanged : Fit::kWhole;
    case Kind::kInteger:
      return FitWhole(value.integer, 0, resolution);
    case Kind::kCurrency: {
      const Fit fit = FitWhole(value.integer, kCurrencyDecimals, resolution);
      return fit == Fit::kWhole && value.narrowed ? Fit::kChanged : fit;
    }
    case Kind::kDouble:
      return FitDouble(value, resolution);
    case Kind::kDateTime:
      return FitDate(value, resolution);
    case Kind::kBoolean:
      return value.narrowed ? Fit::kChanged : Fit::kWhole;
    case Kind::kText:
    case Kind::kBytes:
    case Kind::kGuid:
      return Fit::kWhole;
  }
  return Fit::kWhole;
}

void AppendKept(const Value& value, const Resolution& resolution, const ValueFormat& format,
                std::string& out) {
  Value kept = value;
  std::string digits;
  switch (value.kind) {
    case Kind::kNull:
      kept = Value::Boolean(false);
      break;
    case Kind::kDouble:
      if (resolution.number == Number::kDecimals && std::isfinite(value.number)) {
        digits = value.text;
        if (digits.empty()) AppendPlainDigits(value.number, digits);
        return AppendRounded(digits, resolution.decimals, format.options().decimal, out);
      }
      kept = Binary(value.number, resolution, digits);
      break;
    case Kind::kCurrency:
      if (resolution.number == Number::kDecimals && resolution.decimals < kCurrencyDecimals) {
        ValueFormat::Neutral().Append(value, digits);
        return AppendRounded(digits, resolution.decimals, format.options().decimal, out);
      }
      if (resolution.number != Number::kDecimals)
        kept = Binary(static_cast<double>(value.integer) / 10'000, resolution, digits);
      break;
    case Kind::kInteger:
      kept = Binary(static_cast<double>(value.integer), resolution, digits);
      break;
    case Kind::kDateTime:
      if (resolution.time == Time::kSeconds)
        kept.date_time.milliseconds -= kept.date_time.milliseconds % 1000;
      if (resolution.time == Time::kDateOnly) kept.date_time.milliseconds = 0;
      break;
    case Kind::kBoolean:
    case Kind::kText:
    case Kind::kBytes:
    case Kind::kGuid:
      break;
  }
  format.Append(kept, out);
}

}  // namespace kelvorin::values
