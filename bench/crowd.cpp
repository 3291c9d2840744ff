// How long a client waits while others crowd the server: 500 that ask without a pause, 500 that
// have sent half a head and never send the rest, and 300 that read a long reply slowly. A client
// that is disconnected connects again at once.
//
//   wait/crowd    each time on a connection of its own; counter worst_wait_seconds: what 99 of 100
//                 waits do not exceed
//   wait/alone    the same without the others
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <crypt.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <map>
#include <thread>
#include <vector>

#include "bench/record_server.h"
#include "bench/workspace.h"
#include "broker/http/address.h"
#include "broker/http/server.h"
#include "platform/descriptor.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kAsking = 500, kHalf = 500, kSlow = 300;
constexpr int kWaits = 100;                    // of one measurement
constexpr std::string_view kEnd = "</CIM>\n";  // of a reply, but for the border of a chunk

[[noreturn]] void give_up(const char* what) {
  std::perror(what);
  std::exit(1);
}

std::shared_ptr<broker::http::Users> users() {
  crypt_data data{};
  return std::make_shared<broker::http::Users>(
      "operator:" + std::string(crypt_r("right", "$5$rounds=1000$salt$", &data)));
}

const sockaddr_in& server() {
  static const sockaddr_in& address = *[] {
    broker::http::Address loopback("127.0.0.1", 0);
    broker::http::ServerOptions options;
    options.listeners.push_back(loopback.listen());
    options.users = users();
    auto* result = new sockaddr_in;
    socklen_t size = sizeof *result;
    getsockname(options.listeners.front().get(), reinterpret_cast<sockaddr*>(result), &size);
    auto& few = bench::module_with(10);
    auto& many = bench::module_with(10'000);
    static auto& server = *new broker::http::Server(
        [&](const auto& call, auto& reply) {
          (call.accept_language == "slow" ? many : few).service().answer(call, reply);
        },
        std::move(options));
    static_cast<void>(server);
    return result;
  }();
  return address;
}

// The head of a request for all records: a few, or many for a client that reads slowly.
std::string request(const char* language) {
  const std::string body = bench::enumeration();
  return "POST /cimom HTTP/1.1\r\nHost: localhost\r\nAuthorization: Basic "
         "b3BlcmF0b3I6cmlnaHQ=\r\nContent-Type: application/xml; charset=\"utf-8\"\r\n"
         "CIMOperation: MethodCall\r\nCIMMethod: EnumerateInstances\r\nCIMObject: root%2Fcimv2\r\n"
         "Accept-Language: " +
         std::string(language) + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
         body;
}

platform::Descriptor connection() {
  platform::Descriptor result(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const timeval patience{60, 0};
  setsockopt(result.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  if (connect(result.get(), reinterpret_cast<const sockaddr*>(&server()), sizeof server()) != 0)
    give_up("connect");
  return result;
}

bool send_all(int to, std::string_view text) {
  while (!text.empty()) {
    const ssize_t sent = send(to, text.data(), text.size(), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

// Connections of one kind on a thread of their own.
void crowd(int number, std::string text, bool asks_again, std::size_t most_read,
           std::chrono::milliseconds pause) {
  std::thread([=] {
    struct Client {
      platform::Descriptor socket;
      std::string tail;  // of what it has read
    };
    std::map<int, Client> clients;
    const platform::Descriptor epoll(epoll_create1(EPOLL_CLOEXEC));
    const auto come = [&] {
      platform::Descriptor socket = connection();
      const int number = socket.get();
      send_all(number, text);
      epoll_event event{EPOLLIN, {}};
      event.data.fd = number;
      epoll_ctl(epoll.get(), EPOLL_CTL_ADD, number, &event);
      clients[number].socket = std::move(socket);
    };
    for (int i = 0; i < number; ++i) come();
    std::vector<epoll_event> events(static_cast<std::size_t>(number));
    std::string buffer(most_read, '\0');
    while (true) {
      const int ready = epoll_wait(epoll.get(), events.data(), number, -1);
      for (int i = 0; i < ready; ++i) {
        const int socket = events[static_cast<std::size_t>(i)].data.fd;
        const ssize_t got = recv(socket, buffer.data(), buffer.size(), 0);
        const std::string_view piece(buffer.data(),
                                     static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        std::string& tail = clients[socket].tail;
        tail += piece;
        const bool done = tail.find(kEnd) != tail.npos;
        tail.erase(0, done ? tail.size() : tail.size() - std::min(tail.size(), kEnd.size()));
        if (got > 0 && !(done && !asks_again) && (!done || send_all(socket, text))) continue;
        clients.erase(socket);
        come();
      }
      std::this_thread::sleep_for(pause);
    }
  }).detach();
}

void gather_crowd() {
  using std::chrono::milliseconds;
  static const bool gathered = [] {
    crowd(kAsking, request("en"), true, 64 << 10, milliseconds(0));
    crowd(kHalf, "POST /cimom HTTP/1.1\r\nHost: local", false, 1024, milliseconds(0));
    crowd(kSlow, request("slow"), false, 1024, milliseconds(100));
    std::this_thread::sleep_for(std::chrono::seconds(3));
    return true;
  }();
  static_cast<void>(gathered);
}

bool served(const std::string& text) {
  const platform::Descriptor socket = connection();
  std::string reply;
  std::string buffer(64 << 10, '\0');
  send_all(socket.get(), text);
  while (reply.find(kEnd, reply.size() - std::min<std::size_t>(reply.size(), 32)) == reply.npos) {
    const ssize_t got = recv(socket.get(), buffer.data(), buffer.size(), 0);
    if (got <= 0) break;
    reply.append(buffer.data(), static_cast<std::size_t>(got));
  }
  return reply.starts_with("HTTP/1.1 200");
}

void wait(benchmark::State& state, bool in_crowd) {
  if (in_crowd) gather_crowd();
  const std::string text = request("en");
  std::vector<double> waits;
  for (auto _ : state) {
    waits.clear();
    for (int i = 0; i < kWaits; ++i) {
      const auto begin = Clock::now();
      if (!served(text)) state.SkipWithError("the client was not served");
      waits.push_back(std::chrono::duration<double>(Clock::now() - begin).count());
    }
  }
  std::sort(waits.begin(), waits.end());
  if (!waits.empty()) state.counters["worst_wait_seconds"] = waits[waits.size() * 99 / 100 - 1];
}

}  // namespace

int main(int argc, char** argv) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 8192);
  setrlimit(RLIMIT_NOFILE, &limit);
  benchmark::RegisterBenchmark("wait/alone", wait, false)->Iterations(1)->UseRealTime();
  benchmark::RegisterBenchmark("wait/crowd", wait, true)->Iterations(1)->UseRealTime();
  {
    const bench::Workspace workspace;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
  }
  // The server's threads are at work until the end.
  std::fflush(nullptr);
  _exit(0);
}
