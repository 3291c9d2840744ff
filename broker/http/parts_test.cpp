// The small parts of the server: addresses, the clock, penalties and workers.
#include <gmock/gmock.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <thread>

#include "broker/http/address.h"
#include "broker/http/clock.h"
#include "broker/http/penalties.h"
#include "broker/http/workers.h"

namespace broker::http {
namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;

TEST(Address, KnowsLoopback) {
  for (const char* host : {"127.0.0.1", "127.9.9.9", "::1", "::ffff:127.0.0.1", "localhost"})
    EXPECT_TRUE(Address(host, 0).is_loopback()) << host;
  for (const char* host : {"0.0.0.0", "128.0.0.1", "192.0.2.1", "::", "::ffff:192.0.2.1", "::2"})
    EXPECT_FALSE(Address(host, 0).is_loopback()) << host;
}

TEST(Address, HasAText) {
  EXPECT_EQ(Address("127.0.0.1", 80).text(), "127.0.0.1:80");
  EXPECT_EQ(Address("::1", 80).text(), "[::1]:80");
  EXPECT_EQ(Address(nullptr).text(), "");
  EXPECT_THROW(Address("no.such.host.invalid", 80), std::runtime_error);
}

TEST(Address, NetworkIsWhatOneClientCanHave) {
  const auto network = [](const char* host) { return Address(host, 80).network(); };
  EXPECT_EQ(network("192.0.2.1"), "192.0.2.1");
  EXPECT_EQ(network("::ffff:192.0.2.1"), "::ffff:192.0.2.1");
  EXPECT_EQ(network("2001:db8:0:1:aaaa::1"), "2001:db8:0:1::");
  EXPECT_EQ(network("2001:db8:0:1:ffff:ffff:ffff:ffff"), "2001:db8:0:1::");
  EXPECT_EQ(network("2001:db8:0:2::1"), "2001:db8:0:2::");
}

TEST(Address, PortInUseIsSaid) {
  Address first("127.0.0.1", 0);
  const int listener = first.listen();
  const std::string text = first.text();
  Address second("127.0.0.1",
                 static_cast<std::uint16_t>(std::stoi(text.substr(text.rfind(':') + 1))));
  try {
    second.listen();
    ADD_FAILURE() << "two listeners on one port";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(error.what(), "cannot listen on " + text + ": Address already in use");
  }
  close(listener);
}

TEST(Clock, RunsWhatIsDueInItsOrder) {
  std::string order;
  std::promise<void> last;
  Clock clock;
  clock.after(milliseconds(30), [&] {
    order += 'c';
    last.set_value();
  });
  clock.after(milliseconds(20), [&] { order += 'b'; });
  clock.cancel(clock.after(milliseconds(10), [&] { order += 'x'; }));
  clock.after(milliseconds(0), [&] { order += 'a'; });
  last.get_future().wait();
  EXPECT_EQ(order, "abc");
}

TEST(Clock, HurryRunsEverythingOnce) {
  int runs = 0;
  {
    Clock clock;
    const auto appointment = clock.after(minutes(10), [&] { ++runs; });
    clock.hurry();
    clock.cancel(appointment);
    clock.cancel({});
    EXPECT_EQ(runs, 1);
    clock.after(minutes(10), [&] { ++runs; });
    clock.after(
        minutes(10), [&] { ++runs; }, Clock::Hurry::no);
    clock.hurry();
    EXPECT_EQ(runs, 2);
  }
  EXPECT_EQ(runs, 2) << "what is not due is forgotten with the clock";
}

TEST(Penalties, DoubleForEachAddressAndAreForgotten) {
  Penalties penalties(milliseconds(1000), milliseconds(4000));
  const auto now = std::chrono::steady_clock::now();
  EXPECT_EQ(penalties.failed("a", now), milliseconds(1000));
  EXPECT_EQ(penalties.failed("a", now), milliseconds(2000));
  EXPECT_EQ(penalties.failed("b", now), milliseconds(1000));
  EXPECT_EQ(penalties.failed("a", now), milliseconds(4000));
  for (int i = 0; i < 3; ++i) penalties.answered("a");
  EXPECT_EQ(penalties.failed("a", now + minutes(5)), milliseconds(4000));
  EXPECT_EQ(penalties.failed("a", now + minutes(11)), milliseconds(4000)) << "one is held back";
  penalties.answered("a");
  penalties.answered("a");
  EXPECT_EQ(penalties.failed("a", now + minutes(17)), milliseconds(1000));
}

TEST(Penalties, OnlySoManyAnswersOfANetworkAreHeldBack) {
  Penalties penalties(milliseconds(1), milliseconds(4), 2);
  penalties.failed("a");
  EXPECT_TRUE(penalties.admits("a"));
  penalties.failed("a");
  EXPECT_FALSE(penalties.admits("a"));
  EXPECT_TRUE(penalties.admits("b"));
  penalties.answered("a");
  EXPECT_TRUE(penalties.admits("a"));
  penalties.answered("unknown");
}

TEST(Penalties, ManyAddressesPushOutTheOldest) {
  Penalties penalties(milliseconds(1), milliseconds(4));
  const auto now = std::chrono::steady_clock::now();
  // The first one's answer is still held back.
  for (int i = 0; i < 1002; ++i) {
    penalties.failed(std::to_string(i), now + milliseconds(i));
    if (i > 0) penalties.answered(std::to_string(i));
  }
  EXPECT_EQ(penalties.failed("1001", now), milliseconds(2));
  EXPECT_EQ(penalties.failed("0", now), milliseconds(2));
  EXPECT_EQ(penalties.failed("1", now), milliseconds(1));
}

TEST(Workers, RunAllTasksAtOnceAndWaitForThem) {
  std::atomic<int> present = 0;
  {
    Workers workers;
    for (int i = 0; i < 20; ++i) {
      workers.run([&] {
        for (++present; present < 20;) std::this_thread::sleep_for(milliseconds(1));
      });
    }
  }
  EXPECT_EQ(present, 20);
}

TEST(Workers, UseIdleThreadsAgain) {
  Workers workers;
  std::thread::id before;
  int reused = 0;
  for (int i = 0; i < 50; ++i) {
    std::promise<std::thread::id> ran;
    workers.run([&] { ran.set_value(std::this_thread::get_id()); });
    const auto id = ran.get_future().get();
    std::this_thread::sleep_for(milliseconds(2));
    reused += id == before ? 1 : 0;
    before = id;
  }
  EXPECT_GT(reused, 10);
}

}  // namespace
}  // namespace broker::http
