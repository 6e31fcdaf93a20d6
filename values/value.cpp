#include "values/value.h"

namespace kelvorin::values {
namespace {

constexpr std::int32_t kDayZeroFrom1970 = -25569;  // 1899-12-30 in days from 1970-01-01

constexpr bool IsLeap(std::int32_t y) noexcept {
  return y % 4 == 0 && (y % 100 != 0 || y % 400 == 0);
}

}  // namespace

bool IsValidDate(CivilDate date) noexcept {
  constexpr std::int32_t kLast[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (date.year < 1 || date.year > 9999 || date.month < 1 || date.month > 12) return false;
  const std::int32_t last = date.month == 2 && IsLeap(date.year) ? 29 : kLast[date.month - 1];
  return date.day >= 1 && date.day <= last;
}

// Days are counted in eras of 400 years (146097 days) that begin on 1 March, so that the leap day
// is the last of its year.
std::int32_t ToDay(CivilDate date) noexcept {
  const std::int32_t y = date.month <= 2 ? date.year - 1 : date.year;
  const std::int32_t era = (y >= 0 ? y : y - 399) / 400;
  const std::int32_t year_of_era = y - era * 400;
  const std::int32_t month_from_march = date.month + (date.month > 2 ? -3 : 9);
  const std::int32_t day_of_year = (153 * month_from_march + 2) / 5 + date.day - 1;
  const std::int32_t day_of_era =
      year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * 146097 + day_of_era - 719468 - kDayZeroFrom1970;
}

CivilDate FromDay(std::int32_t day) noexcept {
  const std::int32_t z = day + kDayZeroFrom1970 + 719468;
  const std::int32_t era = (z >= 0 ? z : z - 146096) / 146097;
  const std::int32_t day_of_era = z - era * 146097;
  const std::int32_t year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const std::int32_t day_of_year =
      day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const std::int32_t month_from_march = (5 * day_of_year + 2) / 153;
  const std::int32_t d = day_of_year - (153 * month_from_march + 2) / 5 + 1;
  const std::int32_t m = month_from_march + (month_from_march < 10 ? 3 : -9);
  return {year_of_era + era * 400 + (m <= 2 ? 1 : 0), m, d};
}

}  // namespace kelvorin::values
