// The HTTP server before CIM operations: takes requests, admits users, and has a handler answer.
// Source of the format: DSP0200 1.4, RFC 2774 (M-POST), RFC 7617 (log-in).
//
//   Server server([&](const auto& call, auto& reply) { service.answer(call, reply); }, options);
//
// Requests are answered in parallel. When a client goes away, the writing of its reply ends, but
// not the handler. Nothing that a client sends ends the server.
#pragma once

#include <chrono>
#include <memory>

#include "broker/http/server_options.h"

namespace broker::http {

class Server {
 public:
  // Serves from now on. Throws std::runtime_error, one line. The handler and what options.log
  // uses must outlive the server.
  Server(Handler handler, ServerOptions options);
  // Accepts no more, waits until every handler has returned, and closes the connections.
  ~Server();
  Server(const Server&) = delete;

  // Later requests are admitted by these.
  void replace_users(std::shared_ptr<Users> users);
  // Later connections get this one. Only for a server that was set up with a certificate. Throws
  // std::runtime_error, as TlsSettings does, and keeps the one before then.
  void replace_certificate(const Certificate& certificate);

  // Accepts no more, and for at most that time answers what has been received. Returns the number
  // of handlers that still work.
  std::size_t stop(std::chrono::milliseconds grace);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace broker::http
