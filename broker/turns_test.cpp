// Calls that wait for their turn. The build with the thread sanitizer runs these tests too.
#include "broker/turns.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "broker/error.h"

namespace broker {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

OneAtATime run_of_a_drive() {
  OneAtATime settings;
  settings.method = "Run";
  settings.argument = "Drive";
  return settings;
}

// A call on a thread of its own. It keeps its turn until it is told to end.
class Call {
 public:
  Call(Turns& turns, std::string drive)
      : drive_(std::move(drive)), thread_([this, &turns] { run(turns); }) {}
  ~Call() {
    ended_ = true;
    ended_.notify_all();
    thread_.join();
  }

  void leave() { gone_ = true; }

  // Waits until the call has its turn or is refused.
  bool has_begun() {
    outcome_.wait(Outcome::None);
    return outcome_ == Outcome::Turn;
  }
  Status refusal() { return has_begun() ? Status::Ok : refusal_->status(); }

 private:
  enum class Outcome { None, Turn, Refusal };

  void run(Turns& turns) {
    try {
      const Turns::Turn turn = turns.take(drive_, [this] { return gone_.load(); });
      come_to(Outcome::Turn);
      ended_.wait(false);
    } catch (const Error& error) {
      refusal_ = error;
      come_to(Outcome::Refusal);
    }
  }
  void come_to(Outcome outcome) {
    outcome_ = outcome;
    outcome_.notify_all();
  }

  const std::string drive_;
  std::atomic<bool> gone_ = false, ended_ = false;
  std::atomic<Outcome> outcome_ = Outcome::None;
  std::optional<Error> refusal_;
  std::thread thread_;
};

class TurnsTest : public testing::Test {
 protected:
  using Calls = std::vector<std::unique_ptr<Call>>;

  std::unique_ptr<Call> call(const std::string& drive) {
    return std::make_unique<Call>(turns_, drive);
  }
  std::unique_ptr<Call> running() {
    auto made = call("sda");
    EXPECT_TRUE(made->has_begun());
    return made;
  }
  // Calls for several drives, in this order.
  Calls waiting(const std::vector<std::string>& drives) {
    Calls calls;
    for (const std::string& drive : drives) {
      const std::size_t before = turns_.waiting();
      calls.push_back(call(drive));
      wait_until_there_are(before + 1);
    }
    return calls;
  }
  void wait_until_there_are(std::size_t number) const {
    for (int tries = 0; turns_.waiting() != number; ++tries) {
      ASSERT_LT(tries, 60'000) << turns_.waiting() << " calls wait";
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  const OneAtATime settings_ = run_of_a_drive();
  std::mutex lock_;
  std::vector<std::string> waits_, notes_;
  Turns turns_{settings_, [this](const std::string& text) {
                 const std::lock_guard guard(lock_);
                 (text.ends_with(" waits for its turn") ? waits_ : notes_).push_back(text);
               }};
};

TEST_F(TurnsTest, FirstComeFirstServed) {
  auto before = running();
  Calls calls = waiting({"sdd", "sda", "sdc", "sdb"});
  while (!calls.empty()) {
    before.reset();
    EXPECT_TRUE(calls.front()->has_begun());
    EXPECT_EQ(turns_.waiting(), calls.size() - 1) << "nobody else's turn has come";
    before = std::move(calls.front());
    calls.erase(calls.begin());
  }
  EXPECT_THAT(notes_, IsEmpty());
  EXPECT_THAT(waits_, UnorderedElementsAre(
                          "Run for sdd waits for its turn", "Run for sda waits for its turn",
                          "Run for sdc waits for its turn", "Run for sdb waits for its turn"));
}

TEST_F(TurnsTest, OneHasItsTurn) {
  std::atomic<int> inside = 0;
  std::atomic<int> turns_had = 0;
  std::vector<std::thread> threads;
  for (const char* drive : {"sda", "sdb", "sdc", "sdd", "sde"}) {
    threads.emplace_back([&, drive] {
      for (int round = 0; round < 200; ++round) {
        const Turns::Turn turn = turns_.take(drive, {});
        EXPECT_EQ(++inside, 1);
        ++turns_had;
        --inside;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(turns_had, 1000);
}

TEST_F(TurnsTest, FourMayWait) {
  auto first = running();
  const Calls calls = waiting({"sdb", "sdc", "sdd", "sde"});
  EXPECT_EQ(call("sdf")->refusal(), Status::ServerLimitsExceeded);
  EXPECT_THAT(notes_, ElementsAre("Run for sdf was not begun: 4 calls wait for their turn already; "
                                  "try again later"));
  first.reset();
  EXPECT_TRUE(calls.front()->has_begun());
  const Calls another = waiting({"sdf"});
  EXPECT_EQ(call("sdg")->refusal(), Status::ServerLimitsExceeded);
  turns_.close();
}

TEST_F(TurnsTest, OneOfADriveMayWait) {
  const auto first = running();
  const Calls calls = waiting({"sda", "sdb"});
  for (const char* drive : {"sda", "sdb"}) {
    notes_.clear();
    EXPECT_EQ(call(drive)->refusal(), Status::ServerLimitsExceeded);
    EXPECT_THAT(notes_, ElementsAre("Run for " + std::string(drive) +
                                    " was not begun: another call waits for the same Drive "
                                    "already"));
  }
  turns_.close();
}

// Its place is free for the next call that comes.
TEST_F(TurnsTest, OneWhoseClientHasGoneIsDropped) {
  const auto first = running();
  const Calls calls = waiting({"sda", "sdb", "sdc", "sdd"});
  calls[0]->leave();
  const auto newcomer = call("sda");
  EXPECT_EQ(calls[0]->refusal(), Status::Failed);
  EXPECT_THAT(notes_, ElementsAre("Run for sda was not begun: its client has gone"));
  wait_until_there_are(4);
  turns_.close();
  EXPECT_EQ(newcomer->refusal(), Status::ServerIsShuttingDown);
}

TEST_F(TurnsTest, OneWhoseClientHasGoneIsDroppedThoughNobodyElseComes) {
  const auto first = running();
  const Calls calls = waiting({"sda"});
  calls[0]->leave();
  EXPECT_EQ(calls[0]->refusal(), Status::Failed);
  EXPECT_EQ(turns_.waiting(), 0u);
}

TEST_F(TurnsTest, TheTurnPassesThoseOver) {
  auto first = running();
  const Calls calls = waiting({"sda", "sdb", "sdc"});
  calls[0]->leave();
  calls[1]->leave();
  first.reset();
  EXPECT_TRUE(calls[2]->has_begun());
  EXPECT_FALSE(calls[0]->has_begun());
  EXPECT_FALSE(calls[1]->has_begun());
}

TEST_F(TurnsTest, WhatHasBegunIsNotAskedForItsClient) {
  const auto first = running();
  first->leave();
  const Calls calls = waiting({"sdb"});
  EXPECT_EQ(turns_.waiting(), 1u) << "the turn was taken from the first";
  turns_.close();
}

// A client that closes its side after the request may still want the reply.
TEST_F(TurnsTest, WhatNeedNotWaitIsNotAskedForItsClient) {
  EXPECT_NO_THROW(turns_.take("sda", [] { return true; }));
}

TEST_F(TurnsTest, TheEndRefusesAllButTheOneThatHasBegun) {
  auto first = running();
  const Calls calls = waiting({"sdb"});
  turns_.close();
  EXPECT_EQ(calls[0]->refusal(), Status::ServerIsShuttingDown);
  EXPECT_EQ(call("sdc")->refusal(), Status::ServerIsShuttingDown);
  EXPECT_TRUE(first->has_begun());
  first.reset();
  EXPECT_EQ(call("sdd")->refusal(), Status::ServerIsShuttingDown);
  EXPECT_THAT(notes_, ElementsAre("Run for sdb was not begun: the server is shutting down",
                                  "Run for sdc was not begun: the server is shutting down",
                                  "Run for sdd was not begun: the server is shutting down"));
}

TEST(Turns, AreAccompaniedUntilTheNextOneBegins) {
  std::vector<std::string> told;
  OneAtATime settings = run_of_a_drive();
  settings.accompany = [&](const std::string& drive) {
    told.push_back("begins " + drive);
    return std::shared_ptr<void>(nullptr,
                                 [&told, drive](void*) { told.push_back("ends " + drive); });
  };
  Turns turns(settings, [](const std::string&) {});
  {
    const Turns::Turn turn = turns.take("sda", {});
    EXPECT_THAT(told, ElementsAre("begins sda"));
  }
  EXPECT_THAT(told, ElementsAre("begins sda", "ends sda"));
  const Turns::Turn next = turns.take("sdb", {});
  EXPECT_THAT(told, ElementsAre("begins sda", "ends sda", "begins sdb"));
}

}  // namespace
}  // namespace broker
