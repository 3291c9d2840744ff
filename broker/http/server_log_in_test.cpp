// Who is admitted, and what a failed log-in costs.
#include <gmock/gmock.h>

#include <crypt.h>

#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "broker/http/test_client.h"

namespace broker::http {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::HasSubstr;

std::shared_ptr<Users> users_with(const std::string& user, const std::string& password) {
  crypt_data data{};
  const std::string hash = crypt_r(password.c_str(), "$5$salt$", &data);
  return std::make_shared<Users>(user + ":" + hash + "\n");
}

class LogIn : public testing::Test {
 protected:
  void start(milliseconds delay = milliseconds(1), int growth = 4) {
    ServerOptions options;
    options.users = users_with("operator", "right");
    options.limits.delay = delay;
    options.limits.longest_delay = delay * growth;
    options.log = [this](int severity, const std::string& text) {
      {
        const std::lock_guard guard(lock_);
        if (severity <= 1) log_.push_back(text);
      }
      if (may_go_on_.valid()) may_go_on_.wait();
    };
    test_ = std::make_unique<TestServer>(
        [this](const cimxml::Call& call, cimxml::Reply& reply) {
          {
            const std::lock_guard guard(lock_);
            principal_ = call.principal;
          }
          echo(call, reply);
        },
        std::move(options));
  }
  TestReply post(const std::string& fields) { return TestClient(test_->port).post("x", fields); }

  void wait_for_log(std::size_t lines = 1) {
    for (bool logged = false; !logged; std::this_thread::yield()) {
      const std::lock_guard guard(lock_);
      logged = log_.size() >= lines;
    }
  }

  std::mutex lock_;
  std::vector<std::string> log_;
  std::string principal_;
  std::shared_future<void> may_go_on_;  // of who has logged a line
  std::unique_ptr<TestServer> test_;
};

TEST_F(LogIn, RightPasswordIsAdmitted) {
  start();
  EXPECT_EQ(post(log_in("operator:right")).status, 200);
  EXPECT_EQ(principal_, "operator");
}

TEST_F(LogIn, EverythingElseIsNot) {
  start();
  const std::string wrong[] = {"",
                               log_in("operator:wrong"),
                               log_in("operator:"),
                               log_in("other:right"),
                               log_in(":right"),
                               log_in("operator"),
                               log_in(std::string("operator:right\0", 15)),
                               "Authorization: Basic !!!!\r\n",
                               "Authorization: Digest username=\"operator\"\r\n"};
  for (const std::string& fields : wrong) {
    const TestReply reply = post(fields);
    EXPECT_EQ(reply.status, 401) << fields;
    EXPECT_THAT(reply.headers.at("www-authenticate"), HasSubstr("Basic realm="));
  }
  EXPECT_EQ(principal_, "");
}

TEST_F(LogIn, RememberedUserStillNeedsThePassword) {
  start();
  EXPECT_EQ(post(log_in("operator:right")).status, 200);
  EXPECT_EQ(post(log_in("operator:right")).status, 200);
  EXPECT_EQ(post(log_in("operator:wrong")).status, 401);
  EXPECT_EQ(post(log_in("operator:right")).status, 200);
}

TEST_F(LogIn, ConnectionLivesThroughARefusal) {
  start();
  TestClient client(test_->port);
  EXPECT_EQ(client.post("x", log_in("operator:wrong")).status, 401);
  EXPECT_EQ(client.post("y", log_in("operator:right")).body, "y");
}

TEST_F(LogIn, FailureIsLoggedWithUserAndAddress) {
  start();
  post(log_in("operator:wrong"));
  const std::lock_guard guard(lock_);
  EXPECT_THAT(log_, testing::ElementsAre("refused a log-in of user 'operator' from 127.0.0.1"));
}

TEST_F(LogIn, NameOfAFailureIsQuoted) {
  start();
  post(log_in("root' from 10.0.0.1:wrong"));
  const std::lock_guard guard(lock_);
  EXPECT_THAT(log_, testing::ElementsAre(
                        "refused a log-in of user 'root%27 from 10.0.0.1' from 127.0.0.1"));
}

TEST_F(LogIn, FailureIsHeldBackAndKeepsNobodyElseWaiting) {
  start(milliseconds(500));
  EXPECT_EQ(post(log_in("operator:right")).status, 200);
  TestClient wrong(test_->port);
  const auto begun = steady_clock::now();
  wrong.send(request_text("POST", "x", log_in("operator:wrong")));
  int served = 0;
  while (!wrong.closed_within(milliseconds(1)) && steady_clock::now() - begun < milliseconds(400))
    served += post(log_in("operator:right")).status == 200 ? 1 : 0;
  EXPECT_GE(served, 3);
  EXPECT_EQ(wrong.receive().status, 401);
  EXPECT_GE(steady_clock::now() - begun, milliseconds(500));
}

TEST_F(LogIn, LongNamesAreCutInTheLog) {
  start();
  EXPECT_EQ(post(log_in(std::string(40'000, 'n') + ":x")).status, 401);
  const std::lock_guard guard(lock_);
  EXPECT_THAT(log_, testing::ElementsAre("refused a log-in of user '" + std::string(255, 'n') +
                                         "' from 127.0.0.1"));
}

TEST_F(LogIn, GuessingInParallelIsNoQuicker) {
  start(milliseconds(1500), 1);
  EXPECT_EQ(post(log_in("operator:right")).status, 200);
  std::vector<std::unique_ptr<TestClient>> clients;
  for (int i = 0; i < 20; ++i) {
    clients.push_back(std::make_unique<TestClient>(test_->port));
    clients.back()->send(request_text("POST", "x", log_in("operator:wrong " + std::to_string(i))));
  }
  EXPECT_EQ(post(log_in("operator:right")).status, 200) << "who is known is not kept waiting";
  int wrong = 0, unseen = 0;
  for (const auto& client : clients) {
    const TestReply reply = client->receive();
    wrong += reply.status == 401 ? 1 : 0;
    unseen += reply.status == 503 && reply.headers.contains("retry-after") ? 1 : 0;
  }
  EXPECT_EQ(wrong, 4);
  EXPECT_EQ(unseen, 16);
  EXPECT_EQ(log_.size(), 4u);
  EXPECT_EQ(post(log_in("operator:wrong")).status, 401) << "there is room again";
}

TEST_F(LogIn, ManyRightOnesAtOnceAreAllAdmitted) {
  start();
  std::vector<std::unique_ptr<TestClient>> clients;
  for (int i = 0; i < 20; ++i) {
    clients.push_back(std::make_unique<TestClient>(test_->port));
    clients.back()->send(request_text("POST", "x", log_in("operator:right")));
  }
  for (const auto& client : clients) EXPECT_EQ(client->receive().status, 200);
}

TEST_F(LogIn, WithoutCredentialsNothingIsHeldBack) {
  start(std::chrono::minutes(10));
  EXPECT_EQ(post("").status, 401);
}

TEST_F(LogIn, ReplacedUsersCountForLaterRequests) {
  start();
  EXPECT_EQ(post(log_in("operator:right")).status, 200);
  test_->server->replace_users(users_with("operator", "new"));
  EXPECT_EQ(post(log_in("operator:right")).status, 401);
  EXPECT_EQ(post(log_in("operator:new")).status, 200);
}

// Also when somebody guesses from the same address, as the same user.
TEST_F(LogIn, KnownUserStaysKnownOverAReload) {
  start(milliseconds(10'000), 1);
  EXPECT_EQ(post(log_in("operator:right")).status, 200);
  std::vector<std::unique_ptr<TestClient>> clients;
  for (int i = 0; i < 4; ++i) {
    clients.push_back(std::make_unique<TestClient>(test_->port));
    clients.back()->send(request_text("POST", "x", log_in("operator:wrong " + std::to_string(i))));
  }
  wait_for_log(4);
  EXPECT_EQ(post(log_in("operator:wrong")).status, 503);
  test_->server->replace_users(users_with("operator", "right"));
  EXPECT_EQ(post(log_in("operator:right")).status, 200);
}

TEST_F(LogIn, EndOfTheServerDoesNotWaitForAnAnswerHeldBack) {
  start(std::chrono::minutes(10));
  TestClient client(test_->port);
  client.send(request_text("POST", "x", log_in("operator:wrong")));
  wait_for_log();
  test_.reset();
  EXPECT_TRUE(client.closed_within(std::chrono::seconds(60)));
}

TEST_F(LogIn, EndOfTheServerDoesNotWaitForAnAnswerHeldBackOnlyThen) {
  std::promise<void> has_ended;
  may_go_on_ = has_ended.get_future();
  start(std::chrono::minutes(10));
  TestClient client(test_->port);
  client.send(request_text("POST", "x", log_in("operator:wrong")));
  wait_for_log();
  std::thread ending([this] { test_.reset(); });
  std::this_thread::sleep_for(milliseconds(100));  // it waits for the log-in by now
  has_ended.set_value();
  ending.join();
  EXPECT_TRUE(client.closed_within(std::chrono::seconds(60)));
}

}  // namespace
}  // namespace broker::http
