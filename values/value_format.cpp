#include "values/value_format.h"

#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "base/M_STRING.h"
#include "values/date_text.h"
#include "values/hex_text.h"
#include "values/locale_options.h"
#include "values/number_text.h"

namespace kelvorin::values {
namespace {

constexpr bool IsBlank(char c) noexcept {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

std::string_view WithoutBlanks(std::string_view text) noexcept {
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  return text;
}

/// The text between quotes for a message, shortened when it is long.
std::string Shown(std::string_view text) {
  constexpr std::size_t kLongest = 80;
  if (text.size() <= kLongest) return "'" + std::string(text) + "'";
  std::size_t size = kLongest;
  while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
  return "'" + std::string(text.substr(0, size)) + "...'";
}

Status Refuse(std::string_view text, std::string_view why) {
  return Status(Code::kConversion, Shown(text) + std::string(why));
}

/// Limits of the whole-number types, with their text for messages.
struct Range {
  std::int64_t least;
  std::int64_t most;
  std::string_view words;
};

constexpr Range RangeOf(TypeCode type) noexcept {
  using Limits16 = std::numeric_limits<std::int16_t>;
  using Limits32 = std::numeric_limits<std::int32_t>;
  using Limits64 = std::numeric_limits<std::int64_t>;
  if (type == TypeCode::kByte) return {0, 255, "0 to 255"};
  if (type == TypeCode::kInteger) return {Limits16::min(), Limits16::max(), "-32768 to 32767"};
  if (type == TypeCode::kLong)
    return {Limits32::min(), Limits32::max(), "-2147483648 to 2147483647"};
  return {Limits64::min(), Limits64::max(), "-9223372036854775808 to 9223372036854775807"};
}

Status NumberStatus(NumberFault fault, std::string_view text, TypeCode type) {
  switch (fault) {
    case NumberFault::kNone:
      return Status();
    case NumberFault::kNoNumber:
      return Refuse(text, " is no number");
    case NumberFault::kFraction:
      return Refuse(text, " has a fraction, which a field of type " +
                              std::string(FieldType(static_cast<std::int16_t>(type))) +
                              " cannot hold");
    case NumberFault::kVanishes:
      return Refuse(text, " is too small for type " +
                              std::string(FieldType(static_cast<std::int16_t>(type))) +
                              ": it would become 0");
    case NumberFault::kOutOfRange:
      break;
  }
  std::string range;
  if (type == TypeCode::kByte || type == TypeCode::kInteger || type == TypeCode::kLong ||
      type == TypeCode::kBigInt) {
    range = " (" + std::string(RangeOf(type).words) + ")";
  } else if (type == TypeCode::kCurrency) {
    range = " (-922337203685477.5808 to 922337203685477.5807)";
  }
  return Refuse(text, " is out of range for type " +
                          std::string(FieldType(static_cast<std::int16_t>(type))) + range);
}

Status ParseWhole(std::string_view text, TypeCode type, const FormatOptions& options, Value& out,
                  std::string& scratch) {
  const Range range = RangeOf(type);
  std::int64_t number = 0;
  NumberFault fault = ParseInteger(text, options, number, scratch);
  if (fault == NumberFault::kNone && (number < range.least || number > range.most))
    fault = NumberFault::kOutOfRange;
  if (fault != NumberFault::kNone) return NumberStatus(fault, text, type);
  out.kind = Kind::kInteger;
  out.integer = number;
  return Status();
}

Status ParseMoney(std::string_view text, const FormatOptions& options, Value& out,
                  std::string& scratch) {
  std::int64_t number = 0;
  const NumberFault fault = ParseCurrency(text, options, number, out.narrowed, scratch);
  if (fault != NumberFault::kNone) return NumberStatus(fault, text, TypeCode::kCurrency);
  out.kind = Kind::kCurrency;
  out.integer = number;
  return Status();
}

Status ParseReal(std::string_view text, TypeCode type, Precision precision,
                 const FormatOptions& options, Value& out, std::string& scratch) {
  const NumberFault fault = ParseDouble(text, options, precision, out, scratch);
  if (fault == NumberFault::kNone) [[likely]]
    return Status();
  return NumberStatus(fault, text, type);
}

Status ParseBoolean(std::string_view text, const FormatOptions& options, Value& out,
                    std::string& scratch) {
  constexpr std::array<std::string_view, 6> kYes{"True", "Yes", "On", "T", "Y", ".T."};
  constexpr std::array<std::string_view, 6> kNo{"False", "No", "Off", "F", "N", ".F."};
  for (std::size_t i = 0; i < kYes.size(); ++i) {
    const bool yes = base::EqualIgnoreCase(text, kYes[i]);
    if (!yes && !base::EqualIgnoreCase(text, kNo[i])) continue;
    out.kind = Kind::kBoolean;
    out.boolean = yes;
    return Status();
  }
  if (ParseNonZero(text, options, out.boolean, out.narrowed, scratch) != NumberFault::kNone)
    return Refuse(text, " is neither True nor False");
  out.kind = Kind::kBoolean;
  return Status();
}

int HexDigit(char c) noexcept {
  if (base::IsDigit(c)) return c - '0';
  const char upper = base::ToUpperAscii(c);
  return upper >= 'A' && upper <= 'F' ? upper - 'A' + 10 : -1;
}

Status ParseGuid(std::string_view text, Value& out) {
  constexpr std::string_view kShape = "00000000-0000-0000-0000-000000000000";
  std::string_view body = text;
  if (body.size() == kShape.size() + 2 && body.front() == '{' && body.back() == '}')
    body = body.substr(1, kShape.size());
  bool ok = body.size() == kShape.size();
  Guid guid;
  std::size_t nibble = 0;
  for (std::size_t i = 0; ok && i < kShape.size(); ++i) {
    if (kShape[i] == '-') {
      ok = body[i] == '-';
      continue;
    }
    const int digit = HexDigit(body[i]);
    ok = digit >= 0;
    std::uint8_t& byte = guid.bytes[nibble++ / 2];
    byte = static_cast<std::uint8_t>(byte << 4 | (digit & 15));
  }
  if (!ok) return Refuse(text, " is no GUID of the form {00000000-0000-0000-0000-000000000000}");
  out.kind = Kind::kGuid;
  out.guid = guid;
  return Status();
}

Status ParseBytes(std::string_view text, Value& out, std::string& scratch) {
  scratch.clear();
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const int high = HexDigit(text[i]);
    const int low = i + 1 < text.size() ? HexDigit(text[i + 1]) : -1;
    if (high < 0 || low < 0) return Refuse(text, " is no row of hexadecimal bytes");
    scratch += static_cast<char>(high << 4 | low);
  }
  out.kind = Kind::kBytes;
  out.text = scratch;
  return Status();
}

Status ParseDate(std::string_view text, DateOrder order, Value& out) {
  if (!ParseDateTime(text, order, out))
    return Refuse(text, " is no date in the order " + std::string(DateOrderWords(order)));
  out.kind = Kind::kDateTime;
  return Status();
}

Status ParseTime(std::string_view text, Value& out) {
  if (!ParseTimeOfDay(text, out)) return Refuse(text, " is no time of day of the form hh:mm:ss");
  out.kind = Kind::kDateTime;
  return Status();
}

void AppendGuid(const Guid& guid, std::string& out) {
  out += '{';
  for (std::size_t i = 0; i < guid.bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) out += '-';
    const char byte = static_cast<char>(guid.bytes[i]);
    AppendHex({&byte, 1}, out);
  }
  out += '}';
}

/// Signs that cannot do their work give way to plain ones.
FormatOptions Sound(FormatOptions options) {
  const auto unfit = [](char c) {
    return base::IsDigit(c) || c == '-' || c == '+' || c == '\0' || IsBlank(c) || c == 'e' ||
           c == 'E';
  };
  if (unfit(options.decimal)) options.decimal = '.';
  if (options.thousands == options.decimal ||
      (unfit(options.thousands) && options.thousands != ' '))
    options.thousands = '\0';
  if (std::string_view("/-. ").find(options.date_separator) == std::string_view::npos)
    options.date_separator = '-';
  return options;
}

}  // namespace

ValueFormat::ValueFormat(FormatOptions options) : options_(Sound(std::move(options))) {}

ValueFormat ValueFormat::FromLocale() {
  return ValueFormat(LocaleOptions());
}

const ValueFormat& ValueFormat::Neutral() {
  static const ValueFormat neutral;
  return neutral;
}

Status ValueFormat::Parse(std::string_view text, TypeCode type, Value& out,
                          std::string& scratch) const {
  out.text = {};
  out.narrowed = out.time_only = false;
  if (IsText(type)) {
    out.kind = Kind::kText;
    out.text = text;
    return Status();
  }
  text = WithoutBlanks(text);
  if (text.empty()) {
    out.kind = Kind::kNull;
    return Status();
  }
  switch (type) {
    case TypeCode::kBoolean:
      return ParseBoolean(text, options_, out, scratch);
    case TypeCode::kByte:
    case TypeCode::kInteger:
    case TypeCode::kLong:
    case TypeCode::kBigInt:
      return ParseWhole(text, type, options_, out, scratch);
    case TypeCode::kCurrency:
      return ParseMoney(text, options_, out, scratch);
    case TypeCode::kSingle:
      return ParseReal(text, type, Precision::kSingle, options_, out, scratch);
    case TypeCode::kDouble:
    case TypeCode::kFloat:
      return ParseReal(text, type, Precision::kDouble, options_, out, scratch);
    case TypeCode::kNumeric:
    case TypeCode::kDecimal:
      return ParseReal(text, type, Precision::kDecimal, options_, out, scratch);
    case TypeCode::kDate:
    case TypeCode::kTimeStamp:
      return ParseDate(text, options_.date_order, out);
    case TypeCode::kTime:
      return ParseTime(text, out);
    case TypeCode::kGuid:
      return ParseGuid(text, out);
    case TypeCode::kBinary:
    case TypeCode::kLongBinary:
    case TypeCode::kVarBinary:
      return ParseBytes(text, out, scratch);
    case TypeCode::kText:
    case TypeCode::kMemo:
    case TypeCode::kChar:
      break;
  }
  return Status(Code::kInvalidArgument,
                "no field type has the code " + base::ToDecimal(static_cast<std::int16_t>(type)));
}

void ValueFormat::Append(const Value& value, std::string& out) const {
  switch (value.kind) {
    case Kind::kNull:
      return;
    case Kind::kBoolean:
      out += value.boolean ? "True" : "False";
      return;
    case Kind::kInteger:
      base::AppendDecimal(value.integer, out);
      return;
    case Kind::kDouble:
      if (value.text.empty()) {
        AppendDouble(value.number, options_.decimal, out);
      } else {
        AppendExact(value.text, options_.decimal, out);
      }
      return;
    case Kind::kCurrency:
      AppendCurrency(value.integer, options_.decimal, out);
      return;
    case Kind::kDateTime:
      AppendDateTime(value.date_time, options_.date_order, options_.date_separator, out);
      return;
    case Kind::kText:
      out += value.text;
      return;
    case Kind::kBytes:
      AppendHex(value.text, out);
      return;
    case Kind::kGuid:
      AppendGuid(value.guid, out);
      return;
  }
}

Value SingleValue(float number, std::string& scratch) {
  scratch.clear();
  if (std::isfinite(number)) AppendSingleDigits(number, scratch);
  return Value::Double(static_cast<double>(number), scratch);
}

}  // namespace kelvorin::values
