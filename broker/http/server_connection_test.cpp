// What a connection carries besides one request after the other, and when it ends.
#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>
#include <future>
#include <thread>
#include <vector>

#include "broker/http/limited_test.h"
#include "broker/http/own_names.h"

namespace broker::http {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class Conversation : public Limited {
 protected:
  void SetUp() override { start(ServerLimits()); }
};

TEST_F(Conversation, RequestsSentTogetherAreAnsweredInTurn) {
  const auto client = connect();
  std::string all;
  for (int i = 0; i < 2000; ++i) all += request_text("POST", std::to_string(i));
  std::thread sender([&] { client->send(all); });
  for (int i = 0; i < 2000; ++i) ASSERT_EQ(client->receive().body, std::to_string(i));
  sender.join();
}

TEST_F(Conversation, RefusedRequestsSentTogetherAreToo) {
  const auto client = connect();
  std::string all;
  for (int i = 0; i < 500; ++i) all += request_text("POST", "x", "", "/elsewhere");
  client->send(all + request_text("POST", "last"));
  for (int i = 0; i < 500; ++i) ASSERT_EQ(client->receive().status, 404);
  EXPECT_EQ(client->receive().body, "last");
}

TEST_F(Conversation, BodyIsAskedFor) {
  const auto client = connect();
  client->send(
      "POST /cimom HTTP/1.1\r\nHost: x\r\nExpect: 100-continue\r\nContent-Length: 4\r\n\r\n");
  EXPECT_EQ(client->receive().status, 100);
  client->send("body");
  EXPECT_EQ(client->receive().body, "body");
}

TEST_F(Conversation, ClientThatWantsItsEndGetsIt) {
  for (const std::string head :
       {"POST / HTTP/1.1\r\nHost: x\r\nConnection: TE, Close\r\n", "POST / HTTP/1.0\r\n"}) {
    const auto client = connect();
    client->send(head + "Content-Length: 1\r\n\r\nx");
    TestReply reply = client->receive();
    EXPECT_EQ(reply.body, "x");
    EXPECT_EQ(reply.headers["connection"], "close");
    EXPECT_TRUE(client->closed_within(seconds(30)));
  }
}

TEST_F(Conversation, OldClientMayAskForMore) {
  const auto client = connect();
  for (int i = 0; i < 2; ++i) {
    client->send("POST / HTTP/1.0\r\nConnection: keep-alive\r\nContent-Length: 1\r\n\r\nx");
    TestReply reply = client->receive();
    EXPECT_EQ(reply.headers["connection"], "keep-alive");
    EXPECT_EQ(reply.body, "x");
  }
}

TEST_F(Conversation, ReplyToHeadHasNoBody) {
  const auto client = connect();
  client->send("HEAD /cimom HTTP/1.1\r\nHost: x\r\n\r\nPOST /cimom HTTP/1.1\r\nHost: x\r\n\r\n");
  std::string received;
  while (received.find(" 200 ") == received.npos) {
    const std::string piece = client->read_some();
    ASSERT_FALSE(piece.empty()) << received;
    received += piece;
  }
  EXPECT_NE(received.find("405"), received.npos);
  EXPECT_EQ(received.find("the method must be"), received.npos);
}

TEST_F(Limited, OnlyRequestsForItselfAreAnswered) {
  ServerOptions options;
  options.own_names = std::make_shared<OwnNames>(std::vector<std::string>{"test"});
  test_ = std::make_unique<TestServer>(echo, std::move(options));
  const auto client = connect();
  const auto status = [&](const std::string& host, const std::string& target = "/cimom") {
    client->send("POST " + target + " HTTP/1.1\r\nHost: " + host +
                 "\r\nContent-Length: 1\r\n\r\nx");
    return client->receive().status;
  };
  EXPECT_EQ(status("test"), 200);
  EXPECT_EQ(status("attacker.example"), 421);
  EXPECT_EQ(status("test", "http://attacker.example/cimom"), 421);
  EXPECT_EQ(status("attacker.example", "http://test/cimom"), 421);
  EXPECT_EQ(status("localhost", "http://test:1/cimom"), 200);
  EXPECT_EQ(status("127.0.0.1:5988"), 200);
}

// The server's end of the connection, which is in this process too.
int end_of_server(std::uint16_t port) {
  for (int socket = 3; socket < 1000; ++socket) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    if (getsockname(socket, any, &size) != 0 || ntohs(address.sin_port) != port) continue;
    size = sizeof address;
    if (getpeername(socket, any, &size) == 0) return socket;
  }
  return -1;
}

TEST_F(Conversation, KernelKeepsLittleForAClient) {
  const auto client = connect();
  EXPECT_EQ(client->post("x").status, 200);
  const int end = end_of_server(test_->port);
  for (const int buffer : {SO_SNDBUF, SO_RCVBUF}) {
    int size = 0;
    socklen_t length = sizeof size;
    ASSERT_EQ(getsockopt(end, SOL_SOCKET, buffer, &size, &length), 0);
    EXPECT_LE(size, 256 << 10);
  }
}

// A slot that its client no longer needs is free, even while a handler still works for it.
TEST_F(Limited, ClientThatGoesAwayDuringWorkLeavesItsSlot) {
  std::promise<void> go_on;
  auto may_go_on = go_on.get_future().share();
  std::atomic<int> present = 0, told = 0, finished = 0;
  ServerOptions options;
  options.limits.known_connections = 3;
  test_ = std::make_unique<TestServer>(
      [&](const cimxml::Call& call, cimxml::Reply& reply) {
        if (call.body == "work") {
          EXPECT_FALSE(reply.client_has_gone());
          ++present;
          while (!reply.client_has_gone()) std::this_thread::sleep_for(milliseconds(5));
          ++told;
          may_go_on.wait();
        }
        echo(call, reply);
        ++finished;
      },
      std::move(options));
  std::vector<std::unique_ptr<TestClient>> clients;
  for (int round = 0; round < 3; ++round) {
    for (int i = 0; i < 3; ++i) {
      clients.push_back(connect());
      clients.back()->send(request_text("POST", "work"));
    }
    while (present < 3 * (round + 1)) std::this_thread::sleep_for(milliseconds(5));
    EXPECT_EQ(connect()->post("one too many").status, 503);
    clients.clear();
    while (told < 3 * (round + 1)) std::this_thread::sleep_for(milliseconds(5));
    EXPECT_EQ(connect()->post("as before").status, 200);
  }
  go_on.set_value();
  // Nine that worked, and one that was served in each round.
  while (finished < 12) std::this_thread::sleep_for(milliseconds(5));
  test_ = std::make_unique<TestServer>(echo);
}

// The same while a reply has begun and waits for its provider.
TEST_F(Limited, ClientThatGoesAwayBetweenPiecesIsNoticed) {
  std::atomic<bool> told = false, finished = false;
  test_ = std::make_unique<TestServer>([&](const cimxml::Call& call, cimxml::Reply& reply) {
    if (call.body != "pieces") return echo(call, reply);
    reply.begin(200, {});
    reply.write(std::string(100'000, 'x'));
    while (!reply.client_has_gone()) std::this_thread::sleep_for(milliseconds(5));
    told = true;
    finished = true;
  });
  auto client = connect();
  client->send(request_text("POST", "pieces"));
  for (std::size_t read = 0; read < 100'000;) read += client->read_up_to(1000);
  client->end_sending();
  for (int i = 0; i < 6000 && !told; ++i) std::this_thread::sleep_for(milliseconds(5));
  EXPECT_TRUE(told);
  client = nullptr;
  while (!finished) std::this_thread::sleep_for(milliseconds(5));
  test_ = std::make_unique<TestServer>(echo);
}

class Stranger : public Limited {
 protected:
  void SetUp() override {
    ServerOptions options;
    options.users = std::make_shared<Users>("operator:$5$rounds=1000$salt$" + std::string(43, 'a'));
    options.limits.unknown = milliseconds(1500);
    test_ = std::make_unique<TestServer>(echo, std::move(options));
  }
  void TearDown() override { EXPECT_EQ(connect()->post("as before").status, 401); }

  std::size_t sent_until_closed(TestClient& client, const std::string& piece) {
    std::size_t sent = 0;
    while (sent < 10'000'000 && client.send(piece)) sent += piece.size();
    return sent;
  }
};

TEST_F(Stranger, MaySendLittleBeforeTheConnectionEnds) {
  const auto announced = connect(), chunked = connect();
  announced->send("POST /cimom HTTP/1.1\r\nHost: x\r\nContent-Length: 65537\r\n\r\n");
  TestReply reply = announced->receive();
  EXPECT_EQ(reply.status, 401);
  EXPECT_EQ(reply.headers["connection"], "close");
  EXPECT_TRUE(announced->closed_within(seconds(30)));

  chunked->send("POST /cimom HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n");
  const std::string chunk = "400\r\n" + std::string(1024, 'x') + "\r\n";
  for (int i = 0; i < 65; ++i) chunked->send(chunk);
  reply = chunked->receive();
  EXPECT_EQ(reply.status, 401);
  EXPECT_EQ(reply.headers["connection"], "close");
  EXPECT_LT(sent_until_closed(*chunked, chunk), 10'000'000u);

  const auto client = connect();
  EXPECT_EQ(client->post(std::string(65536, 'x')).status, 401);
  EXPECT_EQ(client->post("again").status, 401) << "as much as that is no reason to end it";
}

TEST_F(Stranger, HasLittleTimeForHeadAndBody) {
  const auto begun = std::chrono::steady_clock::now();
  const auto head = connect(), body = connect();
  head->send("POST /cimom HTTP/1.1\r\n");
  body->send("POST /cimom HTTP/1.1\r\nHost: x\r\nContent-Length: 5\r\n\r\nbody");
  EXPECT_TRUE(head->closed_within(seconds(30)));
  EXPECT_TRUE(body->closed_within(seconds(30)));
  const auto taken = std::chrono::steady_clock::now() - begun;
  EXPECT_GE(taken, milliseconds(1400));
  EXPECT_LT(taken, seconds(30));
}

}  // namespace
}  // namespace broker::http
