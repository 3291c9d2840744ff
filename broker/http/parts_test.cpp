// The small parts of the server: addresses, the timer and workers.
#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>

#include "broker/http/address.h"
#include "broker/http/timer.h"
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
  EXPECT_EQ(network("::ffff:192.0.2.1"), "192.0.2.1");
  EXPECT_EQ(network("2001:db8:0:1:aaaa::1"), "2001:db8:0:1::");
  EXPECT_EQ(network("2001:db8:0:1:ffff:ffff:ffff:ffff"), "2001:db8:0:1::");
  EXPECT_EQ(network("2001:db8:0:2::1"), "2001:db8:0:2::");
}

TEST(Address, AllOfThisMachineAreOneNetwork) {
  for (const char* host : {"127.0.0.1", "127.200.3.4", "::1", "::ffff:127.0.0.2"})
    EXPECT_EQ(Address(host, 80).network(), "loopback") << host;
  EXPECT_EQ(Address("::2", 80).network(), "::");
}

TEST(Address, PortInUseIsSaid) {
  Address first("127.0.0.1", 0);
  const platform::Descriptor listener = first.listen();
  const std::string text = first.text();
  Address second("127.0.0.1",
                 static_cast<std::uint16_t>(std::stoi(text.substr(text.rfind(':') + 1))));
  try {
    second.listen();
    ADD_FAILURE() << "two listeners on one port";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(error.what(), "cannot listen on " + text + ": Address already in use");
  }
}

TEST(Timer, RunsWhatIsDueInItsOrder) {
  std::string order;
  std::promise<void> last;
  Timer timer;
  timer.after(milliseconds(30), [&] {
    order += 'c';
    last.set_value();
  });
  timer.after(milliseconds(20), [&] { order += 'b'; });
  timer.after(milliseconds(0), [&] { order += 'a'; });
  last.get_future().wait();
  EXPECT_EQ(order, "abc");
}

TEST(Timer, HurryRunsEverythingOnce) {
  int runs = 0;
  {
    Timer timer;
    timer.after(minutes(10), [&] { ++runs; });
    timer.hurry();
    EXPECT_EQ(runs, 1);
    timer.after(minutes(10), [&] { ++runs; });
    timer.hurry();
    EXPECT_EQ(runs, 2);
    timer.after(minutes(10), [&] { ++runs; });
  }
  EXPECT_EQ(runs, 2) << "what is not due is forgotten with the timer";
}

TEST(Timer, HurriesWhatIsDueFirst) {
  std::string order;
  Timer timer;
  timer.after(minutes(20), [&] { order += 'b'; });
  timer.after(minutes(10), [&] { order += 'a'; });
  timer.hurry_next();
  EXPECT_EQ(order, "a");
  timer.hurry_next();
  timer.hurry_next();
  EXPECT_EQ(order, "ab");
}

TEST(Workers, RunAllTasksAtOnceAndWaitForThem) {
  std::atomic<int> present = 0;
  {
    Workers workers(20);
    for (int i = 0; i < 20; ++i) {
      workers.run([&] {
        for (++present; present < 20;) std::this_thread::sleep_for(milliseconds(1));
      });
    }
  }
  EXPECT_EQ(present, 20);
}

TEST(Workers, AreNoMoreThanMayBe) {
  std::atomic<int> present = 0;
  std::atomic<int> most = 0;
  std::atomic<int> done = 0;
  {
    Workers workers(2);
    for (int i = 0; i < 20; ++i) {
      workers.run([&] {
        const int now = ++present;
        for (int before = most; before < now && !most.compare_exchange_weak(before, now);) continue;
        std::this_thread::sleep_for(milliseconds(1));
        --present;
        ++done;
      });
    }
  }
  EXPECT_LE(most, 2);
  EXPECT_EQ(done, 20);
}

TEST(Workers, OneThreadTakesTasksInTurn) {
  std::string order;
  {
    Workers workers(1);
    std::promise<void> go_on;
    auto may_go_on = go_on.get_future().share();
    for (const char name : {'a', 'b', 'c'}) {
      workers.run([&order, may_go_on, name] {
        may_go_on.wait();
        order += name;
      });
    }
    go_on.set_value();
  }
  EXPECT_EQ(order, "abc");
}

TEST(Workers, ThreadThatIsAlmostDoneIsWaitedFor) {
  Workers workers;
  std::promise<std::thread::id> first, second;
  std::promise<void> go_on;
  auto may_go_on = go_on.get_future().share();
  workers.run([&] {
    workers.end_soon();
    first.set_value(std::this_thread::get_id());
    may_go_on.wait();
  });
  const auto id = first.get_future().get();
  workers.run([&] { second.set_value(std::this_thread::get_id()); });
  go_on.set_value();
  EXPECT_EQ(second.get_future().get(), id);
}

TEST(Workers, UseIdleThreadsAgain) {
  Workers workers(20);
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
