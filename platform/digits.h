// Decimal digits of a fixed width, as log lines are full of, and CIM's date-times, which consist of
// them. A leaf: any folder may use it. (snprintf took longer than all else that a log line or a
// time stamp costs.)
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>

namespace platform {

// Writes the number's last digits, with zeros in front where it has fewer; no terminator. Returns
// the place behind them.
constexpr char* put_digits(char* place, unsigned digits, std::uint64_t number) {
  for (unsigned left = digits; left-- > 0; number /= 10)
    place[left] = static_cast<char>('0' + number % 10);
  return place + digits;
}

// The same for two digits, and a number below 100.
constexpr char* put_pair(char* place, std::uint32_t number) {
  *place++ = static_cast<char>('0' + number / 10);
  *place++ = static_cast<char>('0' + number % 10);
  return place;
}

// CIM's 25 characters, yyyymmddhhmmss.mmmmmmsutc or ddddddddhhmmss.mmmmmm:000. day: eight digits,
// the date as one number or an interval's days; time: microseconds of the day; sign: '+' or '-'
// with the offset in minutes, or ':'.
inline std::string date_time_text(std::uint64_t day, std::uint64_t time, char sign,
                                  unsigned offset) {
  const auto date = static_cast<std::uint32_t>(day);
  const auto second = static_cast<std::uint32_t>(time / 1'000'000);
  const auto fraction = static_cast<std::uint32_t>(time % 1'000'000);
  std::string text(25, '.');
  char* place = text.data();
  for (const std::uint32_t pair : {date / 1'000'000 % 100, date / 10'000 % 100, date / 100 % 100,
                                   date % 100, second / 3600, second / 60 % 60, second % 60})
    place = put_pair(place, pair);
  ++place;
  for (const std::uint32_t pair : {fraction / 10'000, fraction / 100 % 100, fraction % 100})
    place = put_pair(place, pair);
  *place++ = sign;
  put_digits(place, 3, offset);
  return text;
}

// A date as one number of eight digits.
constexpr std::uint64_t date_number(int year, unsigned month, unsigned day) {
  return static_cast<std::uint64_t>(year) * 10000 + std::uint64_t{month} * 100 + day;
}

// A point in time that CIM's 25 characters can say.
struct TimeStamp {
  std::int64_t microseconds;  // since 1970-01-01T00:00 UTC
  int minutes_from_utc;       // by which local time is ahead
};

// The nearest of them. It is the local time that has to fit the four digits of the year.
constexpr TimeStamp nearest_time_stamp(std::int64_t microseconds_since_epoch,
                                       int minutes_from_utc) {
  using namespace std::chrono;
  constexpr sys_days kFirstDay = year(0) / 1 / 1;
  constexpr sys_days kDayAfterLast = year(10000) / 1 / 1;
  const int ahead = std::clamp(minutes_from_utc, -999, 999);
  const microseconds offset = minutes(ahead);
  const microseconds first = kFirstDay.time_since_epoch() - offset;
  const microseconds last = kDayAfterLast.time_since_epoch() - offset - microseconds(1);
  return {std::clamp<std::int64_t>(microseconds_since_epoch, first.count(), last.count()), ahead};
}

// CIM's 25 characters for a point in time of the years 0 to 9999: microseconds of local time since
// 1970-01-01T00:00, and the minutes (-999 to 999) by which that is ahead of UTC.
inline std::string time_stamp_text(std::int64_t local_microseconds, int minutes_from_utc) {
  using namespace std::chrono;
  const sys_time<microseconds> local{microseconds(local_microseconds)};
  const sys_days day = floor<days>(local);
  const year_month_day date(day);
  const bool west = minutes_from_utc < 0;
  return date_time_text(
      date_number(static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day())),
      static_cast<std::uint64_t>((local - day).count()), west ? '-' : '+',
      static_cast<unsigned>(west ? -minutes_from_utc : minutes_from_utc));
}

}  // namespace platform
