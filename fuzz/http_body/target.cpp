// Requests in HTTP, as a client may cut them into pieces: the answer must not depend on it. The
// first line of the input says how long the pieces are, a byte each; the rest is what the client
// sends before it closes its side.
#include "fuzz/target.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "broker/http/address.h"
#include "broker/http/head.h"
#include "broker/http/server.h"
#include "platform/descriptor.h"

namespace {

namespace http = broker::http;
using broker::cimxml::Call;
using broker::cimxml::Reply;
using fuzz::require;

constexpr std::size_t kLongestBody = 2000;

// Answers with all that it was given.
void echo(const Call& call, Reply& reply) {
  require(call.body.size() <= kLongestBody, "longer bodies do not come through");
  require(call.principal.empty(), "nobody has logged in");
  reply.begin(200, {{"Content-Type", "text/plain"}});
  for (const auto& field : {call.operation, call.method, call.object, call.batch,
                            call.protocol_version, call.content_type})
    reply.write("[" + field.value_or("none") + "]");
  reply.write("[" + call.accept_language + "]");
  reply.write(call.body);
}

sockaddr_in serve() {
  http::Address address("127.0.0.1", 0);
  http::ServerOptions options;
  options.listeners.push_back(address.listen());
  options.limits.body = kLongestBody;
  options.limits.header = 4096;
  sockaddr_in served{};
  socklen_t size = sizeof served;
  getsockname(options.listeners.front().get(), reinterpret_cast<sockaddr*>(&served), &size);
  static http::Server& server = *new http::Server(echo, std::move(options));
  static_cast<void>(server);
  return served;
}

struct Answer {
  std::string text;
  bool reset = false;  // the server closed with input unread, so the answer's end may be missing
};

class Connection {
 public:
  Connection() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    static const sockaddr_in server = serve();
    // The kernel keeps a closed connection's port for a minute, so that thousands of connections
    // would use up the ports of one address.
    static std::uint32_t host = 0;
    sockaddr_in own{};
    own.sin_family = AF_INET;
    own.sin_addr.s_addr = htonl((127U << 24) + 1 + ++host % 1000);
    require(bind(socket_.get(), reinterpret_cast<const sockaddr*>(&own), sizeof own) == 0,
            "all of 127/8 is this machine");
    require(connect(socket_.get(), reinterpret_cast<const sockaddr*>(&server), sizeof server) == 0,
            "the server takes connections");
    const int yes = 1;
    setsockopt(socket_.get(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    const timeval patience{20, 0};
    setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  }

  void send(std::string_view text) {
    while (!text.empty()) {
      const ssize_t sent = ::send(socket_.get(), text.data(), text.size(), MSG_NOSIGNAL);
      if (sent < 0 && errno != EINTR) return;  // the server reads no more; its answer says why
      text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(sent, 0)));
    }
  }

  // Everything that arrives until the server closes.
  Answer answer() {
    Answer answer;
    char buffer[16384];
    ssize_t count = 0;
    bool sends = true;
    do {
      // The client closes its side only when nothing has arrived for a moment, because the server
      // answers a client that has closed its side only the request that it is working on.
      const timespec moment{0, 500'000};
      pollfd readable{socket_.get(), POLLIN, 0};
      if (sends && ppoll(&readable, 1, &moment, nullptr) <= 0)
        sends = shutdown(socket_.get(), SHUT_WR) != 0;
      count = recv(socket_.get(), buffer, sizeof buffer, 0);
      answer.text.append(buffer, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
      // The search's timer interrupts system calls by a signal.
    } while (count > 0 || (count < 0 && errno == EINTR));
    require(count == 0 || errno == ECONNRESET, "the server closes");
    answer.reset = count < 0;
    return answer;
  }

 private:
  const platform::Descriptor socket_;
};

// Removes the time of day, which differs between equal answers.
std::string without_dates(std::string text) {
  constexpr std::string_view kDate = "\r\nDate: ";
  std::size_t at = text.find(kDate);
  while (at != text.npos) {
    text.erase(at, text.find("\r\n", at + 2) - at);
    at = text.find(kDate, at);
  }
  return text;
}

Answer ask(const std::vector<std::string_view>& pieces) {
  Connection connection;
  for (const std::string_view piece : pieces) connection.send(piece);
  Answer answer = connection.answer();
  require(answer.text.empty() || answer.text.starts_with("HTTP/1."), "an answer is one of HTTP");
  answer.text = without_dates(std::move(answer.text));
  return answer;
}

}  // namespace

void fuzz::read_input(std::string_view input) {
  const std::string_view lengths = take_line(input);
  std::vector<std::string_view> pieces;
  std::string_view rest = input;
  for (const char length : lengths.substr(0, 50)) {
    const std::size_t size = std::min<std::size_t>(static_cast<unsigned char>(length), rest.size());
    pieces.push_back(rest.substr(0, size));
    rest.remove_prefix(size);
  }
  pieces.push_back(rest);

  const Answer whole = ask({input});
  const Answer cut = ask(pieces);
  if (whole.reset || cut.reset) return;
  require(whole.text.empty() == cut.text.empty(), "there is an answer however the request comes");
  // A client that closes its side while a request is worked on gets no answer to a further request.
  require(whole.text.starts_with(cut.text) || cut.text.starts_with(whole.text),
          "the answer is the same however the request comes");

  const auto credentials = http::basic_credentials(input);
  require(!credentials || credentials->user.find(':') == std::string::npos, "a colon ends a user");
  require(http::decode_escapes(input).size() <= input.size(), "escapes are longer than characters");
}
