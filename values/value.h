#pragma once
// One field value on its way between text and a driver: a small tagged record that owns nothing.
// Drivers read and write these; only `ValueFormat` turns them into text and back.

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>

namespace kelvorin::values {

/// A date and a time of day. Day 0 is 1899-12-30, negative before it; a value that is only a time
/// stands on day 0. Valid days are those of the years 1 to 9999.
struct DateTime {
  std::int32_t day = 0;
  std::int32_t milliseconds = 0;  // of the day, 0 to 86,399,999
  auto operator<=>(const DateTime&) const = default;
};

struct CivilDate {
  std::int32_t year = 0, month = 0, day = 0;
  bool operator==(const CivilDate&) const = default;
};
/// Proleptic Gregorian calendar, both ways. `ToDay` expects a valid date (see IsValidDate).
std::int32_t ToDay(CivilDate date) noexcept;
CivilDate FromDay(std::int32_t day) noexcept;
bool IsValidDate(CivilDate date) noexcept;  // years 1 to 9999

/// Julian day number of day 0 (1899-12-30), for formats that count from there.
inline constexpr std::int32_t kJulianDayOfDayZero = 2415019;

struct Guid {
  std::array<std::uint8_t, 16> bytes{};  // in the order in which the text form shows them
  bool operator==(const Guid&) const = default;
};

enum class Kind : std::uint8_t {
  kNull,
  kBoolean,   // boolean
  kInteger,   // integer
  kDouble,    // number; `text` holds the exact decimal digits when they are known
  kCurrency,  // integer = value * 10000
  kDateTime,  // date_time
  kText,      // text, in the ANSI code page
  kBytes,     // text, raw
  kGuid,      // guid
};

/// A set of kinds, e.g. those that a field stores as they are.
class KindSet {
 public:
  constexpr KindSet() noexcept = default;
  constexpr KindSet(std::initializer_list<Kind> kinds) noexcept {
    for (const Kind kind : kinds) bits_ |= 1u << static_cast<unsigned>(kind);
  }
  constexpr bool Has(Kind kind) const noexcept {
    return (bits_ >> static_cast<unsigned>(kind) & 1) != 0;
  }

 private:
  std::uint32_t bits_ = 0;
};

/// `text` points to memory of whoever made the value: the caller's text, or a driver's row buffer,
/// which lives until the record set moves or the field is assigned.
///
/// For kDouble, `text` is either empty or the exact decimal form of the number: an optional "-",
/// digits without superfluous leading zeros, and optionally "." and digits (no exponent). Formats
/// that store decimal digits take it instead of the binary `number`, so that no digit is lost.
struct Value {
  Kind kind = Kind::kNull;
  bool boolean = false;
  std::int64_t integer = 0;
  double number = 0;
  DateTime date_time{};
  std::string_view text{};
  Guid guid{};
  /// The text that this was read from says more than the value holds: digits beyond the binary
  /// number's or a Currency's, a truth value given as another number than 0, 1 and -1. Not set for
  /// digits that `text` holds.
  bool narrowed = false;
  bool time_only = false;  // of a kDateTime: the text that it was read from names no date

  bool IsNull() const noexcept { return kind == Kind::kNull; }

  static Value Null() noexcept { return {}; }
  static Value Boolean(bool b) noexcept {
    Value v;
    v.kind = Kind::kBoolean;
    v.boolean = b;
    return v;
  }
  static Value Integer(std::int64_t i) noexcept {
    Value v;
    v.kind = Kind::kInteger;
    v.integer = i;
    return v;
  }
  static Value Double(double d, std::string_view exact = {}) noexcept {
    Value v;
    v.kind = Kind::kDouble;
    v.number = d;
    v.text = exact;
    return v;
  }
  static Value Currency(std::int64_t ten_thousandths) noexcept {
    Value v;
    v.kind = Kind::kCurrency;
    v.integer = ten_thousandths;
    return v;
  }
  static Value Date(DateTime d) noexcept {
    Value v;
    v.kind = Kind::kDateTime;
    v.date_time = d;
    return v;
  }
  static Value Text(std::string_view t) noexcept {
    Value v;
    v.kind = Kind::kText;
    v.text = t;
    return v;
  }
  static Value Bytes(std::string_view raw) noexcept {
    Value v;
    v.kind = Kind::kBytes;
    v.text = raw;
    return v;
  }
  static Value OfGuid(const Guid& g) noexcept {
    Value v;
    v.kind = Kind::kGuid;
    v.guid = g;
    return v;
  }
};

}  // namespace kelvorin::values
