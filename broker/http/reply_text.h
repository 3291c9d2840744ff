// The head of an HTTP reply as text, and what the server says of a request that it refuses
// (RFC 9112, 4 and 6; RFC 9110, 15).
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "broker/http/head.h"

namespace broker::http {

// How a reply is sent.
struct Sending {
  std::optional<std::size_t> length;  // of the body; unset: in chunks
  bool chunked = false;
  bool old = false;    // to a client of HTTP/1.0
  bool close = false;  // the connection ends with it
};

// The head with the empty line at its end. Control characters in values become blanks.
std::string reply_head(int status, const Headers& headers, const Sending& sending);

// A line for people, in the reply to a request that is refused without asking the handler.
std::string_view explanation(int status);

}  // namespace broker::http
