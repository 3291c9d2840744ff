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

// Up to the empty line. What control characters there are in values becomes blanks.
std::string reply_head(int status, const Headers& headers, const Sending& sending);

// A line for whoever looks at the reply to a request that nobody was asked about.
std::string_view explanation(int status);

}  // namespace broker::http
