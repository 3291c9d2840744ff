// The text form of a log line. Pure functions over text; internal to the logger.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace NKVRHVX20 {

// Appends text so that it stays on its line and is valid UTF-8: backslash becomes \\, line feed
// \n, carriage return \r, tab \t; each byte of any other control character (C1 and the two
// Unicode line separators included, which many viewers break lines at), of what changes the
// direction of writing, and of invalid UTF-8 becomes \xNN, two lower-case hexadecimal digits.
void append_escaped(std::string& line, std::string_view text);

// A line is cut at this size, since texts from outside may have any length.
inline constexpr std::size_t kLogLineLimit = 8192;

// The same in no more bytes than that. A text that takes more is cut between two characters, and
// its original length follows: "... (12345 bytes)".
void append_escaped(std::string& line, std::string_view text, std::size_t most);

// A whole line with its line feed, in at most kLogLineLimit bytes. The time is in microseconds
// since 1970-01-01T00:00 UTC.
std::string format_log_line(std::int64_t microseconds, int severity, int process_id,
                            std::string_view text);

}  // namespace NKVRHVX20
