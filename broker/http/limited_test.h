// What the tests of the server's limits share.
#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <utility>
#include <vector>

#include "broker/http/test_client.h"

namespace broker::http {

// A server with these limits; every test ends with a client that is served as before.
class Limited : public testing::Test {
 protected:
  void start(const ServerLimits& limits) {
    ServerOptions options;
    options.limits = limits;
    test_ = std::make_unique<TestServer>(echo, std::move(options));
  }
  std::unique_ptr<TestClient> connect() { return std::make_unique<TestClient>(test_->port); }
  // Connected and served.
  std::vector<std::unique_ptr<TestClient>> three_clients() {
    std::vector<std::unique_ptr<TestClient>> clients;
    for (int i = 0; i < 3; ++i) {
      clients.push_back(connect());
      EXPECT_EQ(clients.back()->post("x").status, 200);
    }
    return clients;
  }
  void TearDown() override { EXPECT_EQ(connect()->post("as before").body, "as before"); }

  std::unique_ptr<TestServer> test_;
};

}  // namespace broker::http
