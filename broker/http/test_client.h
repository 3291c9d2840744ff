// A client on a bare socket, for tests: sends what it is told, byte by byte if need be.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "broker/http/server.h"
#include "broker/http/server_options.h"
#include "platform/descriptor.h"

namespace broker::http {

struct TestReply {
  int status = 0;                              // 0: the server closed the connection without one
  std::map<std::string, std::string> headers;  // names in lower case
  std::string body;
  bool chunked = false;
  bool whole = false;  // the body is as long as announced
};

class TestClient {
 public:
  explicit TestClient(std::uint16_t port);

  // False when the server accepts no more bytes.
  bool send(std::string_view text);
  void end_sending();
  void reset();  // ends the connection as a client does that has crashed
  // Waits, up to a minute, for one reply.
  TestReply receive();
  // The next bytes; empty at the end.
  std::string read_some();
  // Waits for bytes, drops that many at most, and returns how many; 0 at the end.
  std::size_t read_up_to(std::size_t most);
  // Whether the server has closed the connection, or does so within that time. Drops what it still
  // sends.
  bool closed_within(std::chrono::milliseconds time);
  TestReply post(std::string_view body, const std::string& fields = "");

 private:
  bool read_more();
  std::optional<std::string> take_until(std::string_view end);
  std::optional<std::string> take(std::size_t size);

  platform::Descriptor socket_;
  std::string unread_;
};

// The text of a request. fields: lines that end with CR LF.
std::string request_text(const std::string& method, std::string_view body,
                         const std::string& fields = "", const std::string& path = "/cimom");

// The field that logs in with "user:password".
std::string log_in(std::string_view credentials);

// A server on a free port of 127.0.0.1.
struct TestServer {
  explicit TestServer(Handler handler, ServerOptions options = {});

  std::uint16_t port = 0;
  std::unique_ptr<Server> server;
};

// Answers 200 with CIMOperation and the request's body.
void echo(const cimxml::Call& call, cimxml::Reply& reply);

// Limits with which a test need not wait.
ServerLimits quick_limits();

}  // namespace broker::http
