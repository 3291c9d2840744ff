// Each limit of time just under and just over; slow, silent and half clients.
#include <atomic>
#include <filesystem>
#include <iterator>
#include <thread>

#include "broker/http/limited_test.h"

namespace broker::http {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST_F(Limited, RestBetweenRequests) {
  ServerLimits limits;
  limits.idle = seconds(1);
  start(limits);
  const auto client = connect();
  EXPECT_EQ(client->post("x").status, 200);
  std::this_thread::sleep_for(milliseconds(100));
  EXPECT_EQ(client->post("x").status, 200);
  EXPECT_TRUE(client->closed_within(seconds(60)));
}

// The handler takes three times as long as the longest of the other limits. So each of them would
// have ended the connection if the handler's time counted. A self-test takes minutes, where these
// limits are a minute.
TEST_F(Limited, WorkIsNoRest) {
  ServerLimits limits;
  limits.reply = milliseconds(1000);
  limits.unknown = milliseconds(1000);
  limits.idle = seconds(1);
  limits.receive = milliseconds(500);
  ServerOptions options;
  options.limits = limits;
  test_ = std::make_unique<TestServer>(
      [](const cimxml::Call& call, cimxml::Reply& reply) {
        if (call.body == "slow") std::this_thread::sleep_for(milliseconds(3500));
        echo(call, reply);
      },
      std::move(options));
  const auto client = connect();
  EXPECT_EQ(client->post("slow").body, "slow");
  EXPECT_EQ(client->post("x").body, "x");
}

TEST_F(Limited, ReadingTheReplyTakesNoLongerThanRest) {
  ServerLimits limits;
  limits.idle = seconds(1);
  std::atomic<bool> gone = false;
  ServerOptions options;
  options.limits = limits;
  test_ = std::make_unique<TestServer>(
      [&](const cimxml::Call& call, cimxml::Reply& reply) {
        if (call.body != "endless") return echo(call, reply);
        reply.begin(200, {});
        try {
          while (true) reply.write(std::string(100'000, 'x'));
        } catch (const cimxml::Reply::Gone&) {
          gone = true;
        }
      },
      std::move(options));
  const auto client = connect();
  client->send(request_text("POST", "endless"));
  for (int i = 0; i < 6000 && !gone; ++i) std::this_thread::sleep_for(milliseconds(10));
  EXPECT_TRUE(gone);
}

// The reply is longer than what system and server together hold of it.
class SlowReader : public Limited {
 protected:
  static constexpr std::size_t kSize = 20'000'000;

  void start_long(milliseconds time) {
    ServerOptions options;
    options.limits.idle = seconds(5);
    options.limits.reply = time;
    test_ = std::make_unique<TestServer>(
        [this](const cimxml::Call& call, cimxml::Reply& reply) {
          if (call.body != "long") return echo(call, reply);
          reply.begin(200, {});
          try {
            for (std::size_t sent = 0; sent < kSize; sent += 100'000)
              reply.write(std::string(100'000, 'x'));
          } catch (const cimxml::Reply::Gone&) {
            gone_ = true;
          }
        },
        std::move(options));
  }

  // Takes a little every 50 ms, so that the connection is never idle.
  std::size_t read_slowly(TestClient& client, std::size_t piece) {
    std::size_t sum = 0;
    for (std::size_t count = 1; count != 0 && sum < kSize && !gone_; sum += count) {
      std::this_thread::sleep_for(milliseconds(50));
      count = client.read_up_to(piece);
    }
    return sum;
  }

  std::atomic<bool> gone_ = false;
};

TEST_F(SlowReader, IsCutOffAfterAllTheTimeThereIs) {
  start_long(milliseconds(1500));
  const auto client = connect();
  const auto begun = std::chrono::steady_clock::now();
  client->send(request_text("POST", "long"));
  EXPECT_LT(read_slowly(*client, 3000), kSize);
  EXPECT_GE(std::chrono::steady_clock::now() - begun, milliseconds(1400));
  EXPECT_TRUE(gone_);
}

TEST_F(SlowReader, WithinTheTimeGetsAll) {
  start_long(seconds(60));
  const auto client = connect();
  client->send(request_text("POST", "long"));
  EXPECT_GE(read_slowly(*client, 500'000), kSize);
  EXPECT_FALSE(gone_);
  EXPECT_EQ(connect()->post("x").status, 200);
}

class SlowSender : public Limited, public testing::WithParamInterface<std::string> {};

TEST_P(SlowSender, HasAllTheTimeThereIsAndNotMore) {
  ServerLimits limits;
  limits.receive = milliseconds(1000);
  start(limits);
  const std::string request = GetParam();
  const auto slow = connect();
  const auto begun = std::chrono::steady_clock::now();
  bool taken = slow->send("POST /cimom HTTP/1.1\r\n");
  for (std::size_t i = 0; taken && i < request.size(); ++i) {
    taken = slow->send(request.substr(i, 1)) && !slow->closed_within(milliseconds(50));
  }
  EXPECT_FALSE(taken);
  EXPECT_GE(std::chrono::steady_clock::now() - begun, milliseconds(900));
}

INSTANTIATE_TEST_SUITE_P(Parts, SlowSender,
                         testing::Values("Host: x\r\nX: " + std::string(2000, 'h'),
                                         "Host: x\r\nContent-Length: 5000\r\n\r\n" +
                                             std::string(2000, 'b')));

TEST_F(Limited, SlowSenderWithinTheTimeIsServed) {
  start(ServerLimits());
  const auto client = connect();
  for (const char byte : request_text("POST", "slow")) {
    client->send(std::string(1, byte));
    std::this_thread::sleep_for(milliseconds(2));
  }
  EXPECT_EQ(client->receive().body, "slow");
}

TEST_F(Limited, HeadOfAnUnknownClientMustComeSoon) {
  ServerLimits limits;
  limits.unknown = milliseconds(1000);
  start(limits);
  const auto silent = connect(), half = connect(), quick = connect();
  half->send("POST /cim");
  EXPECT_EQ(quick->post("x").status, 200);
  EXPECT_TRUE(silent->closed_within(seconds(30)));
  EXPECT_TRUE(half->closed_within(seconds(30)));
  std::this_thread::sleep_for(milliseconds(1000));
  EXPECT_EQ(quick->post("later").body, "later") << "since it is known";
}

int open_descriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return static_cast<int>(std::distance(begin(all), end(all)));
}

class HalfRequest : public Limited, public testing::WithParamInterface<std::string> {};

// With the limits as they ship, a minute and more. End and data arrive together.
TEST_P(HalfRequest, EndsWithItsClient) {
  ServerLimits limits;
  limits.unknown = limits.receive;
  start(limits);
  EXPECT_EQ(connect()->post("x").status, 200);
  const auto begun = std::chrono::steady_clock::now();
  for (int round = 0; round < 2; ++round) {
    const int before = open_descriptors();
    for (int i = 0; i < 128; ++i) connect()->send(GetParam());
    // The client that is served was accepted after all of them.
    while (connect()->post("x").status != 200) std::this_thread::sleep_for(milliseconds(10));
    for (int i = 0; i < 3000 && open_descriptors() > before; ++i)
      std::this_thread::sleep_for(milliseconds(10));
    EXPECT_LE(open_descriptors(), before);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begun, seconds(30));
}

INSTANTIATE_TEST_SUITE_P(Parts, HalfRequest,
                         testing::Values("", "POST /cimom HT", "POST /cimom HTTP/1.1\r\nHo",
                                         "POST /cimom HTTP/1.1\r\nHost: x\r\n"
                                         "Content-Length: 500\r\n\r\n<CIM"));

TEST_F(Limited, ClientThatHasEndedSendingGetsItsReplyAfterLongWork) {
  ServerOptions options;
  test_ = std::make_unique<TestServer>(
      [](const cimxml::Call& call, cimxml::Reply& reply) {
        if (call.body == "half") std::this_thread::sleep_for(seconds(2));
        echo(call, reply);
      },
      std::move(options));
  const auto client = connect();
  client->send(request_text("POST", "half"));
  client->end_sending();
  EXPECT_EQ(client->receive().body, "half");
}

TEST_F(Limited, ClientThatHasEndedSendingGetsItsReply) {
  start(ServerLimits());
  const auto client = connect();
  client->send(request_text("POST", "half"));
  client->end_sending();
  EXPECT_EQ(client->receive().body, "half");
}

}  // namespace
}  // namespace broker::http
