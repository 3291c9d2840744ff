// Many drives at once, as the commands treat them: one keeper, one history and several threads.
#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "drivetest/fake_drive.h"
#include "drivetest/find_drives.h"
#include "drivetest/history.h"
#include "drivetest/keeper.h"
#include "platform/at_once.h"
#include "platform/support/support_test.h"

namespace drivetest {
namespace {

constexpr std::size_t kDrives = 24;
constexpr unsigned kThreads = 8;

class LockedTime : public FakeTime {
 public:
  std::chrono::sys_seconds now() override {
    const std::lock_guard guard(lock_);
    return FakeTime::now();
  }
  void wait(std::chrono::milliseconds duration) override {
    const std::lock_guard guard(lock_);
    FakeTime::wait(duration);
  }

 private:
  std::mutex lock_;
};

// A drive of its own at each place.
class Machine : public DriveAccess {
 public:
  explicit Machine(FakeTime& time) {
    for (std::size_t i = 0; i < kDrives; ++i) {
      drives_.push_back(std::make_unique<FakeDrive>(time));
      drives_.back()->rename("wwn-0x" + std::to_string(i));
    }
  }

  static Place place(std::size_t number) { return {"/dev/" + std::to_string(number), ""}; }

  Look look(const Place& place, bool wake) override { return at(place).look(place, wake); }
  ToolReply start(const Drive& drive, TestKind kind) override {
    return at(drive.place).start(drive, kind);
  }
  ToolReply stop(const Drive& drive) override { return at(drive.place).stop(drive); }

 private:
  FakeDrive& at(const Place& place) { return *drives_[std::stoul(place.device.substr(5))]; }

  std::vector<std::unique_ptr<FakeDrive>> drives_;
};

class SeveralThreads : public testing::Test {
 protected:
  // Starts a test in each drive, looks at it, and stops it.
  void test_all(Keeper& keeper) {
    platform::at_once(kDrives, kThreads, [&](std::size_t number) {
      const Place place = Machine::place(number);
      const StartOutcome started = keeper.start(place, TestKind::Long, false, false);
      EXPECT_EQ(started.result, StartResult::Started) << started.reason;
      keeper.look(place, false);
      EXPECT_NE(keeper.stop(place, false).result, StopResult::NotStopped);
      EXPECT_FALSE(keeper.look(place, false).running);
    });
  }

  const NKVRHVX20::TemporaryFolder folder_;
  LockedTime time_;
  Machine machine_{time_};
};

TEST_F(SeveralThreads, KeepOneHistory) {
  History history({.folder = folder_ / "hvx", .host = {"aa", "host"}});
  Keeper keeper(machine_, time_, [&] { return &history; });
  test_all(keeper);
  EXPECT_EQ(keeper.history_fault(), "");
  std::size_t rows = 0;
  history.each([&](const KeptTest& kept) {
    EXPECT_TRUE(kept.row.outcome);
    EXPECT_EQ(kept.row.source, Source::Library);
    ++rows;
  });
  EXPECT_EQ(rows, kDrives);
}

TEST_F(SeveralThreads, RememberWhatTheHistoryFailsToKeep) {
  Keeper keeper(machine_, time_,
                []() -> History* { throw HistoryError(HistoryFault::Full, "no room"); });
  test_all(keeper);
  EXPECT_EQ(keeper.history_fault(), "no room");
}

TEST_F(SeveralThreads, LookAtEachDriveOnce) {
  std::vector<FoundDrive> found(kDrives);
  for (std::size_t i = 0; i < kDrives; ++i) found[i].drive.place = Machine::place(i);
  const std::vector<Look> looks = look_at(machine_, found, false, kThreads);
  ASSERT_EQ(looks.size(), kDrives);
  for (std::size_t i = 0; i < kDrives; ++i)
    EXPECT_EQ(looks[i].drive.world_wide_name, "wwn-0x" + std::to_string(i));
}

}  // namespace
}  // namespace drivetest
