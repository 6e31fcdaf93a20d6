#pragma once
// How finely a field keeps what it is given, and what that makes of a value: the one rule by which
// every kind of table tells a value that is stored as it is from one that is rounded, loses its
// time of day, or would lose all that it says.
//
// A driver does nothing per value: it describes each of its fields once, when it describes the
// table (`FieldDef::Keeps`). Only what depends on the bytes themselves, characters that a code page
// lacks, is counted by the driver while it writes.

#include <cstdint>
#include <string>

#include "values/field_types.h"
#include "values/value.h"
#include "values/value_format.h"

namespace kelvorin::values {

struct Resolution {
  /// What is kept of a number.
  enum class Number : std::uint8_t {
    kByType,     // what follows from the field's type, see `ResolutionOf`
    kAllDigits,  // every digit
    kDecimals,   // `decimals` digits behind the point; 0 makes a field of whole numbers
    kDouble,     // the nearest 64-bit binary number
    kSingle,     // the nearest 32-bit binary number
  };
  /// What is kept of a date and time of day.
  enum class Time : std::uint8_t { kMilliseconds, kSeconds, kDateOnly };

  Number number = Number::kByType;
  std::uint8_t decimals = 0;
  Time time = Time::kMilliseconds;
  bool null_is_false = false;  // a truth value that cannot be Null
  bool operator==(const Resolution&) const = default;
};

/// `declared` with everything settled that it leaves to the field's type: whole numbers have no
/// decimals, Currency has 4, Numeric and Decimal have `decimals`, the others are binary numbers.
Resolution ResolutionOf(TypeCode type, std::int32_t decimals, Resolution declared) noexcept;

/// What becomes of a value in a field.
enum class Fit : std::uint8_t {
  kWhole,     // it reads back as it was
  kChanged,   // something of it is lost: digits, the time of day, that it was Null
  kFraction,  // refused: a number with a fraction in a field of whole numbers
  kVanishes,  // refused: a number other than 0 that would become 0
  kNoDate,    // refused: a time of day without a date in a field that keeps dates only
};
constexpr bool IsRefused(Fit fit) noexcept {
  return fit >= Fit::kFraction;
}

/// `resolution` comes from `ResolutionOf`. A binary number keeps digits when it shows the same ones
/// written with as many of them: 0.1 and 0.10000000000000001 are kept by a Double, 16777217 is not
/// by a Single. Texts, bytes and GUID fit; that a text is too long, or a number too large, is found
/// by whoever writes it. Allocates nothing.
Fit FitOf(const Value& value, const Resolution& resolution) noexcept;

/// Appends what a field keeps of a value that does not fit whole (`kChanged`), for messages about
/// fields that cannot be read back. Decimals are rounded half away from zero.
void AppendKept(const Value& value, const Resolution& resolution, const ValueFormat& format,
                std::string& out);

}  // namespace kelvorin::values
