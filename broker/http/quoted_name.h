// A name that a client gave, as it stands in a log line.
#pragma once

#include <string>
#include <string_view>

namespace broker::http {

// 'NAME', so that it cannot look like the rest of the line or like another line: within it each
// byte of a quote, of "%", and of what is no UTF-8, works on terminals or changes the direction of
// writing is %XX. A name is cut after 255 bytes, which is more than a user's can have.
std::string quoted_name(std::string_view name);

}  // namespace broker::http
