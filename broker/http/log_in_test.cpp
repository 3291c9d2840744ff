// Log-ins under attack: those who guess wait, and nobody else does.
#include "broker/http/log_in.h"

#include <crypt.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <ctime>
#include <future>
#include <optional>

namespace broker::http {
namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;
using testing::ElementsAre;
using testing::HasSubstr;
using Admission = LogIns::Admission;

std::string line(const std::string& user, const std::string& password,
                 const char* setting = "$5$rounds=1000$salt$") {
  crypt_data data{};
  return user + ":" + crypt_r(password.c_str(), setting, &data) + "\n";
}

class LogInsTest : public testing::Test {
 protected:
  explicit LogInsTest(milliseconds delay = minutes(10)) {
    ServerLimits limits;
    limits.delay = delay;
    limits.longest_delay = delay;
    log_ins_.emplace(limits, [this](int, const std::string& text) {
      std::unique_lock guard(lock_);
      log_.push_back(text);
      changed_.notify_all();
      changed_.wait(guard, [this] { return !stopped_; });
    });
  }
  ~LogInsTest() override {
    go_on();
    log_ins_->end();
    log_ins_.reset();
    EXPECT_EQ(outstanding_, 0) << "each has one answer";
  }

  std::future<Admission> check(
      const std::string& host, const std::string& user, const std::string& password,
      std::function<bool()> has_gone = [] { return false; }) {
    const auto answer = std::make_shared<std::promise<Admission>>();
    ++outstanding_;
    const auto take = [this, answer](Admission given) {
      if (given == Admission::Held) {
        ++held_;
        return;
      }
      --outstanding_;
      answer->set_value(given);
    };
    log_ins_->check(users_, {user, password}, Address(host, 1), {take, std::move(has_gone)});
    return answer->get_future();
  }
  // Holds the line up until go_on, by a log-in that is being looked at. What comes meanwhile waits.
  void stop() {
    std::unique_lock guard(lock_);
    stopped_ = true;
    log_.clear();
    guard.unlock();
    check("203.0.113.99", "operator", "that of who stops the line");
    guard.lock();
    changed_.wait(guard, [this] { return !log_.empty(); });
    log_.clear();
  }
  void go_on() {
    const std::lock_guard guard(lock_);
    stopped_ = false;
    changed_.notify_all();
  }
  void wait_for_lines(std::size_t count) {
    std::unique_lock guard(lock_);
    changed_.wait(guard, [&] { return log_.size() >= count; });
  }
  static bool is_held(const std::future<Admission>& answer) {
    return answer.wait_for(milliseconds(0)) == std::future_status::timeout;
  }

  std::mutex lock_;
  std::condition_variable changed_;
  bool stopped_ = false;
  std::vector<std::string> log_;
  std::atomic<int> outstanding_ = 0, held_ = 0;
  std::shared_ptr<Users> users_ =
      std::make_shared<Users>(line("operator", "right") + line("monitor", "good"));
  std::optional<LogIns> log_ins_;
};

std::string from(int number) {  // an address in a network of its own
  return "10.0." + std::to_string(number / 250) + "." + std::to_string(number % 250 + 1);
}

TEST_F(LogInsTest, WrongPasswordsOfOneUserLockNobodyElseOut) {
  for (int i = 0; i < 10; ++i) check("127.0.0.1", "monitor", "wrong " + std::to_string(i));
  EXPECT_EQ(check("127.0.0.1", "operator", "right").get(), Admission::Admitted);
  EXPECT_EQ(check("127.0.0.1", "monitor", "good").get(), Admission::Busy) << "guessed at from here";
  EXPECT_EQ(check("192.0.2.1", "monitor", "good").get(), Admission::Admitted);
  EXPECT_EQ(check("127.0.0.1", "monitor", "good").get(), Admission::Admitted) << "is known by now";
}

TEST_F(LogInsTest, AddressesOfThisMachineGuessTogether) {
  for (const char* host : {"127.0.0.1", "127.0.0.2", "::1", "::ffff:127.0.0.3"})
    check(host, "operator", host);
  EXPECT_EQ(check("127.9.9.9", "operator", "guess").get(), Admission::Busy);
}

TEST_F(LogInsTest, NamesOfNobodyAreTreatedLikeUsers) {
  for (const char* user : {"operator", "nobody"}) {
    std::vector<std::future<Admission>> answers;
    for (int i = 0; i < 5; ++i)
      answers.push_back(check("127.0.0.1", user, "wrong " + std::to_string(i)));
    EXPECT_EQ(answers.back().get(), Admission::Busy) << user;
    answers.pop_back();
    EXPECT_TRUE(std::ranges::all_of(answers, is_held)) << user;
  }
}

TEST_F(LogInsTest, FloodOfNamesLeavesALogInItsTurn) {
  stop();
  for (int i = 0; i < 20'000; ++i) check("127.0.0.1", "name " + std::to_string(i), "x");
  auto good = check("127.0.0.1", "operator", "right");
  EXPECT_TRUE(is_held(good));
  EXPECT_LE(outstanding_, 1024 + 64 + 2);
  go_on();
  EXPECT_EQ(good.get(), Admission::Admitted);
}

TEST_F(LogInsTest, FloodOfNamesHoldsFewAnswersAndLogsFewLines) {
  std::future<Admission> last;
  for (int i = 0; i < 10'000; ++i) last = check("127.0.0.1", "name " + std::to_string(i), "x");
  EXPECT_EQ(check("127.0.0.1", "operator", "right").get(), Admission::Admitted);
  EXPECT_LE(outstanding_, 1024 + 64 + 1);
  const std::lock_guard guard(lock_);
  EXPECT_GE(log_.size(), 1u);
  EXPECT_LE(log_.size(), 1000u);
}

TEST_F(LogInsTest, NamesOfNobodyFillNoLog) {
  const auto begun = std::chrono::steady_clock::now();
  for (int i = 0; i < 200; ++i) {
    check("127.0.0.1", "name " + std::to_string(i), "x");
    while (held_ <= i) std::this_thread::yield();
  }
  const auto seconds =
      std::chrono::ceil<std::chrono::seconds>(std::chrono::steady_clock::now() - begun);
  check("127.0.0.1", "operator", "wrong");
  while (held_ <= 200) std::this_thread::yield();
  const std::lock_guard guard(lock_);
  EXPECT_LE(log_.size(), 1 + 10 * static_cast<std::size_t>(seconds.count()));
  EXPECT_THAT(log_.back(), HasSubstr("'operator' from 127.0.0.1; before, "));
  EXPECT_THAT(log_.back(), HasSubstr(" of names that are no user's went unsaid"));
}

// Measured in processor time of this process, since others use the machine as well.
TEST_F(LogInsTest, NamesOfNobodyCostNothingWhileOthersWait) {
  users_ = std::make_shared<Users>(line("operator", "right", "$5$rounds=100000$salt$"));
  const auto before_one = std::clock();
  users_->verify({"operator", "wrong"});
  const auto one = std::clock() - before_one;
  stop();
  const auto before_many = std::clock();
  for (int i = 0; i < 200; ++i) check("127.0.0.1", "name " + std::to_string(i), "x");
  auto good = check("127.0.0.1", "operator", "right");
  go_on();
  EXPECT_EQ(good.get(), Admission::Admitted);
  EXPECT_LT(std::clock() - before_many, 20 * one);
}

TEST_F(LogInsTest, WhoHasFailedLessGoesFirst) {
  for (int i = 0; i < 3; ++i) check("192.0.2.1", "operator", "wrong " + std::to_string(i));
  check("192.0.2.2", "operator", "wrong");
  wait_for_lines(4);
  stop();
  check("192.0.2.1", "operator", "again");
  check("192.0.2.1", "monitor", "again");
  check("192.0.2.2", "operator", "again");
  check("192.0.2.3", "monitor", "first");
  check("192.0.2.4", "operator", "second");
  go_on();
  wait_for_lines(5);
  EXPECT_THAT(
      log_,
      ElementsAre(HasSubstr("'monitor' from 192.0.2.3"), HasSubstr("'operator' from 192.0.2.4"),
                  HasSubstr("'operator' from 192.0.2.2"), HasSubstr("'monitor' from 192.0.2.1"),
                  HasSubstr("'operator' from 192.0.2.1")));
}

TEST_F(LogInsTest, ManyNetworksGuessingAtOneUserDoNotKeepHimOut) {
  constexpr int kNetworks = 200;
  for (int i = 0; i < kNetworks; ++i) check(from(i), "operator", "wrong");
  wait_for_lines(kNetworks);
  stop();
  std::vector<std::future<Admission>> answers;
  for (int guess = 0; guess < 3; ++guess)
    for (int i = 0; i < kNetworks; ++i)
      answers.push_back(check(from(i), "operator", std::to_string(guess)));
  const auto dropped = static_cast<std::size_t>(
      std::ranges::count_if(answers, [](const auto& answer) { return !is_held(answer); }));
  EXPECT_EQ(dropped, answers.size() - 512) << "no more wait";
  auto good = check("192.0.2.1", "operator", "right");
  EXPECT_TRUE(is_held(good)) << "another one was dropped for it";
  go_on();
  EXPECT_EQ(good.get(), Admission::Admitted);
}

TEST_F(LogInsTest, TheSamePasswordIsCheckedOnceForAll) {
  stop();
  std::vector<std::future<Admission>> right, wrong;
  for (int i = 0; i < 100; ++i) {
    right.push_back(check("127.0.0.1", "operator", "right"));
    wrong.push_back(check("127.0.0.1", "monitor", "wrong"));
  }
  go_on();
  for (auto& answer : right) EXPECT_EQ(answer.get(), Admission::Admitted);
  wait_for_lines(1);
  log_ins_->end();
  for (auto& answer : wrong) EXPECT_EQ(answer.get(), Admission::Refused);
  EXPECT_EQ(log_.size(), 1u);
  EXPECT_EQ(held_, 101) << "and was told before, as was who had stopped the line";
}

TEST_F(LogInsTest, WhatIsForNobodyAnyMoreIsNotLookedAt) {
  bool gone = false;
  const auto has_gone = [&] { return gone; };
  stop();
  auto alone = check("127.0.0.1", "operator", "right", has_gone);
  auto first = check("127.0.0.1", "monitor", "good", has_gone);
  auto second = check("127.0.0.1", "monitor", "good");
  gone = true;
  go_on();
  EXPECT_EQ(alone.get(), Admission::Busy);
  EXPECT_EQ(first.get(), Admission::Admitted) << "with who has come with the same password";
  EXPECT_EQ(second.get(), Admission::Admitted);
}

TEST_F(LogInsTest, LongNamesAndPasswordsAreWrongAndCut) {
  auto name = check("127.0.0.1", std::string(40'000, 'n'), "x");
  auto password = check("127.0.0.1", "operator", std::string(40'000, 'x'));
  wait_for_lines(2);
  EXPECT_TRUE(is_held(name));
  EXPECT_TRUE(is_held(password));
  EXPECT_THAT(log_[0], HasSubstr("'" + std::string(255, 'n') + "' from"));
  EXPECT_EQ(check("127.0.0.1", "operator", "right").get(), Admission::Admitted);
}

TEST_F(LogInsTest, KnownUserIsAdmittedWhateverGoesOn) {
  EXPECT_EQ(check("127.0.0.1", "operator", "right").get(), Admission::Admitted);
  stop();
  for (int i = 0; i < 10; ++i) check("127.0.0.1", "operator", "wrong " + std::to_string(i));
  EXPECT_EQ(check("127.0.0.1", "operator", "right").get(), Admission::Admitted);
  const auto before = std::exchange(
      users_, std::make_shared<Users>(line("operator", "right") + line("another", "x")));
  users_->follow(*before);
  EXPECT_EQ(check("127.0.0.1", "operator", "right").get(), Admission::Admitted) << "after a reload";
}

TEST_F(LogInsTest, EndHoldsNobodyBack) {
  auto held = check("127.0.0.1", "operator", "wrong");
  wait_for_lines(1);
  stop();
  auto waiting = check("127.0.0.1", "monitor", "good");
  log_ins_->end();
  EXPECT_EQ(held.get(), Admission::Refused);
  go_on();
  EXPECT_EQ(waiting.get(), Admission::Busy);
  EXPECT_EQ(check("127.0.0.1", "monitor", "good").get(), Admission::Busy);
}

class Guesser : public LogInsTest {
 protected:
  Guesser() : LogInsTest(milliseconds(300)) {}
};

TEST_F(Guesser, WaitsFromWhenHeAskedOn) {
  const auto begun = std::chrono::steady_clock::now();
  EXPECT_EQ(check("127.0.0.1", "operator", "wrong").get(), Admission::Refused);
  EXPECT_GE(std::chrono::steady_clock::now() - begun, milliseconds(300));
}

TEST_F(Guesser, IsLookedAtAgainWhenHisAnswersAreOut) {
  for (int i = 0; i < 4; ++i) check("127.0.0.1", "operator", std::to_string(i));
  EXPECT_EQ(check("127.0.0.1", "operator", "right").get(), Admission::Busy);
  std::this_thread::sleep_for(milliseconds(300));
  EXPECT_EQ(check("127.0.0.1", "operator", "right").get(), Admission::Admitted);
}

}  // namespace
}  // namespace broker::http
