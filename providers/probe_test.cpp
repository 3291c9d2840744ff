// The probe. The program defines fork, waitpid, alarm and setrlimit of its own, so that a test can
// make them fail or end differently.
#include "providers/probe_test.h"

#include <signal.h>
#include <sys/resource.h>
#include <sys/time.h>

#include <algorithm>
#include <cstring>

using namespace ovk_cimple;

extern "C" {
pid_t fork() {
  if (child == Child::FailsToStart) return -1;
  ++forks;
  siginfo_t information;
  children_met += waitid(P_ALL, 0, &information, WEXITED | WNOHANG | WNOWAIT) == 0;
  const pid_t pid = next<pid_t()>("fork")();
  if (pid == 0 && (child == Child::IsKilled || forks == killed_fork)) raise(SIGKILL);
  if (pid == 0 && child == Child::ExitsOtherwise) _exit(7);
  return pid;
}
pid_t waitpid(pid_t pid, int* status, int options) {
  ++waits;
  if (wait_for_child == Wait::Fails || (wait_for_child == Wait::IsInterrupted && waits < 4)) {
    errno = wait_for_child == Wait::Fails ? ECHILD : EINTR;
    return -1;
  }
  // The child has ended and its signal was delivered before anybody asks.
  siginfo_t information;
  if (wait_for_child == Wait::IsLate)
    waitid(P_PID, static_cast<id_t>(pid), &information, WEXITED | WNOWAIT);
  return next<pid_t(pid_t, int*, int)>("waitpid")(pid, status, options);
}
// Rings earlier than it was asked to, so that no test waits for the whole time.
unsigned alarm(unsigned seconds) {
  if (child != Child::Hangs) return next<unsigned(unsigned)>("alarm")(seconds);
  const itimerval soon = {{0, 0}, {0, 50000}};
  setitimer(ITIMER_REAL, &soon, nullptr);
  return 0;
}
int setrlimit(__rlimit_resource_t resource, const rlimit* limit) noexcept {
  while (child == Child::Hangs) pause();
  return next<int(int, const rlimit*)>("setrlimit")(static_cast<int>(resource), limit);
}
}

namespace ovk_cimple {
namespace {

using testing::Each;
using testing::ElementsAre;

TEST_F(ProbeTest, BusDevicesThatCannotBeReadAreAskedForTheAdaptersNameAllTheSame) {
  add(bus_device_instance(0, "/dev/sda", "Vellacore"));
  write_reports("/dev/sda (/dev/sg0)", "");
  child = Child::IsKilled;
  Status status;
  provider_.probe(status);
  EXPECT_EQ(status[0], 0);
  EXPECT_FALSE(provider_.isLSIRAIDDevice("/dev/sda", status.data()));
  EXPECT_TRUE(provider_.isLSIMegaRAIDDevice("/dev/sda"));
}

TEST_F(ProbeTest, AChildThatIsKilledMarksItsOwnIndexOnly) {
  for (int i = 0; i < 5; ++i) add(bus_device_instance(i, "/dev/sda", "Disk"));
  for (int killed = 0; killed < 5; ++killed) {
    forks = 0;
    killed_fork = killed + 1;
    Status status;
    provider_.probe(status);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(status[i], i == killed ? 0 : 1) << i;
  }
  killed_fork = 0;
}

TEST_F(ProbeTest, LeavesReadableDevicesAloneAndChildrenLogNothing) {
  for (int i = 0; i < 3; ++i) add(bus_device_instance(i, "/dev/sda", "Disk"));
  add(make<KAVRO_SysBusDevice>());  // every property null
  Status status;
  take_log();
  provider_.probe(status);
  EXPECT_THAT(status, Each(1));
  EXPECT_EQ(forks, 4);
  EXPECT_TRUE(take_log().empty());
}

// Makes one property of a bus device, by default its address list, point to memory that is not
// there, for as long as this lives.
class BrokenDevice {
 public:
  explicit BrokenDevice(const Ref<Instance>& device)
      : BrokenDevice(device, &KAVRO_SysBusDevice::OtherIdentifyingInfo) {}
  template <class Property, class Owner>
  BrokenDevice(const Ref<Instance>& device, Property Owner::*property)
      : device_(device), text_(&(cast<KAVRO_SysBusDevice>(device_.get())->*property)) {
    // A vector's three pointers, or a string's text and length.
    const std::uintptr_t gone[3] = {64, 128, 128};
    std::memcpy(kept_, text_, sizeof kept_);
    std::memcpy(text_, gone, sizeof gone);
  }
  BrokenDevice(const BrokenDevice&) = delete;
  ~BrokenDevice() { std::memcpy(text_, kept_, sizeof kept_); }

 private:
  const Ref<Instance> device_;
  void* const text_;
  std::uintptr_t kept_[3];
};

TEST_F(ProbeTest, MarksTheDeviceWhoseReadingKillsTheChild) {
  for (int i = 0; i < 3; ++i) add(bus_device_instance(i, "/dev/sda", "Disk"));
  const BrokenDevice broken(provider_.fRefInst[1]);
  Status status;
  provider_.probe(status);
  EXPECT_EQ(status[0], 1);
  EXPECT_EQ(status[1], 0);
  EXPECT_EQ(status[2], 1);
}

// The probe reads what isLSIRAIDDevice would read: identifier, addresses and description.
TEST_F(ProbeTest, ReadsEachPropertyThatTheAddressIsAskedFor) {
  add(bus_device_instance(0, "/dev/sda", "Disk"));
  const auto probed = [&] {
    Status status;
    provider_.probe(status);
    return status[0];
  };
  EXPECT_EQ(probed(), 1);
  {
    const BrokenDevice broken(provider_.fRefInst[0], &KAVRO_SysBusDevice::DeviceID);
    EXPECT_EQ(probed(), 0);
  }
  {
    const BrokenDevice broken(provider_.fRefInst[0], &KAVRO_SysBusDevice::OtherIdentifyingInfo);
    EXPECT_EQ(probed(), 0);
  }
  {
    const BrokenDevice broken(provider_.fRefInst[0], &KAVRO_SysBusDevice::Description);
    EXPECT_EQ(probed(), 0);
  }
  {
    const BrokenDevice broken(provider_.fRefInst[0], &KAVRO_SysBusDevice::Name);
    EXPECT_EQ(probed(), 1) << "what is not asked for there may be as it will";
  }
}

TEST_F(ProbeTest, ADeviceThatKillsItsReaderIsSurvivedByEveryTest) {
  cimom_.drives = {drive_instance("/dev/sda"), drive_instance("/dev/sdb"),
                   drive_instance("/dev/sdc")};
  write_reports("/dev/sda (/dev/sg8)\n/dev/sdb (/dev/sg9)\n/dev/sdc (/dev/sg7)\n", "");
  for (const auto& [device, offered] :
       {std::pair{bus_device_instance(8, "/dev/sda", "Vellacore"), "/dev/sdb /dev/sdc"},
        {bus_device_instance(7, "/dev/sdc", "PQI"), "/dev/sda /dev/sdb"},
        {bus_device_instance(9, "/dev/sdb", "Logical Volume"), "/dev/sda /dev/sdb /dev/sdc"}}) {
    provider_.fRefInst.clear();
    cimom_.bus_devices = {device};
    const BrokenDevice broken(device);
    std::string names;
    for (const std::string& name : offered_names()) names += (names.empty() ? "" : " ") + name;
    EXPECT_EQ(names, offered);
  }
}

TEST_F(ProbeTest, WithoutDrivesTheBusDevicesAreReadAndTheReportsTakenAllTheSame) {
  for (int i = 0; i < 3; ++i)
    cimom_.bus_devices.push_back(bus_device_instance(i, "/dev/sda", "Disk"));
  EXPECT_THAT(offers(), testing::IsEmpty());
  EXPECT_EQ(forks, 3);
  EXPECT_THAT(take_calls(), ElementsAre("--usb", "--disk"));
}

TEST_F(ProbeTest, HasOneChildAtATime) {
  for (int i = 0; i < 5; ++i) add(bus_device_instance(i, "/dev/sda", "Disk"));
  for (const Child how : {Child::Ordinary, Child::IsKilled, Child::ExitsOtherwise}) {
    child = how;
    Status status;
    provider_.probe(status);
  }
  EXPECT_EQ(forks, 15);
  EXPECT_EQ(children_met, 0);
}

TEST_F(ProbeTest, TellsHowTheChildEnded) {
  add(bus_device_instance(0, "/dev/sda", "Disk"));
  for (const auto& [how, entry] : {std::pair{Child::Ordinary, 1},
                                   {Child::IsKilled, 0},
                                   {Child::ExitsOtherwise, 1},
                                   {Child::Hangs, 0}}) {
    child = how;
    Status status;
    provider_.probe(status);
    EXPECT_EQ(status[0], entry) << static_cast<int>(how);
  }
}

TEST_F(ProbeTest, ThatCannotForkSaysSoAndCountsTheDeviceAsReadable) {
  add(bus_device_instance(0, "/dev/sda", "Disk"));
  add(bus_device_instance(1, "/dev/sda", "Disk"));
  child = Child::FailsToStart;
  Status status;
  take_log();
  provider_.probe(status);
  EXPECT_THAT(take_log(), ElementsAre("3 Error in fork", "3 Error in fork"));
  EXPECT_THAT(status, Each(1));
}

TEST_F(ProbeTest, ThatCannotWaitCountsTheDeviceAsReadable) {
  add(bus_device_instance(0, "/dev/sda", "Disk"));
  child = Child::IsKilled;
  wait_for_child = Wait::Fails;
  Status status;
  provider_.probe(status);
  EXPECT_THAT(status, Each(1));
  EXPECT_EQ(waits, 1);
  reap_all();
}

TEST_F(ProbeTest, ThatIsInterruptedWaitsOn) {
  add(bus_device_instance(0, "/dev/sda", "Disk"));
  child = Child::IsKilled;
  wait_for_child = Wait::IsInterrupted;
  Status status;
  provider_.probe(status);
  EXPECT_EQ(status[0], 0);
  EXPECT_EQ(waits, 4);
}

TEST_F(ProbeTest, DevicesPastTheHundredthAreNotProbedAndCountAsUnreadable) {
  for (const int count : {99, 100, 101, 250}) {
    provider_.fRefInst.clear();
    forks = 0;
    for (int i = 0; i < count; ++i)
      add(bus_device_instance(i, "/dev/sda", i == count - 1 ? "Logical Volume" : "Disk", ""));
    Status status;
    provider_.probe(status);
    EXPECT_EQ(forks, std::min(count, 100));
    take_log();
    EXPECT_EQ(provider_.isLSIRAIDDevice("/dev/sda", status.data()), count <= 100) << count;
    EXPECT_FALSE(provider_.isMicroFlashDevice("/dev/sda"));
    const auto log = take_log();
    EXPECT_EQ(std::count(log.begin(), log.end(), "3 Device /dev/sda is NOT a MicroFlash Device"),
              count);
  }
}

// A provider that lives long sees its bus devices again in every enumeration.
TEST_F(ProbeTest, EnumerationsAddUpPastTheHundredthBusDevice) {
  cimom_.drives = {drive_instance("/dev/sda")};
  for (int i = 0; i < 40; ++i)
    cimom_.bus_devices.push_back(bus_device_instance(i, "/dev/sda", "Disk", ""));
  write_reports("/dev/sda", "");
  for (const auto& [all, examined] : {std::pair{40, 40}, {80, 80}, {120, 100}, {160, 100}}) {
    forks = 0;
    take_log();
    EXPECT_THAT(offered_names(), ElementsAre("/dev/sda"));
    EXPECT_EQ(provider_.fRefInst.size(), static_cast<std::size_t>(all));
    EXPECT_EQ(forks, examined);
    const auto log = take_log();
    const auto count = [&](const std::string& line) {
      return std::count(log.begin(), log.end(), "3 " + line);
    };
    EXPECT_EQ(count("Device /dev/sda is NOT a LSI_IR Device no continue"), examined);
    EXPECT_EQ(count("Device /dev/sda is NOT a MicroFlash Device"), all);
  }
  // A bus device past the table is not asked for its address, but its name still counts.
  cimom_.bus_devices = {bus_device_instance(0, "/dev/sda", "Logical Volume")};
  EXPECT_THAT(offered_names(), ElementsAre("/dev/sda"));
  cimom_.bus_devices = {bus_device_instance(0, "/dev/sda", "PQI")};
  EXPECT_THAT(offered_names(), testing::IsEmpty());
}

}  // namespace
}  // namespace ovk_cimple
