#include "broker/http/loop.h"

#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "platform/descriptor.h"

namespace broker::http {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

struct Recorder : Loop::SocketOwner {
  explicit Recorder(Loop& its_loop) : loop(its_loop) {
    int both[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, both) != 0) std::abort();
    ends[0] = platform::Descriptor(both[0]);
    ends[1] = platform::Descriptor(both[1]);
  }
  void say(std::string text) {
    const std::lock_guard guard(lock);
    said += text;
  }
  std::string heard() {
    const std::lock_guard guard(lock);
    return said;
  }
  void wait_for(const std::string& text) {
    for (int i = 0; i < 6000 && heard() != text; ++i) std::this_thread::sleep_for(milliseconds(5));
    EXPECT_EQ(heard(), text);
  }
  void ready(std::uint32_t events) noexcept override {
    say((events & EPOLLIN) != 0 ? "r" : "?");
    char byte;
    if (recv(ends[0].get(), &byte, 1, 0) <= 0) say("-");
    if (on_ready) on_ready();
  }
  void woken() noexcept override {
    say("w");
    if (on_woken) on_woken();
  }
  void expired() noexcept override { say("e"); }
  void hurried(bool to_the_end) noexcept override { say(to_the_end ? "H" : "h"); }

  Loop& loop;
  platform::Descriptor ends[2];
  std::function<void()> on_ready, on_woken;
  std::mutex lock;
  std::string said;
};

struct LoopTest : testing::Test {
  std::shared_ptr<Recorder> add() {
    auto owner = std::make_shared<Recorder>(loop);
    loop.add(owner, owner->ends[0].get(), EPOLLIN);
    return owner;
  }
  void run() {
    thread = std::thread([this] { loop.run(); });
  }
  void end() {
    loop.stop();
    thread.join();
  }

  Loop loop;
  std::thread thread;
};

TEST_F(LoopTest, TellsOfDataWakesHurryAndEnd) {
  const auto owner = add();
  run();
  EXPECT_EQ(write(owner->ends[1].get(), "x", 1), 1);
  owner->wait_for("r");
  loop.wake(*owner);
  owner->wait_for("rw");
  loop.hurry();
  EXPECT_EQ(owner->heard(), "rwh");
  end();
  EXPECT_EQ(owner->heard(), "rwhH");
}

TEST_F(LoopTest, WakesAreCalledInTheirTurnAndSeveralAsOne) {
  const auto first = add(), second = add();
  std::string order;
  first->on_woken = [&] {
    order += "1";
    // The other one's event is of this round. The new owner must not get it.
    if (order.size() < 2) loop.wake(*first);
  };
  second->on_woken = [&] { order += "2"; };
  loop.wake(*first);
  loop.wake(*first);
  loop.wake(*second);
  run();
  first->wait_for("ww");
  second->wait_for("w");
  end();
  EXPECT_EQ(order, "121");
}

TEST_F(LoopTest, TimesComeInTheirOrderAndOnce) {
  const auto early = add(), late = add(), never = add();
  const auto now = steady_clock::now();
  loop.expire_at(*late, now + milliseconds(30));
  loop.expire_at(*early, now + milliseconds(1000));
  loop.expire_at(*early, now + milliseconds(10));
  loop.expire_at(*never, now);
  loop.expire_at(*never, Loop::Time::max());
  run();
  late->wait_for("e");
  EXPECT_GE(steady_clock::now() - now, milliseconds(30));
  EXPECT_EQ(early->heard(), "e");
  end();
  EXPECT_EQ(early->heard(), "eH");
  EXPECT_EQ(never->heard(), "H");
}

TEST_F(LoopTest, RemovedOnesAreNotCalledAndGo) {
  auto first = add(), second = add();
  const std::weak_ptr<Recorder> gone = second;
  // Both are ready in one round, and each ends the other: one is called.
  std::atomic<int> called = 0;
  first->on_ready = [&] {
    ++called;
    if (const auto other = gone.lock()) loop.remove(*other);
  };
  second->on_ready = [&, other = first.get()] {
    ++called;
    loop.remove(*other);
  };
  EXPECT_EQ(write(first->ends[1].get(), "x", 1) + write(second->ends[1].get(), "x", 1), 2);
  run();
  while (called == 0) std::this_thread::sleep_for(milliseconds(5));
  loop.hurry();
  EXPECT_EQ(called, 1);
  loop.wake(*first);
  loop.wake(*second);
  loop.hurry();
  EXPECT_EQ((first->heard() == "rhwh") + (second->heard() == "rhwh"), 1);
  EXPECT_EQ((first->heard().empty()) + (second->heard().empty()), 1);
  end();
  first = nullptr;
  second = nullptr;
  EXPECT_TRUE(gone.expired());
}

TEST_F(LoopTest, WhatIsNotWantedIsNotTold) {
  const auto owner = add();
  loop.want(*owner, 0);
  EXPECT_EQ(write(owner->ends[1].get(), "x", 1), 1);
  run();
  loop.hurry();
  EXPECT_EQ(owner->heard(), "h");
  owner->on_woken = [&] { loop.want(*owner, EPOLLIN); };
  loop.wake(*owner);
  owner->wait_for("hwr");
  end();
}

}  // namespace
}  // namespace broker::http
