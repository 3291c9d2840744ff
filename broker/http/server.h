// The HTTP server before CIM operations: takes requests, admits users, and has a handler answer.
// Source of the format: DSP0200 1.4, RFC 2774 (M-POST), RFC 7617 (log-in).
//
//   Server server([&](const auto& call, auto& reply) { service.answer(call, reply); }, options);
//
// Requests are answered in parallel. A client that goes away ends the writing of its reply, not
// the handler. Nothing that a client sends ends the server.
#pragma once

#include <chrono>
#include <memory>

#include "broker/http/options.h"

namespace broker::http {

class Server {
 public:
  // Serves from now on. Throws std::runtime_error, one line. The handler and what options.log
  // uses must outlive the server.
  Server(Handler handler, Options options);
  // Accepts no more, waits for every handler, closes the connections.
  ~Server();
  Server(const Server&) = delete;

  // Later requests are held against these.
  void replace_users(std::shared_ptr<Users> users);
  // Later connections are secured with this one. Throws std::runtime_error, as TlsSettings does,
  // and the one before stays. Only for a server that was set up with one.
  void replace_certificate(const Certificate& certificate);

  // Accepts no more; answers what has been received until then, for at most that time. Returns the
  // number of handlers that are still at work.
  std::size_t stop(std::chrono::milliseconds grace);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace broker::http
