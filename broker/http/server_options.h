// How a server of CIM operations is set up.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "broker/cimxml/call.h"
#include "broker/http/log.h"
#include "broker/http/users.h"
#include "platform/descriptor.h"

namespace broker::http {

class OwnNames;  // own_names.h

struct ServerLimits {
  std::size_t body = std::size_t{16} << 20;    // more is answered with 413
  std::size_t header = std::size_t{64} << 10;  // request line and fields; more: 431
  // Bodies of more than large_body bytes share the memory of `bodies` from their announcement to
  // the end of the reply; when it is taken: 503. One alone is received whatever its size.
  std::size_t large_body = cimxml::kLargeBody;
  std::size_t bodies = std::size_t{32} << 20;
  // So much is still received of an unknown client's request that was refused; then the connection
  // ends.
  std::size_t refused_body = std::size_t{64} << 10;

  // Requests in work, each with a thread and up to half a MiB of its reply; the next ones wait. The
  // unit's TasksMax has room for as many, and for the programs that they start.
  std::size_t workers = 400;

  // Connections without and with a user whose log-in was right (connection_slots.h). In a server
  // without users, a connection is known as soon as it has sent the head of a request. These
  // numbers are lower when the process may not have as many descriptors.
  std::size_t unknown_connections = 1000;
  std::size_t known_connections = 1000;
  // Within this time a connection that is not known sends head and body of a request, counted from
  // accept or from the reply before.
  std::chrono::milliseconds unknown{10'000};
  // A known connection ends after this time without a request, and one whose client does not read.
  // Time in which the handler works does not count.
  std::chrono::seconds idle{60};
  // From the first byte of a request to its last, without the time of the log-in.
  std::chrono::milliseconds receive{60'000};
  // From the beginning of a reply to its end; then the connection is closed. A long reply is sent
  // while it is made, so this is more than a slow client needs.
  std::chrono::milliseconds reply{900'000};
  // The answer to a failed log-in is held back so long. The time doubles with each further one of
  // the same user from the same network.
  std::chrono::milliseconds delay{1'000};
  std::chrono::milliseconds longest_delay{16'000};
  unsigned held_log_ins = 4;  // answers held back for these; further log-ins: 503
};

// PEM texts.
struct Certificate {
  std::string chain;
  std::string key;
};

struct ServerOptions {
  std::vector<platform::Descriptor> listeners;  // listening sockets (address.h)
  std::shared_ptr<Users> users;                 // null: everybody may do everything
  std::unique_ptr<Certificate> certificate;     // null: plain HTTP
  std::shared_ptr<OwnNames> own_names;          // null: requests for any Host are answered
  ServerLimits limits;
  Log log;
};

// Answers one request. Runs on a thread of its own, for as long as it likes.
using Handler = std::function<void(const cimxml::Call&, cimxml::Reply&)>;

}  // namespace broker::http
