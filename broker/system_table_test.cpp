#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <ctime>
#include <thread>
#include <vector>

#include "broker/tables.h"

namespace broker {
namespace {

struct SystemTableTest : testing::Test {
  Tables tables;
  const CMPIBrokerExtFT& xft = tables.system;
};

TEST_F(SystemTableTest, FileNamesOfLibraries) {
  EXPECT_STREQ(xft.resolveFileName("x"), "libx.so");
  EXPECT_EQ(xft.resolveFileName("x"), xft.resolveFileName("x"));
}

TEST_F(SystemTableTest, ThreadsReturnValuesToWhoJoinsThem) {
  int number = 0;
  void* thread = xft.newThread(
      [](void* argument) -> void* {
        *static_cast<int*>(argument) = 5;
        return argument;
      },
      &number, 0);
  ASSERT_NE(thread, nullptr);
  void* result = nullptr;
  EXPECT_EQ(xft.joinThread(thread, &result), 0);
  EXPECT_EQ(result, &number);
  EXPECT_EQ(number, 5);
  EXPECT_EQ(xft.joinThread(nullptr, nullptr), EINVAL);
}

TEST_F(SystemTableTest, ExitAndCancelEndThreads) {
  static const CMPIBrokerExtFT* table;
  table = &xft;
  void* result = nullptr;
  void* leaving = xft.newThread(
      [](void* argument) -> void* {
        table->exitThread(argument);
        return nullptr;
      },
      &result, 0);
  EXPECT_EQ(xft.joinThread(leaving, &result), 0);
  EXPECT_EQ(result, &result);
  void* sleeping = xft.newThread(
      [](void*) -> void* {
        table->threadSleep(60000);
        return nullptr;
      },
      nullptr, 0);
  EXPECT_EQ(xft.cancelThread(sleeping), 0);
  EXPECT_EQ(xft.joinThread(sleeping, &result), 0);
  EXPECT_EQ(result, PTHREAD_CANCELED);
}

TEST_F(SystemTableTest, OnceRunsOnceAndAllWaitForIt) {
  static std::atomic<int> runs;
  runs = 0;
  int once = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      EXPECT_EQ(xft.threadOnce(&once, [] { ++runs; }), 0);
      EXPECT_EQ(runs, 1);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(runs, 1);
}

TEST_F(SystemTableTest, KeysHoldAValuePerThread) {
  CMPI_THREAD_KEY_TYPE key = 0;
  ASSERT_EQ(xft.createThreadKey(&key, nullptr), 0);
  int value = 0;
  EXPECT_EQ(xft.setThreadSpecific(key, &value), 0);
  EXPECT_EQ(xft.getThreadSpecific(key), &value);
  std::thread([&] { EXPECT_EQ(xft.getThreadSpecific(key), nullptr); }).join();
  EXPECT_EQ(xft.destroyThreadKey(key), 0);
}

TEST_F(SystemTableTest, MutexesAreRecursiveAndConditionsWake) {
  void* mutex = xft.newMutex(0);
  void* condition = xft.newCondition(0);
  EXPECT_EQ(xft.lockMutex2(mutex), 0);
  EXPECT_EQ(xft.lockMutex2(mutex), 0);
  EXPECT_EQ(xft.unlockMutex2(mutex), 0);
  std::timespec past{1, 0};
  EXPECT_EQ(xft.timedCondWait(condition, mutex, &past), ETIMEDOUT);
  bool ready = false;
  std::thread waker([&] {
    xft.lockMutex(mutex);
    ready = true;
    EXPECT_EQ(xft.signalCondition(condition), 0);
    xft.unlockMutex(mutex);
  });
  while (!ready) EXPECT_EQ(xft.condWait(condition, mutex), 0);
  EXPECT_EQ(xft.unlockMutex2(mutex), 0);
  waker.join();
  EXPECT_EQ(xft.destroyCondition2(condition), 0);
  EXPECT_EQ(xft.destroyMutex2(mutex), 0);
  EXPECT_EQ(xft.lockMutex2(nullptr), EINVAL);
}

}  // namespace
}  // namespace broker
