#include "drivetest/time_text.h"

#include <algorithm>

#include "platform/digits.h"

namespace drivetest {

namespace {

using namespace std::chrono;

constexpr Time kFirst{};
constexpr Time kLast = sys_days{year{9999} / 12 / 31} + 24h - 1s;
constexpr std::string_view kForm = "0000-00-00T00:00:00Z";  // a zero stands for any digit

constexpr bool is_digit(char letter) { return letter >= '0' && letter <= '9'; }

bool has_form(std::string_view text) {
  return std::equal(
      text.begin(), text.end(), kForm.begin(), kForm.end(),
      [](char letter, char form) { return form == '0' ? is_digit(letter) : letter == form; });
}

unsigned number_at(std::string_view text, std::size_t place, std::size_t digits) {
  unsigned number = 0;
  for (const char digit : text.substr(place, digits))
    number = number * 10 + static_cast<unsigned>(digit - '0');
  return number;
}

}  // namespace

std::string time_text(Time time) {
  const Time shown = std::clamp(time, kFirst, kLast);
  const sys_days day = floor<days>(shown);
  const year_month_day date(day);
  const hh_mm_ss clock(shown - day);
  std::string text(kForm);
  platform::put_digits(&text[0], 4, static_cast<unsigned>(static_cast<int>(date.year())));
  platform::put_pair(&text[5], static_cast<unsigned>(date.month()));
  platform::put_pair(&text[8], static_cast<unsigned>(date.day()));
  platform::put_pair(&text[11], static_cast<std::uint32_t>(clock.hours().count()));
  platform::put_pair(&text[14], static_cast<std::uint32_t>(clock.minutes().count()));
  platform::put_pair(&text[17], static_cast<std::uint32_t>(clock.seconds().count()));
  return text;
}

std::optional<Time> time_from_text(std::string_view text) {
  if (!has_form(text)) return std::nullopt;
  const year_month_day date = year{static_cast<int>(number_at(text, 0, 4))} /
                              month{number_at(text, 5, 2)} / day{number_at(text, 8, 2)};
  const unsigned hour = number_at(text, 11, 2);
  const unsigned minute = number_at(text, 14, 2);
  const unsigned second = number_at(text, 17, 2);
  if (!date.ok() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  const Time time = sys_days(date) + hours(hour) + minutes(minute) + seconds(second);
  if (time < kFirst) return std::nullopt;
  return time;
}

}  // namespace drivetest
