#include "broker/date_time.h"

#include <array>
#include <chrono>

#include "platform/digits.h"
#include "platform/local_time.h"
#include "platform/words.h"

namespace broker {
namespace {

constexpr std::int64_t kSecond = 1000000;

struct Field {
  unsigned first, size, lowest, highest;
};

// Of every month 31 days, and of every minute 61 seconds: see the header.
constexpr std::array<Field, 8> kStamp{{{0, 4, 0, 9999},
                                       {4, 2, 1, 12},
                                       {6, 2, 1, 31},
                                       {8, 2, 0, 23},
                                       {10, 2, 0, 59},
                                       {12, 2, 0, 60},
                                       {15, 6, 0, 999999},
                                       {22, 3, 0, 999}}};
constexpr std::array<Field, 6> kInterval{{{0, 8, 0, 99999999},
                                          {8, 2, 0, 23},
                                          {10, 2, 0, 59},
                                          {12, 2, 0, 59},
                                          {15, 6, 0, 999999},
                                          {22, 3, 0, 0}}};

bool stars(std::string_view text) { return text.find_first_not_of('*') == std::string_view::npos; }

// The number in a field, or its lowest value where it is not significant.
unsigned number(std::string_view text, const Field& field) {
  unsigned result = 0;
  for (char c : text.substr(field.first, field.size)) {
    if (c == '*') return field.lowest;
    result = result * 10 + static_cast<unsigned>(c - '0');
  }
  return result;
}

template <std::size_t N>
bool valid(std::string_view text, const std::array<Field, N>& fields) {
  bool significant = true;
  for (const Field& field : fields) {
    const std::string_view part = text.substr(field.first, field.size);
    const bool offset = field.first == 22;
    if (!offset && stars(part)) {
      significant = false;
      continue;
    }
    // Microseconds alone may lose digits from the right.
    const std::size_t digits = field.size == 6 ? part.find('*') : std::string_view::npos;
    const std::string_view head = part.substr(0, digits);
    if (!platform::only_digits(head)) return false;
    if (!stars(part.substr(head.size()))) return false;
    if (!significant && !offset) return false;
    if (head.size() < part.size()) {
      significant = false;
      continue;
    }
    const unsigned value = number(text, field);
    if (value < field.lowest || value > field.highest) return false;
  }
  return true;
}

}  // namespace

bool is_interval(std::string_view datetime) { return datetime[21] == ':'; }

bool is_datetime(std::string_view text) {
  if (text.size() != 25 || text[14] != '.') return false;
  if (text[21] == ':') return valid(text, kInterval);
  return (text[21] == '+' || text[21] == '-') && valid(text, kStamp);
}

std::int64_t datetime_microseconds(std::string_view text) {
  if (is_interval(text)) {
    const std::int64_t days = number(text, kInterval[0]);
    const std::int64_t seconds = number(text, kInterval[1]) * 3600LL +
                                 number(text, kInterval[2]) * 60LL + number(text, kInterval[3]);
    return (days * 86400 + seconds) * kSecond + number(text, kInterval[4]);
  }
  using namespace std::chrono;
  const sys_days day =
      year_month_day(year(static_cast<int>(number(text, kStamp[0]))),
                     month(number(text, kStamp[1])), std::chrono::day(number(text, kStamp[2])));
  const std::int64_t seconds = duration_cast<std::chrono::seconds>(day.time_since_epoch()).count() +
                               number(text, kStamp[3]) * 3600LL + number(text, kStamp[4]) * 60LL +
                               number(text, kStamp[5]);
  const std::int64_t offset = number(text, kStamp[7]) * (text[21] == '-' ? -60LL : 60LL);
  return (seconds - offset) * kSecond + number(text, kStamp[6]);
}

std::string time_stamp_text(std::int64_t microseconds, int minutes_from_utc) {
  return platform::time_stamp_text(microseconds + std::int64_t{minutes_from_utc} * 60 * kSecond,
                                   minutes_from_utc);
}

std::string interval_text(std::uint64_t microseconds) {
  constexpr std::uint64_t kDay = 86400ull * kSecond;
  return platform::date_time_text(microseconds / kDay, microseconds % kDay, ':', 0);
}

std::string now_text() {
  const platform::LocalTime now = platform::local_time();
  return time_stamp_text(now.microseconds, now.minutes_from_utc);
}

}  // namespace broker
