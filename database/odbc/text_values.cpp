#include "database/odbc/text_values.h"

#include <algorithm>

#include "base/M_STRING.h"
#include "values/value.h"

namespace kelvorin::database::odbc {
namespace {

using database::TypeCode;

/// Reads shapes from the front of a text.
class Shape {
 public:
  explicit Shape(std::string_view text) noexcept : rest_(text) {}
  bool done() const noexcept { return rest_.empty(); }
  bool Take(std::string_view word) noexcept {
    if (!rest_.starts_with(word)) return false;
    rest_.remove_prefix(word.size());
    return true;
  }
  bool Digits(std::size_t least, std::size_t most) noexcept {
    std::size_t count = 0;
    while (count < rest_.size() && base::IsDigit(rest_[count])) ++count;
    if (count < least || count > most) return false;
    rest_.remove_prefix(count);
    return true;
  }
  /// "12:30:00", and behind a point at most so many digits.
  bool Time(std::size_t hour_digits, std::size_t fraction) noexcept {
    if (!Digits(2, hour_digits) || !Take(":") || !Digits(2, 2) || !Take(":") || !Digits(2, 2))
      return false;
    return !Take(".") || Digits(1, fraction);
  }

 private:
  std::string_view rest_;
};

// What servers keep behind the seconds where they keep anything.
constexpr std::size_t kFraction = 6;

std::size_t FractionOf(Server server, const database::FieldDef& field) noexcept {
  if (server == Server::kSqlite) return 12;  // a text like any other
  if (field.Keeps.time != values::Resolution::Time::kMilliseconds) return 0;
  return static_cast<std::size_t>(std::clamp(field.Decimals, 0, static_cast<int>(kFraction)));
}

/// Whether the year, month and day at the front are a day, or the year lies beyond the engine's.
bool IsCalendarDay(std::string_view text) noexcept {
  const std::size_t year_end = text.find('-');
  if (year_end == std::string_view::npos || year_end < 4 || text.size() < year_end + 6)
    return false;
  const auto number = [&](std::size_t at, std::size_t size) {
    return static_cast<std::int32_t>(base::ParseInteger(text.substr(at, size)));
  };
  const std::int32_t year = year_end == 4 ? number(0, 4) : 2000;  // none tells leap years there
  return values::IsValidDate({year, number(year_end + 1, 2), number(year_end + 4, 2)});
}

bool IsDateOf(Server server, const database::FieldDef& field, std::string_view text) noexcept {
  const bool postgres = server == Server::kPostgres;
  if (postgres && (text == "infinity" || text == "-infinity")) return true;
  if (!text.ends_with(" BC") && !IsCalendarDay(text)) return false;
  Shape shape(text);
  if (!shape.Digits(4, postgres ? 6 : 4) || !shape.Take("-") || !shape.Digits(2, 2) ||
      !shape.Take("-") || !shape.Digits(2, 2))
    return false;
  const bool date_only = field.Keeps.time == values::Resolution::Time::kDateOnly;
  if (!date_only && (shape.Take(" ") || shape.Take("T")) && !shape.done() &&
      !text.ends_with(" BC") && !shape.Time(2, FractionOf(server, field)))
    return false;
  if (postgres && text.ends_with(" BC")) {
    Shape before(text.substr(0, text.size() - 3));
    return before.Digits(4, 4) && before.Take("-") && before.Digits(2, 2) && before.Take("-") &&
           before.Digits(2, 2) &&
           (before.done() || (!date_only && before.Take(" ") &&
                              before.Time(2, FractionOf(server, field)) && before.done()));
  }
  return shape.done();
}

}  // namespace

bool ServerTakes(Server server, const database::FieldDef& field, std::string_view text) noexcept {
  if (server == Server::kOther) return false;
  if (field.Type == TypeCode::kDate || field.Type == TypeCode::kTimeStamp)
    return IsDateOf(server, field, text);
  if (field.Type == TypeCode::kTime) {
    if (server == Server::kMariaDb && text.starts_with('-')) text.remove_prefix(1);
    Shape shape(text);  // MariaDB's times are spans of up to 838 hours
    return shape.Time(server == Server::kMariaDb ? 3 : 2, FractionOf(server, field)) &&
           shape.done();
  }
  if (server == Server::kPostgres && field.Type == TypeCode::kCurrency) {
    // its money goes beyond the engine's
    if (text.starts_with('-')) text.remove_prefix(1);
    Shape shape(text);
    return shape.Digits(1, 17) && (!shape.Take(".") || shape.Digits(1, 2)) && shape.done();
  }
  const bool endless = field.Type == TypeCode::kDouble || field.Type == TypeCode::kSingle ||
                       field.Keeps.number == values::Resolution::Number::kAllDigits;
  return server == Server::kPostgres && endless &&
         (text == "NaN" || text == "Infinity" || text == "-Infinity");
}

}  // namespace kelvorin::database::odbc
