// 10,000 completion records over HTTP, from the request to the last byte at the client, and the
// same number of bytes through a socket that somebody else writes:
//
//   http/THREADS      the properties that records have values for
//   http_all/THREADS  all properties
//   socket/THREADS, socket_all/THREADS
//
// THREADS is the number of connections at work at once. HVX_LOG_LEVEL=-1 cuts the log off; else it
// goes to a file, as in use.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "bench/record_server.h"
#include "bench/workspace.h"
#include "broker/http/server.h"
#include "platform/descriptor.h"

namespace {

constexpr unsigned long kRecords = 10'000;
constexpr char kValued[] =
    "Caption Description ElementName RecordFormat RecordData Locale InstanceID ServiceName "
    "ManagedElementName RecordType CreationTimeStamp CompletionState";

[[noreturn]] void give_up(const char* what) {
  std::perror(what);
  std::exit(1);
}

sockaddr_in loopback() {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

platform::Descriptor listener(sockaddr_in& address) {
  platform::Descriptor result(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  address = loopback();
  socklen_t size = sizeof address;
  if (bind(result.get(), reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      listen(result.get(), 64) != 0 ||
      getsockname(result.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0)
    give_up("listen");
  return result;
}

platform::Descriptor connection_to(const sockaddr_in& address) {
  platform::Descriptor result(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (connect(result.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    give_up("connect");
  return result;
}

void send_all(int to, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t sent = send(to, data, size, MSG_NOSIGNAL);
    if (sent <= 0) return;  // the client has had enough
    data += sent;
    size -= static_cast<std::size_t>(sent);
  }
}

// The server under test, with its records.
const sockaddr_in& http_server() {
  static const sockaddr_in& address = *[] {
    auto* result = new sockaddr_in;
    broker::http::ServerOptions options;
    options.listeners.push_back(listener(*result));
    // The server accepts until there is nobody left.
    fcntl(options.listeners.front().get(), F_SETFL, O_NONBLOCK);
    auto& records = bench::module_with(kRecords);
    static auto& server = *new broker::http::Server(
        [&](const auto& call, auto& reply) { records.service().answer(call, reply); },
        std::move(options));
    static_cast<void>(server);
    return result;
  }();
  return address;
}

// Writes as many bytes as it is asked for.
const sockaddr_in& plain_server() {
  static const sockaddr_in& address = *[] {
    auto* result = new sockaddr_in;
    std::thread([from = listener(*result)] {
      for (;;) {
        platform::Descriptor accepted(accept(from.get(), nullptr, nullptr));
        std::thread([client = std::move(accepted)] {
          const std::string block(64 << 10, 'x');
          for (std::size_t size = 0; recv(client.get(), &size, sizeof size, MSG_WAITALL) > 0;)
            for (; size > 0; size -= std::min(size, block.size()))
              send_all(client.get(), block.data(), std::min(size, block.size()));
        }).detach();
      }
    }).detach();
    return result;
  }();
  return address;
}

// Bytes of the reply to the request, its head and the borders of its chunks included.
std::size_t reply_size(int connection, const std::string& request, std::string& buffer) {
  constexpr std::string_view kEnd = "\r\n0\r\n\r\n";
  send_all(connection, request.data(), request.size());
  std::size_t size = 0;
  std::string tail;
  while (!tail.ends_with(kEnd)) {
    const ssize_t got = recv(connection, buffer.data(), buffer.size(), 0);
    if (got <= 0) return 0;
    const std::string_view piece(buffer.data(), static_cast<std::size_t>(got));
    if (size == 0 && !piece.starts_with("HTTP/1.1 200")) return 0;
    size += piece.size();
    tail.append(piece.substr(piece.size() - std::min(piece.size(), kEnd.size())));
    tail.erase(0, tail.size() - std::min(tail.size(), kEnd.size()));
  }
  return size;
}

std::string request_for(const char* properties) {
  const std::string body = bench::enumeration(properties);
  return "POST /cimom HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/xml; "
         "charset=\"utf-8\"\r\nCIMOperation: MethodCall\r\nCIMMethod: EnumerateInstances\r\n"
         "CIMObject: root%2Fcimv2\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\n\r\n" + body;
}

// How many bytes a reply takes.
std::size_t size_of(const char* properties) {
  const platform::Descriptor connection = connection_to(http_server());
  std::string buffer(1 << 20, '\0');
  const std::size_t size = reply_size(connection.get(), request_for(properties), buffer);
  return size;
}

void over_http(benchmark::State& state, const char* properties) {
  const platform::Descriptor connection = connection_to(http_server());
  const std::string request = request_for(properties);
  std::string buffer(1 << 20, '\0');
  std::size_t size = 0;
  for (auto _ : state) {
    size = reply_size(connection.get(), request, buffer);
    if (size == 0) state.SkipWithError("the request failed");
  }
  state.counters["bytes"] =
      benchmark::Counter(static_cast<double>(size), benchmark::Counter::kAvgThreads);
}

void over_socket(benchmark::State& state, const char* properties) {
  const std::size_t size = size_of(properties);
  const platform::Descriptor connection = connection_to(plain_server());
  std::string buffer(1 << 20, '\0');
  for (auto _ : state) {
    send_all(connection.get(), reinterpret_cast<const char*>(&size), sizeof size);
    for (std::size_t left = size; left > 0;) {
      const ssize_t got = recv(connection.get(), buffer.data(), std::min(left, buffer.size()), 0);
      if (got <= 0) give_up("recv");
      left -= static_cast<std::size_t>(got);
    }
  }
}

void add(const char* name, void (*run)(benchmark::State&, const char*), const char* properties) {
  for (const int threads : {1, 8})
    benchmark::RegisterBenchmark(name, run, properties)
        ->Threads(threads)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

}  // namespace

int main(int argc, char** argv) {
  add("http", over_http, kValued);
  add("socket", over_socket, kValued);
  add("http_all", over_http, "");
  add("socket_all", over_socket, "");
  {
    const bench::Workspace workspace;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
  }
  // The server's threads are at work until the end.
  std::fflush(nullptr);
  _exit(0);
}
