// The 25-character text of a CIM datetime (DSP0004): yyyymmddhhmmss.uuuuuuSooo for a time stamp, S
// being + or - and ooo minutes from UTC, or ddddddddhhmmss.uuuuuu:000 for an interval. Digits that
// are not significant may be asterisks: whole fields, beginning with the rightmost.
//
// Texts are handed on as they came, so more is taken here than by the framework, which makes values
// of them (platform/framework/datetime.cpp) and refuses asterisks, second 60 and 31 February. Day
// 31 of a short month is in use, and means the first days of the next month. Second 60 is a leap
// second, and counts as the first second of the next minute.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace broker {

bool is_datetime(std::string_view text);
bool is_interval(std::string_view datetime);  // the text must be a datetime

// Microseconds since 1970-01-01T00:00 UTC, or the duration's; asterisks count as the lowest value
// of their field. Negative before 1970.
std::int64_t datetime_microseconds(std::string_view datetime);

std::string time_stamp_text(std::int64_t microseconds, int minutes_from_utc);
std::string interval_text(std::uint64_t microseconds);
std::string now_text();  // local time with its offset

}  // namespace broker
