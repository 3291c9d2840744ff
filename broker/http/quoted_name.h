// A name that a client gave, as it stands in a log line.
#pragma once

#include <string>
#include <string_view>

namespace broker::http {

// 'NAME', so that it cannot look like the rest of the line or like another line. Within it %XX
// stands for each byte of a quote, of "%", of invalid UTF-8, and of characters that work on
// terminals or change the direction of writing. A name is cut after 255 bytes, as long as a user's
// can be.
std::string quoted_name(std::string_view name);

}  // namespace broker::http
