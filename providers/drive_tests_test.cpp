// Each test by which the available-diagnostic-service provider leaves drives out, and the probe.
// The program exports fork, alarm and setrlimit of its own, so that they can fail or end otherwise.
#include <dlfcn.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cstring>

#include "providers/discovery_test.h"

namespace {
enum class Child { ordinary, fails_to_start, is_killed, hangs, exits_otherwise };
Child child = Child::ordinary;
int forks = 0;

template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
}  // namespace

extern "C" {
pid_t fork() {
  if (child == Child::fails_to_start) return -1;
  ++forks;
  const pid_t pid = next<pid_t()>("fork")();
  if (pid == 0 && child == Child::is_killed) raise(SIGKILL);
  if (pid == 0 && child == Child::exits_otherwise) _exit(7);
  return pid;
}
unsigned alarm(unsigned) { return next<unsigned(unsigned)>("alarm")(1); }
int setrlimit(__rlimit_resource_t resource, const rlimit* limit) noexcept {
  while (child == Child::hangs) pause();
  return next<int(int, const rlimit*)>("setrlimit")(static_cast<int>(resource), limit);
}
}

namespace ovk_cimple {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Not;
using Status = KAVRO_HDDTest_AvailableDiagnosticService_Provider::StatusTable;

class DriveTest : public DiscoveryTest {
 protected:
  void SetUp() override {
    DiscoveryTest::SetUp();
    readable.fill(1);
    child = Child::ordinary;
    forks = 0;
  }
  void add(const Ref<Instance>& device) { provider.fRefInst.push_back(device); }
  bool is_raid(const std::string& name) {
    take_log();
    return provider.isLSIRAIDDevice(name, readable.data());
  }
  Status readable;
};

TEST_F(DriveTest, DiskAndUsbAreAskedOfTheirReports) {
  provider.diskBuffer = "Device File: /dev/sda";
  provider.usbBuffer = "Device File: /dev/sdb";
  take_log();
  EXPECT_TRUE(provider.isDiskDevice("/dev/sda"));
  EXPECT_FALSE(provider.isUSBDevice("/dev/sda"));
  EXPECT_FALSE(provider.isDiskDevice("/dev/sdb"));
  EXPECT_TRUE(provider.isUSBDevice("/dev/sdb"));
  EXPECT_THAT(
      take_log(),
      ElementsAre("3 Entering " + operation("isDiskDevice, device=/dev/sda"),
                  "3 Device /dev/sda is a disk device", "3 Exiting " + operation("isDiskDevice"),
                  "3 Entering " + operation("isUSBDevice, device=/dev/sda"),
                  "3 Device /dev/sda is NOT a USB device", "3 Exiting " + operation("isUSBDevice"),
                  "3 Entering " + operation("isDiskDevice, device=/dev/sdb"),
                  "3 Device /dev/sdb is NOT a disk device",
                  "3 Exiting " + operation("isDiskDevice"),
                  "3 Entering " + operation("isUSBDevice, device=/dev/sdb"),
                  "3 Device /dev/sdb is a USB device", "3 Exiting " + operation("isUSBDevice")));
}

TEST_F(DriveTest, EmptyReportsListNothing) {
  EXPECT_FALSE(provider.isDiskDevice("/dev/sda"));
  EXPECT_FALSE(provider.isUSBDevice("/dev/sda"));
}

TEST_F(DriveTest, MicroFlashNeedsNameAndPqiOnOneDeviceAndALaterOneMayDecide) {
  add(test_bus_device(0, "/dev/sda", "Flash pqi"));
  add(test_bus_device(1, "/dev/sdb", "PQI"));
  add(test_bus_device(2, "/dev/sda1", "xPQIx"));
  add(test_bus_device(3, "/dev/sda", "PQI"));
  take_log();
  EXPECT_TRUE(provider.isMicroFlashDevice("/dev/sda"));
  EXPECT_THAT(take_log(), ElementsAre("3 Entering " + operation("isMicroFlashDevice"),
                                      "3 Device /dev/sda is NOT a MicroFlash Device",
                                      "3 Device /dev/sda is NOT a MicroFlash Device",
                                      "3 Device /dev/sda is a MicroFlash Device",
                                      "3 Exiting " + operation("isMicroFlashDevice")));
  EXPECT_FALSE(provider.isMicroFlashDevice("/dev/sdc"));
}

TEST_F(DriveTest, LogicalVolumeMakesEveryDriveAskedAboutARaidDrive) {
  add(test_bus_device(0, "/dev/sdz", "LSILOGIC Logical Volume"));
  EXPECT_TRUE(is_raid("/dev/sda"));
  const auto log = take_log();
  EXPECT_THAT(log, ElementsAre("3 Entering " + operation("isLSIRAIDDevice"), testing::_,
                               "3 Device /dev/sda is a LSI_IR Volume"));
  std::string statuses;
  for (int i = 0; i < 100; ++i) statuses += "1 ";
  EXPECT_EQ(log[1], "3 Size of fRefInst is : 1 Content of iStatusOfRefInst is : " + statuses);
  EXPECT_TRUE(take_calls().empty());
}

TEST_F(DriveTest, AddressWithoutPortGoesOn) {
  add(test_bus_device(0, "/dev/sda", "Disk", ""));
  add(test_bus_device(1, "/dev/sda", "Disk", "Target:1 Bus:0 Lun:0"));
  EXPECT_FALSE(is_raid("/dev/sda"));
  const std::string from = "3 " + operation("isLSIRAIDDevice - BusID from scsidev: ");
  EXPECT_THAT(
      take_log(),
      ElementsAre(
          testing::_, testing::_, from, "3 Device /dev/sda is NOT a LSI_IR Device no continue",
          from + "Target:1 Bus:0 Lun:0", "3 Device /dev/sda is NOT a LSI_IR Device no continue",
          "3 Exiting " + operation("isLSIRAIDDevice, non-zero rc from enuminstances, "
                                   "returning false")));
}

TEST_F(DriveTest, BlockOfTheBusIdDecides) {
  struct {
    const char* driver;
    bool last;
    bool raid;
    const char* line;
  } const rows[] = {{"ahci", false, false, " is Onboard hdd"},
                    {"ata_piix", false, false, " is Onboard hdd"},
                    {"mptsas", false, true, " is a LSI_IR Device"},
                    {"ahci", true, false, " is Onboard hdd"},
                    {"ata_piix", true, false, " is Onboard hdd"},
                    {"mptsas", true, true, " is a LSI_IR Device"}};
  add(test_bus_device(3, "/dev/sda", "Disk"));
  for (const auto& row : rows) {
    write_reports(test_block("0:0:3:0", row.driver, "/dev/sda", 3) +
                      (row.last ? "" : test_block("0:0:4:0", "x", "/dev/sdb", 4)),
                  "");
    EXPECT_EQ(is_raid("/dev/sda"), row.raid) << row.driver;
    const auto log = take_log();
    EXPECT_THAT(log, Contains("3 " + operation("isLSIRAIDDevice - BusID parsed: 0:0:3:0")));
    EXPECT_EQ(log.back(), "3 Device /dev/sda" + std::string(row.line));
  }
  EXPECT_EQ(take_calls().size(), std::size(rows));
}

TEST_F(DriveTest, UnlistedBusIdAndAnotherDrivesBlockGoOn) {
  add(test_bus_device(7, "/dev/sda", "Disk"));
  add(test_bus_device(3, "/dev/sdb", "Disk"));
  write_reports(test_block("0:0:3:0", "mptsas", "/dev/sdb", 3), "");
  EXPECT_FALSE(is_raid("/dev/sda"));
  const auto log = take_log();
  EXPECT_THAT(log, Contains("3 Device /dev/sda is NOT a LSI_IR Device"));
  EXPECT_THAT(log, Contains("3 Device /dev/sda is not a LSI_IR Device"));
  EXPECT_EQ(take_calls().size(), 2u);
}

TEST_F(DriveTest, TwoDigitTargetMayMatchAnotherDisk) {
  add(test_bus_device(12, "/dev/sdb", "Disk"));
  write_reports(test_block("0:0:1:0", "mptsas", "/dev/sda", 1), "");
  EXPECT_TRUE(is_raid("/dev/sda"));
}

TEST_F(DriveTest, AddressWithoutTargetLooksAtTheBeginningOfTheReport) {
  add(test_bus_device(0, "/dev/sda", "Disk", "Port:0 Bus:0 Lun:0"));
  write_reports("Driver: \"mptsas\" /dev/sda Unique ID", "");
  EXPECT_TRUE(is_raid("/dev/sda"));
  EXPECT_THAT(take_log(), Contains("3 " + operation("isLSIRAIDDevice - BusID parsed: ")));
}

TEST_F(DriveTest, UnreadableBusDevicesAreSkipped) {
  add(test_bus_device(0, "/dev/sda", "Logical Volume"));
  add(test_bus_device(1, "/dev/sda", "Logical Volume"));
  readable.fill(0);
  EXPECT_FALSE(is_raid("/dev/sda"));
  readable[1] = 1;
  EXPECT_TRUE(is_raid("/dev/sda"));
}

TEST_F(DriveTest, ScratchFileThatCannotBeOpenedLeavesTheDriveOut) {
  add(test_bus_device(0, "/dev/sda", "Vellacore Disk"));
  write_reports(test_block("0:0:0:0", "ahci", "/dev/sda", 0), "");
  const std::filesystem::path scratch = "/tmp/sgMap.txt";
  std::filesystem::remove_all(scratch);
  std::filesystem::create_symlink("/nonexistent/place", scratch);
  EXPECT_TRUE(is_raid("/dev/sda"));
  provider.diskBuffer = "Driver: \"ahci\" /dev/sda";
  EXPECT_TRUE(provider.isLSIMegaRAIDDevice("/dev/sda"));
  std::filesystem::remove(scratch);
  EXPECT_FALSE(is_raid("/dev/sda"));
  EXPECT_FALSE(std::filesystem::exists(scratch));
}

TEST_F(DriveTest, DriverLineBeforeTheNameDecidesMegaRaid) {
  struct {
    const char* report;
    bool raid;
    std::vector<std::string> lines;
  } const rows[] = {
      {"", false, {"JBOD: Device /dev/sda cannot be found in diskBuffer"}},
      {"/dev/sda Driver: \"x\"", false, {"JBOD: Device /dev/sda cannot find Driver: informaton"}},
      {"Driver: \"ahci\" /dev/sda",
       false,
       {"JBOD: Device /dev/sda DRIVER INFO: Driver: \"ahci\" ",
        "JBOD: Device /dev/sda is not a MegaRaid or mpt2sas Device"}},
      {"Driver: \"megaraid_sas\" /dev/sda",
       true,
       {"JBOD: Device /dev/sda DRIVER INFO: Driver: \"megaraid_sas\" ",
        "JBOD: Device /dev/sda is a MegaRaid Device"}},
      {"Driver: \"mpt2sas\" /dev/sda",
       true,
       {"JBOD: Device /dev/sda DRIVER INFO: Driver: \"mpt2sas\" ",
        "JBOD: Device /dev/sda is a mpt2sas Device"}}};
  for (const auto& row : rows) {
    provider.diskBuffer = row.report;
    take_log();
    EXPECT_EQ(provider.isLSIMegaRAIDDevice("/dev/sda"), row.raid) << row.report;
    std::vector<std::string> expected = {"3 Entering " + operation("isLSIMegaRAIDDevice")};
    for (const std::string& line : row.lines) expected.push_back("3 " + line);
    if (!row.raid)
      expected.push_back("3 Exiting " + operation("isLSIMegaRAIDDevice, non-zero rc from "
                                                  "enuminstances, returning false"));
    EXPECT_EQ(take_log(), expected) << row.report;
  }
}

TEST_F(DriveTest, VellacoreAdapterNeedsTheDriveAndItsIdentifierOnOneLine) {
  add(test_bus_device(1, "/dev/sda", "Disk"));
  add(test_bus_device(2, "/dev/sdb", "Vellacore R5"));
  write_reports("/dev/sda (/dev/sg1)\n/dev/sdb (/dev/sg2)\n", "");
  take_log();
  EXPECT_FALSE(provider.isLSIMegaRAIDDevice("/dev/sda"));
  EXPECT_THAT(take_log(), Contains("3 Device /dev/sda is NOT a MegaRaid Device"));
  EXPECT_TRUE(provider.isLSIMegaRAIDDevice("/dev/sdb"));
  EXPECT_EQ(take_log().back(), "3 Device /dev/sdb is a MegaRaid Device");
  EXPECT_EQ(take_calls().size(), 2u);
}

TEST_F(DriveTest, ProbeLeavesReadableDevicesAloneAndChildrenLogNothing) {
  for (int i = 0; i < 3; ++i) add(test_bus_device(i, "/dev/sda", "Disk"));
  add(make<KAVRO_SysBusDevice>());  // every property null
  Status status;
  take_log();
  provider.probe(status);
  EXPECT_THAT(status, Each(1));
  EXPECT_EQ(forks, 4);
  EXPECT_TRUE(take_log().empty());
}

TEST_F(DriveTest, ProbeMarksTheDeviceWhoseReadingKillsTheChild) {
  for (int i = 0; i < 3; ++i) add(test_bus_device(i, "/dev/sda", "Disk"));
  // A list whose memory is gone; put right again before anybody else looks.
  auto* broken = static_cast<KAVRO_SysBusDevice*>(provider.fRefInst[1].get());
  void* const list = &broken->OtherIdentifyingInfo;
  const std::uintptr_t gone[3] = {64, 128, 128};
  std::uintptr_t kept[3];
  std::memcpy(kept, list, sizeof kept);
  std::memcpy(list, gone, sizeof gone);
  Status status;
  provider.probe(status);
  std::memcpy(list, kept, sizeof kept);
  EXPECT_EQ(status[0], 1);
  EXPECT_EQ(status[1], 0);
  EXPECT_EQ(status[2], 1);
}

TEST_F(DriveTest, ProbeTellsHowTheChildEnded) {
  add(test_bus_device(0, "/dev/sda", "Disk"));
  for (const auto& [how, entry] : {std::pair{Child::ordinary, 1},
                                   {Child::is_killed, 0},
                                   {Child::exits_otherwise, 1},
                                   {Child::hangs, 0}}) {
    child = how;
    Status status;
    provider.probe(status);
    EXPECT_EQ(status[0], entry) << static_cast<int>(how);
  }
}

TEST_F(DriveTest, ProbeThatCannotForkSaysSoAndCountsTheDeviceAsReadable) {
  add(test_bus_device(0, "/dev/sda", "Disk"));
  add(test_bus_device(1, "/dev/sda", "Disk"));
  child = Child::fails_to_start;
  Status status;
  take_log();
  provider.probe(status);
  EXPECT_THAT(take_log(), ElementsAre("3 Error in fork", "3 Error in fork"));
  EXPECT_THAT(status, Each(1));
}

TEST_F(DriveTest, ProbeWhoseChildSomebodyElseReapsCountsTheDeviceAsReadable) {
  add(test_bus_device(0, "/dev/sda", "Disk"));
  child = Child::is_killed;
  struct sigaction ignored = {}, previous = {};
  for (const int flags : {0, SA_NOCLDWAIT}) {
    ignored.sa_handler = flags ? SIG_DFL : SIG_IGN;
    ignored.sa_flags = flags;
    sigaction(SIGCHLD, &ignored, &previous);
    Status status;
    provider.probe(status);
    sigaction(SIGCHLD, &previous, nullptr);
    EXPECT_EQ(status[0], 1) << flags;
  }
}

TEST_F(DriveTest, DevicesPastTheHundredthAreNotProbedAndCountAsUnreadable) {
  for (const int count : {99, 100, 101, 250}) {
    provider.fRefInst.clear();
    forks = 0;
    for (int i = 0; i < count; ++i)
      add(test_bus_device(i, "/dev/sda", i == count - 1 ? "Logical Volume" : "Disk", ""));
    Status status;
    provider.probe(status);
    EXPECT_EQ(forks, std::min(count, 100));
    take_log();
    EXPECT_EQ(provider.isLSIRAIDDevice("/dev/sda", status.data()), count <= 100) << count;
    EXPECT_FALSE(provider.isMicroFlashDevice("/dev/sda"));
    const auto log = take_log();
    EXPECT_EQ(std::count(log.begin(), log.end(), "3 Device /dev/sda is NOT a MicroFlash Device"),
              count);
  }
}

}  // namespace
}  // namespace ovk_cimple
