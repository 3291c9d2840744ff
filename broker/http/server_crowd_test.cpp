// A crowd of strangers costs neither a thread each nor a look at the log-ins of those who have
// gone.
#include <atomic>
#include <filesystem>
#include <future>
#include <iterator>
#include <thread>
#include <vector>

#include "broker/http/limited_test.h"

namespace broker::http {
namespace {

using std::chrono::milliseconds;

std::ptrdiff_t threads() {
  const std::filesystem::directory_iterator all("/proc/self/task");
  return std::distance(begin(all), end(all));
}

// Log-ins wait in line: the first one's line for the log is held back, and it is being looked at so
// long.
class Strangers : public Limited {
 protected:
  void SetUp() override {
    ServerOptions options;
    options.users = std::make_shared<Users>("operator:$5$rounds=1000$salt$" + std::string(43, 'a'));
    options.limits.delay = milliseconds(1);
    options.limits.longest_delay = milliseconds(1);
    options.limits.held_log_ins = 1000;
    options.log = [this](int, const std::string&) {
      ++looked_at_;
      may_go_on_.wait();
    };
    test_ = std::make_unique<TestServer>(echo, std::move(options));
    come(1);
    while (looked_at_ == 0) std::this_thread::sleep_for(milliseconds(1));
  }
  void TearDown() override { test_ = nullptr; }

  void come(int number) {
    for (int i = 0; i < number; ++i) {
      clients_.push_back(connect());
      const std::string password =
          std::to_string(clients_.size());  // wrong, and another one for each
      clients_.back()->send(request_text("POST", "x", log_in("x:" + password)));
    }
    EXPECT_EQ(connect()->post("so that the server has seen them").status, 401);
  }

  std::promise<void> go_on_;
  std::shared_future<void> may_go_on_ = go_on_.get_future().share();
  std::atomic<int> looked_at_ = 0;
  std::vector<std::unique_ptr<TestClient>> clients_;
};

TEST_F(Strangers, LogInsTakeNoThreadEach) {
  const auto before = threads();
  come(50);
  EXPECT_LE(threads(), before);
  go_on_.set_value();
  for (const auto& client : clients_) EXPECT_EQ(client->receive().status, 401);
  EXPECT_LE(looked_at_, 51);
}

TEST_F(Strangers, LogInOfWhoHasGoneIsNotLookedAt) {
  come(20);
  for (std::size_t i = 1; i <= 20; ++i) clients_[i]->reset();
  come(1);
  go_on_.set_value();
  EXPECT_EQ(clients_.front()->receive().status, 401);
  EXPECT_EQ(clients_.back()->receive().status, 401);
  EXPECT_EQ(looked_at_, 2);
}

TEST_F(Strangers, EndOfTheServerIsTheirsToo) {
  come(20);
  std::thread ending([this] { test_ = nullptr; });
  go_on_.set_value();
  ending.join();
  for (const auto& client : clients_) EXPECT_TRUE(client->closed_within(std::chrono::seconds(30)));
}

}  // namespace
}  // namespace broker::http
