#pragma once
// The one place where text becomes a typed value and a value becomes text: dates, numbers, Boolean,
// GUID, in the host's or the locale's conventions. Used by the database interface for every
// assignment and reading; no other room parses or prints a value.

#include <cstdint>
#include <string>
#include <string_view>

#include "base/status.h"
#include "values/field_types.h"
#include "values/value.h"

namespace kelvorin::values {

enum class DateOrder : std::uint8_t { kDayMonthYear, kMonthDayYear, kYearMonthDay };

/// Plain conventions; hosts may set each.
struct FormatOptions {
  DateOrder date_order = DateOrder::kYearMonthDay;
  char decimal = '.';
  char thousands = ',';        // '\0' none; must differ from `decimal`
  std::string currency = "$";  // sign accepted before or after a Currency value
  char date_separator = '-';   // used when a date is written in another order than year first
};

class ValueFormat {
 public:
  ValueFormat() = default;
  explicit ValueFormat(FormatOptions options);
  /// The conventions of the environment's locale (LC_TIME, LC_NUMERIC, LC_MONETARY); ISO dates and
  /// a point in the C locale.
  static ValueFormat FromLocale();

  const FormatOptions& options() const noexcept { return options_; }

  /// Text to a value of a field of type `type`. Blanks around a value are ignored for every type
  /// but text. An empty (or all blank) text gives Null for every type but text; for text types the
  /// value is the text itself.
  /// `scratch` may receive the exact digits that `out.text` then points to; it must live as long as
  /// `out`. Fails with `kConversion`, the message naming the text and what was expected
  /// ("'13/1/2020' is no date in the order month/day/year"); overflow is a failure, never a guess.
  /// Never allocates once `scratch` has grown.
  Status Parse(std::string_view text, TypeCode type, Value& out, std::string& scratch) const;

  /// Appends the text of a value; Null appends nothing. Numbers with every digit needed to read
  /// back the same value and no trailing zeros, dates as date, time of day only when it is not
  /// midnight (only the time on day 0), Boolean as True/False, GUID in braces, bytes as
  /// hexadecimal. What is written reads back through `Parse` of the same object.
  void Append(const Value& value, std::string& out) const;

  /// The same with fixed conventions for other programs: point, ISO dates `yyyy-mm-dd[ hh:mm:ss]`.
  static const ValueFormat& Neutral();

 private:
  FormatOptions options_;
};

/// A 32-bit number as a value. `scratch` takes the shortest digits that read back as the same
/// 32-bit number, which `text` then shows: 0.1 reads "0.1" and not 0.10000000149011612.
Value SingleValue(float number, std::string& scratch);

}  // namespace kelvorin::values
