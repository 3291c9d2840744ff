// What request line and fields of an HTTP request say, as CIM over HTTP understands it (DSP0200;
// RFC 2774 for M-POST). Pure functions.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "broker/cimxml/call.h"
#include "broker/http/users.h"

namespace broker::http {

using Headers = cimxml::Reply::Headers;

// A request that is answered without asking the handler.
struct Refusal {
  int status;
  Headers headers = {};
};

// A request for the handler: everything but body and principal.
struct Head {
  cimxml::Call call;
  std::string prefix;  // of CIM fields in request and reply: "73-" in an M-POST, else empty
};

// The value of a field; unset when the request has none. Names compare without regard to case.
using Fields = std::function<std::optional<std::string>(const std::string& name)>;

std::variant<Head, Refusal> read_head(std::string_view method, std::string_view path,
                                      const Fields& fields);

// Host and port of a target that is an absolute URI ("http://host:5988/cimom"); unset for another
// target.
std::optional<std::string> host_of(std::string_view target);

// Whether a field that can have one value alone stands there more than once. A proxy on the way may
// have gone by another one of them.
bool says_twice(const Headers& fields);

// The fields of a reply to such a request: those of CIM get the prefix, and an M-POST is told that
// its extension was understood.
Headers reply_headers(const Headers& headers, const std::string& prefix);

// User and password of an Authorization field; unset when it is not of the Basic scheme (RFC 7617).
std::optional<Credentials> basic_credentials(std::string_view authorization);

// "%2F" becomes "/". Everything else stays as it is.
std::string decode_escapes(std::string_view text);

}  // namespace broker::http
