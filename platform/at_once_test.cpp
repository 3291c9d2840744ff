#include "platform/at_once.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>

namespace platform {
namespace {

TEST(AtOnce, DoesEachOnce) {
  for (const std::size_t count : {0U, 1U, 3U, 100U}) {
    std::multiset<std::size_t> done;
    std::mutex lock;
    at_once(count, 4, [&](std::size_t index) {
      const std::lock_guard guard(lock);
      done.insert(index);
    });
    EXPECT_EQ(done.size(), count);
    EXPECT_EQ(std::set(done.begin(), done.end()).size(), count);
  }
}

TEST(AtOnce, ThrowsWhatOneThrowsWhenTheOthersAreDone) {
  std::atomic<int> done = 0;
  EXPECT_THROW(at_once(20, 4,
                       [&](std::size_t index) {
                         ++done;
                         if (index == 3) throw std::runtime_error("three");
                       }),
               std::runtime_error);
  EXPECT_EQ(done, 20);
}

TEST(AtOnce, IsAtMostSoMany) {
  std::atomic<int> at_work = 0;
  std::atomic<int> most = 0;
  at_once(50, 3, [&](std::size_t) {
    int seen = ++at_work;
    for (int known = most; seen > known && !most.compare_exchange_weak(known, seen);) {
    }
    std::this_thread::yield();
    --at_work;
  });
  EXPECT_LE(most, 3);
}

}  // namespace
}  // namespace platform
