#pragma once
// Numbers in text form, both ways: signs, grouped thousands, the decimal sign, exponents, currency
// signs. Texts come without blanks around them; what is not a number as a whole is refused. Used by
// `ValueFormat` only.

#include <cstdint>
#include <string>
#include <string_view>

#include "values/value.h"
#include "values/value_format.h"

namespace kelvorin::values {

/// Why a text is not the wanted number.
enum class NumberFault : std::uint8_t { kNone, kNoNumber, kOutOfRange, kFraction, kVanishes };

/// A whole number of 64 bits. A fraction of zeros ("12.00") is allowed, any other is `kFraction`.
NumberFault ParseInteger(std::string_view text, const FormatOptions& options, std::int64_t& out,
                         std::string& scratch);

/// Ten-thousandths, rounded half away from zero from the decimal digits themselves; `rounded` tells
/// whether that lost any. A number other than 0 that would become 0 is `kVanishes`.
NumberFault ParseCurrency(std::string_view text, const FormatOptions& options, std::int64_t& out,
                          bool& rounded, std::string& scratch);

enum class Precision : std::uint8_t {
  kSingle,   // nearest 32-bit number; exponents allowed
  kDouble,   // nearest 64-bit number; exponents allowed
  kDecimal,  // the digits themselves count; no exponents
};
/// Gives a kDouble value. Its exact digits point into `text` when they stand there already, else
/// into `scratch`; they are left out when an exponent would make them longer than 40 digits. A
/// number that is not 0 never becomes 0 or infinite: that is `kOutOfRange`. `out.narrowed` is set
/// when digits were left out that the binary number does not show either.
NumberFault ParseDouble(std::string_view text, const FormatOptions& options, Precision precision,
                        Value& out, std::string& scratch);

/// Whether the text is a number at all, whether it is then other than 0, and whether it is none of
/// 0, 1 and -1.
NumberFault ParseNonZero(std::string_view text, const FormatOptions& options, bool& out,
                         bool& unusual, std::string& scratch);

/// Appends the shortest digits that read back as the same number; plain digits while the number is
/// of a common size, an exponent outside it.
void AppendDouble(double number, char decimal, std::string& out);
/// Appends the shortest plain digits that read back as the same finite 32-bit number, with a point.
void AppendSingleDigits(float number, std::string& out);
/// The same of a 64-bit number.
void AppendPlainDigits(double number, std::string& out);
/// Appends exact digits without the zeros at the end of their fraction.
void AppendExact(std::string_view digits, char decimal, std::string& out);
void AppendCurrency(std::int64_t ten_thousandths, char decimal, std::string& out);

}  // namespace kelvorin::values
