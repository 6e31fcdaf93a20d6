#include "values/date_text.h"

#include <array>

#include "base/M_STRING.h"

namespace kelvorin::values {
namespace {

using base::IsDigit;

constexpr std::array<std::string_view, 12> kMonths{"January",   "February", "March",    "April",
                                                   "May",       "June",     "July",     "August",
                                                   "September", "October",  "November", "December"};

constexpr std::int32_t kMinute = 60'000;
constexpr std::int32_t kHour = 60 * kMinute;

constexpr bool IsLetter(char c) noexcept {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// A number with the count of its digits, which tells years from days.
struct Number {
  std::int32_t value = 0;
  std::size_t digits = 0;
};

/// Reads from the front of a text; a failed read leaves it where it was or behind what it looked
/// at.
class Cursor {
 public:
  explicit Cursor(std::string_view text) noexcept : text_(text) {}

  bool done() const noexcept { return text_.empty(); }
  char next() const noexcept { return text_.empty() ? '\0' : text_.front(); }
  std::string_view rest() const noexcept { return text_; }

  bool Take(char c) noexcept {
    if (next() != c || text_.empty()) return false;
    text_.remove_prefix(1);
    return true;
  }
  bool TakeBlanks() noexcept {
    const std::size_t before = text_.size();
    text_ = base::TrimLeft(text_, base::kBlankOrTab);
    return text_.size() != before;
  }
  /// A number of at most `most` digits; one digit more is a failure.
  bool TakeNumber(std::size_t most, Number& out) noexcept {
    out = {};
    while (IsDigit(next())) {
      if (++out.digits > most) return false;
      out.value = out.value * 10 + (next() - '0');
      text_.remove_prefix(1);
    }
    return out.digits > 0;
  }
  std::string_view TakeLetters() noexcept {
    std::size_t size = 0;
    while (size < text_.size() && IsLetter(text_[size])) ++size;
    const std::string_view letters = text_.substr(0, size);
    text_.remove_prefix(size);
    return letters;
  }

 private:
  std::string_view text_;
};

/// 1 to 12, or 0 when it is no month's name.
std::int32_t MonthFromName(std::string_view name) noexcept {
  for (std::size_t i = 0; i < kMonths.size(); ++i) {
    if (base::EqualIgnoreCase(name, kMonths[i]) ||
        base::EqualIgnoreCase(name, kMonths[i].substr(0, 3)))
      return static_cast<std::int32_t>(i) + 1;
  }
  return 0;
}

/// Years have four digits or, by the window, two.
bool ReadYear(Number number, std::int32_t& year) noexcept {
  if (number.digits != 2 && number.digits != 4) return false;
  year = number.value;
  if (number.digits == 2) year += number.value < 30 ? 2000 : 1900;
  return true;
}

bool MakeDay(Number year, Number month, Number day, DateTime& out) noexcept {
  CivilDate date;
  if (!ReadYear(year, date.year) || month.digits > 2 || day.digits > 2) return false;
  date.month = month.value;
  date.day = day.value;
  if (!IsValidDate(date)) return false;
  out.day = ToDay(date);
  return true;
}

/// Milliseconds behind the seconds' point; `narrowed` is set when they are not all it says.
bool TakeFraction(Cursor& in, std::int32_t& milliseconds, bool& narrowed) noexcept {
  if (!IsDigit(in.next())) return false;
  std::int32_t unit = 100;
  for (; IsDigit(in.next()); in.Take(in.next())) {
    const std::int32_t digit = in.next() - '0';
    if (unit == 0 && digit != 0) narrowed = true;
    milliseconds += digit * unit;
    unit /= 10;
  }
  return true;
}

/// "Z", "+02", "+02:00" or "+0200" behind a time of day: the minutes that it is ahead of UTC.
bool TakeOffset(Cursor& in, std::int32_t& minutes) noexcept {
  if (in.Take('Z') || in.Take('z')) return true;
  const bool behind = in.next() == '-';
  if (!in.Take(behind ? '-' : '+')) return false;
  Number hours, rest;
  if (!in.TakeNumber(4, hours)) return false;
  if (hours.digits == 4) {
    rest.value = hours.value % 100;
    hours.value /= 100;
  } else if (hours.digits != 2 || (in.Take(':') && (!in.TakeNumber(2, rest) || rest.digits != 2))) {
    return false;
  }
  if (hours.value > 15 || rest.value > 59) return false;
  minutes = (hours.value * 60 + rest.value) * (behind ? -1 : 1);
  return true;
}

/// Takes the minutes away; false when the day would lie outside the calendar.
bool ToUtc(DateTime& time, std::int32_t minutes) noexcept {
  std::int32_t rest = time.milliseconds - minutes * kMinute;
  if (rest < 0) {
    rest += 24 * kHour;
    --time.day;
  } else if (rest >= 24 * kHour) {
    rest -= 24 * kHour;
    ++time.day;
  }
  time.milliseconds = rest;
  return IsValidDate(FromDay(time.day));
}

/// A time of day up to the end of the text. Behind an ISO date it may have an offset from UTC, by
/// which date and time are turned into those of UTC.
bool TakeTime(Cursor& in, Value& out, bool with_offset) noexcept {
  Number hour, minute, second;
  if (!in.TakeNumber(2, hour) || !in.Take(':')) return false;
  if (!in.TakeNumber(2, minute) || minute.digits != 2) return false;
  std::int32_t milliseconds = 0;
  if (in.Take(':')) {
    if (!in.TakeNumber(2, second) || second.digits != 2) return false;
    if (in.Take('.') && !TakeFraction(in, milliseconds, out.narrowed)) return false;
  }
  in.TakeBlanks();
  std::int32_t offset = 0;
  if (!in.done() && !(with_offset && TakeOffset(in, offset) && in.done())) {
    const std::string_view half = in.TakeLetters();
    const bool pm = base::EqualIgnoreCase(half, "PM");
    if ((!pm && !base::EqualIgnoreCase(half, "AM")) || !in.done()) return false;
    if (hour.value < 1 || hour.value > 12) return false;
    hour.value = hour.value % 12 + (pm ? 12 : 0);
  }
  if (hour.value > 23 || minute.value > 59 || second.value > 59) return false;
  out.date_time.milliseconds =
      hour.value * kHour + minute.value * kMinute + second.value * 1000 + milliseconds;
  return offset == 0 || ToUtc(out.date_time, offset);
}

/// One separator between the parts of a date; a blank for blanks alone, the character 0 for none.
char TakeSeparator(Cursor& in) noexcept {
  char found = in.TakeBlanks() ? ' ' : '\0';
  for (const char c : {'/', '-', '.', ','}) {
    if (in.Take(c)) {
      found = c;
      break;
    }
  }
  in.TakeBlanks();
  return found;
}

/// The rest of a date of three numbers whose first is taken.
bool TakeNumbers(Cursor& in, Number first, char separator, DateOrder order,
                 DateTime& out) noexcept {
  Number second, third;
  if (separator == ',' || !in.TakeNumber(2, second)) return false;
  if (TakeSeparator(in) != separator || !in.TakeNumber(4, third)) return false;
  if (first.digits == 4) order = DateOrder::kYearMonthDay;
  switch (order) {
    case DateOrder::kDayMonthYear:
      return MakeDay(third, second, first, out);
    case DateOrder::kMonthDayYear:
      return MakeDay(third, first, second, out);
    case DateOrder::kYearMonthDay:
      return MakeDay(first, second, third, out);
  }
  return false;
}

/// The rest of a date whose month is a name in the middle.
bool TakeNamedMonth(Cursor& in, Number first, DateOrder order, DateTime& out) noexcept {
  Number month, last;
  month.value = MonthFromName(in.TakeLetters());
  if (month.value == 0 || TakeSeparator(in) == '\0' || !in.TakeNumber(4, last)) return false;
  const bool year_first =
      first.digits == 4 || (order == DateOrder::kYearMonthDay && last.digits != 4);
  return year_first ? MakeDay(first, month, last, out) : MakeDay(last, month, first, out);
}

bool TakeDate(Cursor& in, DateOrder order, DateTime& out, bool& iso) noexcept {
  Number first;
  if (IsLetter(in.next())) {
    Number month, day, year;
    month.value = MonthFromName(in.TakeLetters());
    return month.value != 0 && TakeSeparator(in) != '\0' && in.TakeNumber(2, day) &&
           TakeSeparator(in) != '\0' && in.TakeNumber(4, year) && MakeDay(year, month, day, out);
  }
  if (!in.TakeNumber(4, first)) return false;
  const char separator = TakeSeparator(in);
  if (separator == '\0') return false;
  if (IsLetter(in.next())) return TakeNamedMonth(in, first, order, out);
  iso = first.digits == 4 && separator == '-';
  return TakeNumbers(in, first, separator, order, out);
}

constexpr std::int32_t TwoDigits(const char* at) noexcept {
  return (at[0] - '0') * 10 + (at[1] - '0');
}

/// `yyyy-mm-dd`, alone or before a time, as nearly every file has it; false leaves the text to the
/// general way.
bool ParsePlainIso(std::string_view text, Value& out) noexcept {
  constexpr std::string_view kShape = "0000-00-00";
  if (text.size() < kShape.size()) return false;
  for (std::size_t i = 0; i < kShape.size(); ++i) {
    if (kShape[i] == '-' ? text[i] != '-' : !IsDigit(text[i])) return false;
  }
  const CivilDate date{TwoDigits(text.data()) * 100 + TwoDigits(text.data() + 2),
                       TwoDigits(text.data() + 5), TwoDigits(text.data() + 8)};
  if (!IsValidDate(date)) return false;
  out.date_time = {ToDay(date), 0};
  if (text.size() == kShape.size()) return true;
  Cursor in(text.substr(kShape.size()));
  if (!in.Take('T') && !in.Take(' ')) return false;
  return TakeTime(in, out, true);
}

void AppendPadded(std::int32_t number, std::size_t digits, std::string& out) {
  std::array<char, 4> text{};
  for (std::size_t i = digits; i-- > 0; number /= 10)
    text[i] = static_cast<char>('0' + number % 10);
  out.append(text.data(), digits);
}

}  // namespace

bool ParseDateTime(std::string_view text, DateOrder order, Value& out) noexcept {
  out.time_only = out.narrowed = false;
  if (ParsePlainIso(text, out)) return true;
  out.narrowed = false;
  out.time_only = ParseTimeOfDay(text, out);
  if (out.time_only) return true;
  Cursor in(text);
  bool iso = false;
  out.date_time = {};
  if (!TakeDate(in, order, out.date_time, iso)) return false;
  if (in.done()) return true;
  if (!(iso && in.Take('T')) && !in.TakeBlanks()) return false;
  return TakeTime(in, out, iso);
}

bool ParseTimeOfDay(std::string_view text, Value& out) noexcept {
  Cursor in(text);
  out.date_time = {};
  out.narrowed = false;
  return TakeTime(in, out, false);
}

std::string_view DateOrderWords(DateOrder order) noexcept {
  switch (order) {
    case DateOrder::kDayMonthYear:
      return "day/month/year";
    case DateOrder::kMonthDayYear:
      return "month/day/year";
    case DateOrder::kYearMonthDay:
      return "year-month-day";
  }
  return {};
}

void AppendDateTime(DateTime value, DateOrder order, char separator, std::string& out) {
  if (value.day != 0) {
    const CivilDate date = FromDay(value.day);
    switch (order) {
      case DateOrder::kDayMonthYear:
        AppendPadded(date.day, 2, out);
        out += separator;
        AppendPadded(date.month, 2, out);
        out += separator;
        AppendPadded(date.year, 4, out);
        break;
      case DateOrder::kMonthDayYear:
        AppendPadded(date.month, 2, out);
        out += separator;
        AppendPadded(date.day, 2, out);
        out += separator;
        AppendPadded(date.year, 4, out);
        break;
      case DateOrder::kYearMonthDay:
        AppendIsoDate(value.day, out);
        break;
    }
    if (value.milliseconds == 0) return;
    out += ' ';
  }
  AppendIsoTime(value.milliseconds, out);
}

void AppendIsoDate(std::int32_t day, std::string& out) {
  const CivilDate date = FromDay(day);
  AppendPadded(date.year, 4, out);
  out += '-';
  AppendPadded(date.month, 2, out);
  out += '-';
  AppendPadded(date.day, 2, out);
}

void AppendIsoTime(std::int32_t milliseconds, std::string& out) {
  AppendPadded(milliseconds / kHour, 2, out);
  out += ':';
  AppendPadded(milliseconds / kMinute % 60, 2, out);
  out += ':';
  AppendPadded(milliseconds / 1000 % 60, 2, out);
  if (milliseconds % 1000 == 0) return;
  out += '.';
  AppendPadded(milliseconds % 1000, 3, out);
}

}  // namespace kelvorin::values
