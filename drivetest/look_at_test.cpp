#include "drivetest/find_drives.h"

#include <gmock/gmock.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace drivetest {
namespace {

using testing::IsEmpty;

// Answers with what was prepared for each place, and counts who asks at once.
class PreparedAccess : public DriveAccess {
 public:
  Look look(const Place& place, bool) override {
    const int now = ++inside_;
    for (int most = most_; now > most && !most_.compare_exchange_weak(most, now);) {
    }
    std::this_thread::yield();
    Look look;
    look.drive.place = place;
    if (place.device == "/dev/sdb") look.fault = LookFault::Standby;
    --inside_;
    return look;
  }
  ToolReply start(const Drive&, TestKind) override { return {}; }
  ToolReply stop(const Drive&) override { return {}; }
  int most() const { return most_; }

 private:
  std::atomic<int> inside_ = 0;
  std::atomic<int> most_ = 0;
};

TEST(LookAt, KeepsTheOrderAndTheBound) {
  std::vector<FoundDrive> drives(50);
  for (std::size_t place = 0; place < drives.size(); ++place)
    drives[place].drive.place.device = "/dev/" + std::to_string(place);
  PreparedAccess access;
  const auto looks = look_at(access, drives, false, 3);
  for (std::size_t place = 0; place < drives.size(); ++place)
    EXPECT_EQ(looks[place].drive.place, drives[place].drive.place);
  EXPECT_LE(access.most(), 3);
  EXPECT_THAT(look_at(access, {}, false), IsEmpty());
}

TEST(LookAt, TakesTheIdentityOfADriveInStandbyFromTheKernel) {
  std::vector<FoundDrive> drives(2);
  drives[0].drive.place.device = "/dev/sda";
  drives[1].drive.place.device = "/dev/sdb";
  for (FoundDrive& one : drives) {
    one.drive.world_wide_name = "wwn-0x5000000000000001";
    one.drive.size = 7;
  }
  PreparedAccess access;
  const auto looks = look_at(access, drives, false);
  EXPECT_EQ(looks[0].drive.world_wide_name, "") << "it says itself who it is";
  EXPECT_EQ(looks[0].drive.size, 7U);
  EXPECT_EQ(looks[1].drive.world_wide_name, "wwn-0x5000000000000001");
}

}  // namespace
}  // namespace drivetest
