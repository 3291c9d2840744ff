// Calendar arithmetic shared by whatever writes or reads dates: days since 1970-01-01 in the
// proleptic Gregorian calendar. Constant expressions; no time zone, no locale.
#pragma once

#include <cstdint>

namespace ovk_cimple {

struct Civil_Date {
  std::int64_t year;
  unsigned month;  // 1 to 12
  unsigned day;    // 1 to 31
};

// Years are counted from March, so that the leap day is the last of its year.
constexpr std::int64_t days_from_civil(Civil_Date date) {
  const std::int64_t year = date.year - (date.month <= 2);
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const auto year_of_era = static_cast<unsigned>(year - era * 400);
  const unsigned month_from_march = (date.month + 9) % 12;
  const unsigned day_of_year = (153 * month_from_march + 2) / 5 + date.day - 1;
  const unsigned day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * 146097 + static_cast<std::int64_t>(day_of_era) - 719468;
}

constexpr Civil_Date civil_from_days(std::int64_t days) {
  days += 719468;
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const auto day_of_era = static_cast<unsigned>(days - era * 146097);
  const unsigned year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const unsigned day_of_year =
      day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const unsigned month_from_march = (5 * day_of_year + 2) / 153;
  const unsigned day = day_of_year - (153 * month_from_march + 2) / 5 + 1;
  const unsigned month = month_from_march < 10 ? month_from_march + 3 : month_from_march - 9;
  return {static_cast<std::int64_t>(year_of_era) + era * 400 + (month <= 2), month, day};
}

constexpr bool is_civil_date(Civil_Date date) {
  constexpr unsigned lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (date.month < 1 || date.month > 12 || date.day < 1) return false;
  const bool leap = date.year % 4 == 0 && (date.year % 100 != 0 || date.year % 400 == 0);
  return date.day <= lengths[date.month - 1] + (date.month == 2 && leap);
}

}  // namespace ovk_cimple
