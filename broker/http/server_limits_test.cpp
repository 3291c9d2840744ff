// Each limit of size and number just under and just over, and what no client should send.
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <atomic>
#include <filesystem>
#include <future>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "broker/http/limited_test.h"

namespace broker::http {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST_F(Limited, BodyOverTheLimitIsRefused) {
  ServerLimits limits;
  limits.body = 1000;
  start(limits);
  const auto client = connect();
  EXPECT_EQ(client->post(std::string(1000, 'x')).status, 200);
  EXPECT_EQ(client->post(std::string(1001, 'x')).status, 413);
  client->send(request_text("POST", std::string(1001, 'x'), "Expect: 100-continue\r\n"));
  EXPECT_EQ(client->receive().status, 413) << "without a 100 before";
}

TEST_F(Limited, ChunkedBodyOverTheLimitIsRefused) {
  ServerLimits limits;
  limits.body = 0x20;
  start(limits);
  const auto client = connect();
  const std::string head = "POST / HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n";
  const std::string chunk = "10\r\n" + std::string(16, 'x') + "\r\n";
  client->send(head + chunk + chunk + "0\r\n\r\n");
  EXPECT_EQ(client->receive().status, 200);
  client->send(head + chunk + chunk + "1\r\nx\r\n0\r\n\r\n");
  EXPECT_EQ(client->receive().status, 413);
}

TEST_F(Limited, HeaderOverTheLimitIsRefused) {
  ServerLimits limits;
  limits.header = 4096;
  start(limits);
  const std::string rest = request_text("POST", "", "X: \r\n");
  const auto with_header_of = [&](std::size_t size) {
    const auto client = connect();
    client->send(request_text("POST", "", "X: " + std::string(size - rest.size(), 'x') + "\r\n"));
    return client->receive().status;
  };
  EXPECT_EQ(with_header_of(4096), 200);
  EXPECT_EQ(with_header_of(4097), 431);
  EXPECT_EQ(with_header_of(1'000'000), 431);
}

// Where there are no users, a client is known when it has sent the head of a request.
TEST_F(Limited, OldestOfTheUnknownGoesForTheNext) {
  ServerLimits limits;
  limits.unknown_connections = 3;
  start(limits);
  auto known = three_clients();
  std::vector<std::unique_ptr<TestClient>> halves;
  for (int i = 0; i < 4; ++i) {
    halves.push_back(connect());
    halves.back()->send("POST /cimom HTTP/1.1\r\n");
    EXPECT_EQ(known[0]->post("x").status, 200) << "so that the server has seen it";
  }
  EXPECT_TRUE(halves[0]->closed_within(seconds(30)));
  EXPECT_FALSE(halves[1]->closed_within(milliseconds(50)));
  halves[1]->send(std::string(request_text("POST", "late")).substr(22));
  EXPECT_EQ(halves[1]->receive().body, "late");
  for (const auto& client : known) EXPECT_EQ(client->post("x").status, 200);
}

TEST_F(Limited, RestingKnownOneGoesForTheNext) {
  ServerLimits limits;
  limits.known_connections = 3;
  start(limits);
  auto clients = three_clients();
  EXPECT_EQ(connect()->post("x").status, 200);
  EXPECT_TRUE(clients[0]->closed_within(seconds(30)));
  EXPECT_EQ(clients[2]->post("x").status, 200);
}

TEST_F(Limited, NobodyAtWorkGoesForTheNext) {
  std::promise<void> go_on;
  auto may_go_on = go_on.get_future().share();
  std::atomic<int> present = 0;
  ServerOptions options;
  options.limits.known_connections = 3;
  test_ = std::make_unique<TestServer>(
      [&](const cimxml::Call& call, cimxml::Reply& reply) {
        if (call.body == "work") {
          ++present;
          may_go_on.wait();
        }
        echo(call, reply);
      },
      std::move(options));
  std::vector<std::unique_ptr<TestClient>> clients;
  for (int i = 0; i < 3; ++i) {
    clients.push_back(connect());
    clients.back()->send(request_text("POST", "work"));
  }
  while (present < 3) std::this_thread::sleep_for(milliseconds(1));
  EXPECT_EQ(connect()->post("one too many").status, 503);
  go_on.set_value();
  for (const auto& client : clients) EXPECT_EQ(client->receive().body, "work");
  test_ = std::make_unique<TestServer>(echo);  // the other one has ended with all that it used
}

// Two long replies that nobody reads, each with a thread that waits for its client.
TEST_F(Limited, SlowReaderGoesForTheNext) {
  std::atomic<int> gone = 0;
  ServerOptions options;
  options.limits.known_connections = 2;
  test_ = std::make_unique<TestServer>(
      [&](const cimxml::Call& call, cimxml::Reply& reply) {
        if (call.body != "long") return echo(call, reply);
        reply.begin(200, {});
        try {
          while (true) reply.write(std::string(100'000, 'x'));
        } catch (const cimxml::Reply::Gone&) {
          ++gone;
        }
      },
      std::move(options));
  auto first = connect(), second = connect();
  for (const auto& client : {first.get(), second.get()}) {
    client->send(request_text("POST", "long"));
    EXPECT_FALSE(client->read_some().empty());
  }
  // As soon as the system takes no more of the reply.
  while (connect()->post("x").status != 200) std::this_thread::sleep_for(milliseconds(10));
  EXPECT_EQ(connect()->post("again").status, 200);
  // The handler learns that its client is gone when it writes next.
  while (gone == 0) std::this_thread::sleep_for(milliseconds(1));
  EXPECT_EQ(gone, 1);
  first = nullptr;
  second = nullptr;
  test_ = std::make_unique<TestServer>(echo);  // the other one has ended with all that it used
}

// The length that a client announces counts before the body has come.
TEST_F(Limited, LargeBodiesShareTheirRoom) {
  ServerLimits limits;
  limits.large_body = 1000;
  limits.bodies = 10'000;
  start(limits);
  const auto announce = [&](std::size_t size) {
    auto client = connect();
    client->send("POST /cimom HTTP/1.1\r\nHost: x\r\nContent-Length: " + std::to_string(size) +
                 "\r\n\r\n");
    return client;
  };
  auto first = announce(6000);
  EXPECT_EQ(connect()->post("so that the server has seen it").status, 200);
  EXPECT_EQ(connect()->post(std::string(4001, 'x')).status, 503);
  EXPECT_EQ(connect()->post(std::string(4000, 'x')).status, 200);
  EXPECT_EQ(connect()->post(std::string(1000, 'x')).status, 200);
  first->send(std::string(6000, 'y'));
  EXPECT_EQ(first->receive().body, std::string(6000, 'y'));
  // One alone has room, once the workers of the others have let go of their bodies.
  while (connect()->post(std::string(20'000, 'x')).status != 200)
    std::this_thread::sleep_for(milliseconds(1));
  first = announce(6000);
  EXPECT_EQ(connect()->post("so that the server has seen it").status, 200);
  first = nullptr;
  while (connect()->post(std::string(9000, 'x')).status != 200)
    std::this_thread::sleep_for(milliseconds(10));
}

TEST_F(Limited, LargeBodiesInChunksShareTheirRoomToo) {
  ServerLimits limits;
  limits.large_body = 1000;
  limits.bodies = 10'000;
  start(limits);
  const std::string head = "POST / HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n";
  const std::string chunk = "1388\r\n" + std::string(5000, 'x') + "\r\n";
  const auto first = connect();
  first->send(head + chunk);
  EXPECT_EQ(connect()->post("so that the server has seen it").status, 200);
  EXPECT_EQ(connect()->post(std::string(4000, 'x')).status, 503) << "as it may grow";
  first->send("0\r\n\r\n");
  EXPECT_EQ(first->receive().body.size(), 5000u);
}

TEST_F(Limited, BodyThatEndsEarlyIsNoRequest) {
  start(quick_limits());
  const auto client = connect();
  client->send("POST /cimom HTTP/1.1\r\nHost: x\r\nContent-Length: 100\r\n\r\nshort");
  client->end_sending();
  EXPECT_NE(client->receive().status, 200);
}

TEST_F(Limited, BodyOfZerosIsHandedOverAsItIs) {
  start(ServerLimits());
  const std::string zeros(100'000, '\0');
  EXPECT_EQ(connect()->post(zeros).body, zeros);
}

class Malformed : public Limited, public testing::WithParamInterface<std::string> {};

TEST_P(Malformed, IsRefused) {
  start(quick_limits());
  const auto client = connect();
  client->send(GetParam());
  client->end_sending();
  const int status = client->receive().status;
  EXPECT_TRUE(status == 0 || status >= 400) << status;
}

// Two readers could see one request here or two: it is refused as a whole, and the rest is not
// answered.
TEST_F(Limited, HeadersInDoubtAreRefusedOnce) {
  start(ServerLimits());
  for (const std::string fields :
       {"Content-Length: 1\r\n", "Host: x\r\nHost: y\r\nContent-Length: 1\r\n",
        "Host: x\r\nContent-Length: 1\r\nTransfer-Encoding: chunked\r\n",
        "Host: x\r\nContent-Length: 1\r\nContent-Length: 2\r\n"}) {
    const auto client = connect();
    client->send("POST /cimom HTTP/1.1\r\n" + fields + "\r\na" + request_text("POST", "second"));
    TestReply reply = client->receive();
    EXPECT_EQ(reply.status, 400) << fields;
    EXPECT_TRUE(reply.whole) << fields;
    EXPECT_EQ(reply.headers["connection"], "close");
    EXPECT_EQ(client->receive().status, 0) << fields;
  }
  const auto old = connect();
  old->send("POST /cimom HTTP/1.0\r\nContent-Length: 3\r\n\r\nold");
  EXPECT_EQ(old->receive().body, "old") << "which knew no Host";
}

INSTANTIATE_TEST_SUITE_P(
    Requests, Malformed,
    testing::Values(
        std::string(100'000, '\0'), std::string("\x80\xff\x01\r\n\r\n"),
        std::string("POST /cimom HTTP/9.9\r\nHost: x\r\n\r\n"),
        std::string("POST /cimom HTTP/1.1\r\nHost: x\r\nContent-Length: -1\r\n\r\n"),
        std::string("POST /cimom HTTP/1.1\r\nHost: x\r\nContent-Length: 4x\r\n\r\nabcd"),
        std::string("POST /cimom HTTP/1.1\r\nHost: x\r\n"
                    "Content-Length: 99999999999999999999999\r\n\r\n"),
        std::string("POST /cimom HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n"
                    "\r\nzz\r\nabc\r\n0\r\n\r\n"),
        std::string("POST /cimom HTTP/1.1\r\nno field\r\n\r\n"), std::string("POST\r\n\r\n"),
        std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11)));

// Without TCP_NODELAY the second packet of a reply waits for the client's delayed acknowledgement
// of the first.
TEST_F(Limited, SocketsSendAtOnce) {
  start(ServerLimits());
  const auto client = connect();
  EXPECT_EQ(client->post("x").status, 200);
  int connections = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const int descriptor = std::stoi(entry.path().filename());
    sockaddr_in own{}, peer{};
    socklen_t size = sizeof own, peer_size = sizeof peer;
    if (getsockname(descriptor, reinterpret_cast<sockaddr*>(&own), &size) != 0 ||
        getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &peer_size) != 0 ||
        ntohs(own.sin_port) != test_->port)
      continue;
    int at_once = 0;
    size = sizeof at_once;
    EXPECT_EQ(getsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &at_once, &size), 0);
    EXPECT_NE(at_once, 0);
    ++connections;
  }
  EXPECT_EQ(connections, 1);
}

TEST_F(Limited, SocketsAreClosedOnExec) {
  start(ServerLimits());
  const auto client = connect();
  EXPECT_EQ(client->post("x").status, 200);
  int checked = 0, own = -1;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    const std::string target = std::filesystem::read_symlink(entry, error);
    const int descriptor = std::stoi(entry.path().filename());
    if (!target.starts_with("socket:") && !target.starts_with("anon_inode:")) continue;
    const int flags = fcntl(descriptor, F_GETFD);
    if (flags < 0 || (flags & FD_CLOEXEC) != 0) {
      checked += flags >= 0 ? 1 : 0;
      continue;
    }
    // The test's own socket does not have the option.
    EXPECT_EQ(std::exchange(own, descriptor), -1) << target;
  }
  EXPECT_GE(checked, 4) << "listener, connection, epoll and event descriptors";
}

}  // namespace
}  // namespace broker::http
