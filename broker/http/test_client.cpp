#include "broker/http/test_client.h"

#include <arpa/inet.h>
#include <gnutls/gnutls.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "broker/http/address.h"
#include "platform/words.h"

namespace broker::http {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

}  // namespace

TestClient::TestClient(std::uint16_t port) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
    std::abort();
  const timeval minute{60, 0};
  setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &minute, sizeof minute);
}

bool TestClient::send(std::string_view text) {
  while (!text.empty()) {
    const ssize_t sent = ::send(socket_.get(), text.data(), text.size(), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

void TestClient::end_sending() { shutdown(socket_.get(), SHUT_WR); }

void TestClient::reset() {
  const linger at_once{1, 0};
  setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  socket_.close();
}

bool TestClient::read_more() {
  char buffer[65536];
  const ssize_t count = recv(socket_.get(), buffer, sizeof buffer, 0);
  if (count > 0) unread_.append(buffer, static_cast<std::size_t>(count));
  return count > 0;
}

std::optional<std::string> TestClient::take_until(std::string_view end) {
  std::size_t found = unread_.find(end);
  while (found == std::string::npos) {
    if (!read_more()) return std::nullopt;
    found = unread_.find(end);
  }
  const std::string taken = unread_.substr(0, found);
  unread_.erase(0, found + end.size());
  return taken;
}

std::optional<std::string> TestClient::take(std::size_t size) {
  while (unread_.size() < size)
    if (!read_more()) return std::nullopt;
  const std::string taken = unread_.substr(0, size);
  unread_.erase(0, size);
  return taken;
}

TestReply TestClient::receive() {
  TestReply reply;
  const auto first = take_until(kLineEnd);
  if (!first || first->size() < 12) return reply;
  reply.status = static_cast<int>(std::strtol(first->c_str() + 9, nullptr, 10));
  while (const auto line = take_until(kLineEnd)) {
    if (line->empty()) break;
    const std::size_t colon = std::min(line->find(':'), line->size() - 1);
    const std::size_t value = std::min(line->find_first_not_of(' ', colon + 1), line->size());
    reply.headers[platform::lower(line->substr(0, colon))] = line->substr(value);
  }
  reply.chunked = reply.headers.contains("transfer-encoding");
  if (!reply.chunked) {
    const auto body = take(std::strtoul(reply.headers["content-length"].c_str(), nullptr, 10));
    reply.whole = body.has_value();
    reply.body = body.value_or("");
    return reply;
  }
  while (const auto size = take_until(kLineEnd)) {
    const std::size_t bytes = std::strtoul(size->c_str(), nullptr, 16);
    const auto chunk = take(bytes);
    if (!chunk || !take_until(kLineEnd)) break;
    reply.body += *chunk;
    reply.whole = bytes == 0;
    if (reply.whole) break;
  }
  return reply;
}

std::string TestClient::read_some() {
  if (unread_.empty()) read_more();
  return std::exchange(unread_, {});
}

std::size_t TestClient::read_up_to(std::size_t most) {
  std::string buffer(most, '\0');
  const ssize_t count = recv(socket_.get(), buffer.data(), most, MSG_WAITALL);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

bool TestClient::closed_within(std::chrono::milliseconds time) {
  const auto end = std::chrono::steady_clock::now() + time;
  while (true) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        end - std::chrono::steady_clock::now());
    pollfd ready{socket_.get(), POLLIN, 0};
    if (left.count() <= 0 || poll(&ready, 1, static_cast<int>(left.count())) <= 0) return false;
    unread_.clear();
    if (!read_more()) return true;
  }
}

TestReply TestClient::post(std::string_view body, const std::string& fields) {
  send(request_text("POST", body, fields));
  return receive();
}

std::string request_text(const std::string& method, std::string_view body,
                         const std::string& fields, const std::string& path) {
  return method + " " + path + " HTTP/1.1\r\nHost: test\r\n" + fields +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + std::string(body);
}

std::string log_in(std::string_view credentials) {
  std::string text(credentials);
  const gnutls_datum_t plain = {reinterpret_cast<unsigned char*>(text.data()),
                                static_cast<unsigned>(text.size())};
  gnutls_datum_t encoded{};
  if (gnutls_base64_encode2(&plain, &encoded) != GNUTLS_E_SUCCESS) std::abort();
  const std::string base64(reinterpret_cast<const char*>(encoded.data), encoded.size);
  gnutls_free(encoded.data);
  return "Authorization: Basic " + base64 + "\r\n";
}

TestServer::TestServer(Handler handler, ServerOptions options) {
  Address address("127.0.0.1", 0);
  options.listeners.push_back(address.listen());
  port = address.port();
  server = std::make_unique<Server>(std::move(handler), std::move(options));
}

void echo(const cimxml::Call& call, cimxml::Reply& reply) {
  reply.begin(200, {{"Content-Type", "application/xml; charset=\"utf-8\""},
                    {"CIMOperation", "MethodResponse"}});
  reply.write(call.body);
}

ServerLimits quick_limits() {
  ServerLimits limits;
  limits.delay = std::chrono::milliseconds(1);
  limits.idle = std::chrono::seconds(1);
  limits.receive = std::chrono::milliseconds(300);
  return limits;
}

}  // namespace broker::http
