// How a server of CIM operations is set up.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "broker/cimxml/service.h"
#include "broker/http/log.h"
#include "broker/http/users.h"

namespace broker::http {

struct Limits {
  std::size_t body = std::size_t{16} << 20;    // more is answered with 413
  std::size_t header = std::size_t{64} << 10;  // request line and fields; more: 431
  unsigned connections = 256;                  // the next ones wait to be accepted
  unsigned connections_per_address = 128;      // the next ones are closed
  // From accept (with TLS, its handshake too) to the first request line.
  std::chrono::milliseconds first_line{10'000};
  // Of a connection without a request, or whose client neither sends nor reads. Time in which the
  // handler works does not count.
  std::chrono::seconds idle{60};
  // From the request line to the end of the body; then the connection is closed.
  std::chrono::milliseconds receive{60'000};
  // From the begin of a reply to its end; then the connection is closed. A long reply is sent while
  // it is made, so this is more than a slow client needs.
  std::chrono::milliseconds reply{900'000};
  // Before the answer to a failed log-in; doubles with each further one from the same network.
  std::chrono::milliseconds delay{1'000};
  std::chrono::milliseconds longest_delay{16'000};
  unsigned held_log_ins = 4;  // answers held back for a network; further log-ins: 503
};

// PEM texts.
struct Certificate {
  std::string chain;
  std::string key;
};

struct Options {
  int listener = -1;                         // a listening socket (address.h); the server closes it
  std::shared_ptr<Users> users;              // null: everybody may do everything
  std::unique_ptr<Certificate> certificate;  // null: plain HTTP
  Limits limits;
  Log log;
};

// Answers one request. Runs on a thread of its own, for as long as it likes.
using Handler = std::function<void(const cimxml::Call&, cimxml::Reply&)>;

}  // namespace broker::http
