#include "platform/framework/datetime.h"

#include <algorithm>
#include <chrono>

#include "platform/digits.h"
#include "platform/local_time.h"

namespace ovk_cimple {

namespace {

constexpr sint64 kSecond = 1'000'000;
constexpr sint64 kMinute = 60 * kSecond;
constexpr sint64 kHour = 60 * kMinute;
constexpr sint64 kDay = 24 * kHour;
constexpr sint64 kLongestInterval = 100'000'000 * kDay - 1;
constexpr std::size_t kLength = 25;

constexpr sint64 days_since_epoch(std::chrono::year_month_day date) {
  return std::chrono::sys_days(date).time_since_epoch().count();
}

// The number that the digits from begin on make, or -1 when one of them is not a digit. The text is
// long enough: the caller has checked its length.
sint64 number(std::string_view text, std::size_t begin, std::size_t count) {
  unsigned result = 0, wrong = 0;
  for (std::size_t place = begin; place < begin + count; ++place) {
    const auto digit = static_cast<unsigned>(static_cast<unsigned char>(text[place]) - '0');
    wrong |= digit > 9;
    result = result * 10 + digit;
  }
  return wrong ? -1 : static_cast<sint64>(result);
}

}  // namespace

Datetime::Datetime(uint64 microseconds)
    : microseconds_(static_cast<sint64>(std::min<uint64>(microseconds, kLongestInterval))) {}

Datetime Datetime::time_stamp(sint64 microseconds_since_epoch, sint32 utc_offset_minutes) {
  const platform::TimeStamp nearest =
      platform::nearest_time_stamp(microseconds_since_epoch, utc_offset_minutes);
  Datetime result;
  result.interval_ = false;
  result.utc_offset_minutes_ = nearest.minutes_from_utc;
  result.microseconds_ = nearest.microseconds;
  return result;
}

Datetime Datetime::now() {
  const platform::LocalTime now = platform::local_time();
  return time_stamp(now.microseconds, now.minutes_from_utc);
}

// Stricter than the object manager, which hands texts on without making values of them, and takes
// asterisks, 31 February and second 60 (broker/date_time.h). A value has no place for the first,
// and could tell the others from no other day and second.
std::optional<Datetime> Datetime::parse(std::string_view text) {
  if (text.size() != kLength || text[14] != '.') return std::nullopt;
  const sint64 hours = number(text, 8, 2);
  const sint64 minutes = number(text, 10, 2);
  const sint64 seconds = number(text, 12, 2);
  const sint64 fraction = number(text, 15, 6);
  const sint64 offset = number(text, 22, 3);
  if (hours < 0 || hours > 23 || minutes < 0 || minutes > 59 || seconds < 0 || seconds > 59 ||
      fraction < 0 || offset < 0)
    return std::nullopt;
  const sint64 time = hours * kHour + minutes * kMinute + seconds * kSecond + fraction;

  if (text[21] == ':') {
    const sint64 days = number(text, 0, 8);
    if (days < 0 || offset != 0) return std::nullopt;
    return Datetime(static_cast<uint64>(days * kDay + time));
  }
  if (text[21] != '+' && text[21] != '-') return std::nullopt;
  const sint64 year = number(text, 0, 4);
  const sint64 month = number(text, 4, 2);
  const sint64 day_of_month = number(text, 6, 2);
  if (year < 0 || month < 0 || day_of_month < 0) return std::nullopt;
  const std::chrono::year_month_day date(std::chrono::year(static_cast<int>(year)),
                                         std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day_of_month)));
  if (!date.ok()) return std::nullopt;
  const auto ahead = static_cast<sint32>(text[21] == '-' ? -offset : offset);
  return time_stamp(days_since_epoch(date) * kDay + time - ahead * kMinute, ahead);
}

String Datetime::to_string() const {
  if (!interval_)
    return platform::time_stamp_text(microseconds_ + utc_offset_minutes_ * kMinute,
                                     utc_offset_minutes_);
  return platform::date_time_text(static_cast<uint64>(microseconds_ / kDay),
                                  static_cast<uint64>(microseconds_ % kDay), ':', 0);
}

}  // namespace ovk_cimple
