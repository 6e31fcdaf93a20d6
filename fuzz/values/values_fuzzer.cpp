// A text for a field of any type under several conventions: it is refused as a conversion, or its
// value is written as a text that reads back as the same value. Input: the type, the conventions,
// the text.

#include <charconv>
#include <cmath>
#include <cstdint>
#include <string>

#include "base/M_STRING.h"
#include "fuzz/require.h"
#include "tests/values/show.h"
#include "values/value_format.h"

using namespace kelvorin;
using fuzz::Require;
using values::DateOrder;
using values::Kind;
using values::TypeCode;
using values::Value;
using values::ValueFormat;

namespace {

const ValueFormat& FormatOf(std::uint8_t conventions) {
  static const ValueFormat kFormats[] = {
      ValueFormat::Neutral(),
      ValueFormat({.date_order = DateOrder::kDayMonthYear,
                   .decimal = ',',
                   .thousands = '.',
                   .currency = "\xE2\x82\xAC",
                   .date_separator = '.'}),
      ValueFormat(
          {.date_order = DateOrder::kMonthDayYear, .thousands = ' ', .date_separator = '/'}),
      ValueFormat(
          {.date_order = DateOrder::kDayMonthYear, .thousands = '\'', .date_separator = ' '}),
  };
  return kFormats[conventions % 4];
}

/// The exact digits are plain, without superfluous zeros in front, and mean the number.
void CheckDigits(const Value& value, TypeCode type) {
  std::string_view digits = value.text;
  double number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number,
                                            std::chars_format::fixed);
  Require(end == digits.data() + digits.size(), "the digits are plain", digits);
  if (type == TypeCode::kSingle) {
    float single = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), single);
    number = static_cast<double>(single);
  }
  Require(error != std::errc() || number == value.number, "the digits mean the number", digits);
  if (digits.front() == '-') digits.remove_prefix(1);
  Require(digits.front() != '.' && digits.back() != '.' &&
              !(digits.size() > 1 && digits[0] == '0' && digits[1] != '.'),
          "the digits have their shape", digits);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const auto type = static_cast<TypeCode>(data[0] % 26);
  const ValueFormat& format = FormatOf(data[1]);
  const std::string text(reinterpret_cast<const char*>(data) + 2, size - 2);
  Value value, back;
  std::string scratch, back_scratch, written;
  const Status status = format.Parse(text, type, value, scratch);
  if (!status.ok()) {
    const bool known = !values::FieldType(static_cast<std::int16_t>(type)).empty();
    Require(status.code() == (known ? Code::kConversion : Code::kInvalidArgument), "code", text);
    return 0;
  }
  if (value.kind == Kind::kDouble && !value.text.empty()) CheckDigits(value, type);
  format.Append(value, written);
  if (value.IsNull()) {
    Require(written.empty(), "Null is written as nothing", written);
    return 0;
  }
  Require(format.Parse(written, type, back, back_scratch).ok(), "what is written reads", written);
  const bool is_number = value.kind == Kind::kDouble;
  const bool same =
      is_number
          ? value.number == back.number && std::signbit(value.number) == std::signbit(back.number)
          : tests::Show(format, text, type) == tests::Show(format, written, type);
  Require(same, "what is written reads back as the same value", written);
  // A sign in front leads from the short way of plain digits to the general one.
  if (base::IsDigit(text[0]) &&
      (is_number || value.kind == Kind::kInteger || value.kind == Kind::kCurrency))
    Require(tests::Show(format, "+" + text, type) == tests::Show(format, text, type), "both ways",
            text);
  if (type != TypeCode::kDouble && type != TypeCode::kSingle) return 0;
  written.clear();
  format.Append(Value::Double(value.number), written);  // without the digits it was read from
  Require(format.Parse(written, type, back, back_scratch).ok() && back.number == value.number,
          "a number alone is written in full", written);
  return 0;
}
