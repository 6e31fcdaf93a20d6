#pragma once
// Dates and times of day in text form, both ways. Texts come without blanks around them; what is
// not a date as a whole is refused. Used by `ValueFormat`, and by drivers whose servers read ISO
// texts.

#include <cstdint>
#include <string>
#include <string_view>

#include "values/value.h"
#include "values/value_format.h"

namespace kelvorin::values {

/// Reads a date, a time of day (which stands on day 0, and sets `time_only`), or a date followed by
/// a time.
///
/// - A year of four digits in front always means year, month, day: `2020-01-31`, also with `T` or
///   blanks before the time.
/// - Else the three numbers stand in `order`, both separated by the same `/`, `-`, `.` or by
/// blanks;
///   day and month are never swapped. Years of two digits are those of 1930 to 2029.
/// - A month may be an English name or its first three letters: `15 Jan 2020`, `January 15, 2020`,
///   `2020-Jan-15`. Where both other numbers could be the year, `order` decides.
/// - Times are `h:mm[:ss[.fff]]`, 0 to 23 hours, or 1 to 12 with AM or PM behind. Where digits
///   behind the milliseconds are none of zeros, `narrowed` is set and they are left out.
/// - Behind an ISO date the time may end in an offset from UTC (`Z`, `+02`, `+02:00`, `-0930`);
///   date and time are then turned into those of UTC.
bool ParseDateTime(std::string_view text, DateOrder order, Value& out) noexcept;

/// Reads a time of day alone, onto day 0.
bool ParseTimeOfDay(std::string_view text, Value& out) noexcept;

/// "year-month-day", "day/month/year" or "month/day/year", for messages.
std::string_view DateOrderWords(DateOrder order) noexcept;

/// Appends the date in the given order (year first with hyphens, else with `separator`), and the
/// time of day when it is not midnight; on day 0 only the time. Milliseconds only when there are
/// any.
void AppendDateTime(DateTime value, DateOrder order, char separator, std::string& out);

/// "1999-12-31" of a day in the years 1 to 9999.
void AppendIsoDate(std::int32_t day, std::string& out);
/// "23:59:59", with ".999" behind it where there are any milliseconds.
void AppendIsoTime(std::int32_t milliseconds, std::string& out);

}  // namespace kelvorin::values
