// What hwinfo is asked, how it is asked, and what becomes of its answers. The program defines both
// forms of SpawnProcess; they note their arguments and call the library's.
#include <cstdlib>

#include "platform/support/osspecific.h"
#include "providers/discovery_test.h"

namespace {
std::vector<std::string> shell_commands;
std::vector<std::pair<std::string, int>> programs;  // command line and seconds
}  // namespace

int NKVRHVX20::TOSSpecific::SpawnProcess(std::string program, std::vector<std::string> arguments,
                                         std::string& output, int seconds) {
  std::string all = program;
  for (const std::string& argument : arguments) all += " " + argument;
  shell_commands.push_back(all + ", " + std::to_string(seconds));
  return ovk_cimple::next<int(std::string, std::vector<std::string>, std::string&, int)>(
      "_ZN9NKVRHVX2011TOSSpecific12SpawnProcessENSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEE"
      "ESt6vectorIS6_SaIS6_EERS6_i")(program, arguments, output, seconds);
}

std::string NKVRHVX20::TOSSpecific::SpawnProcess(const std::string& command_line, int seconds) {
  programs.emplace_back(command_line, seconds);
  return ovk_cimple::next<std::string(const std::string&, int)>(
      "_ZN9NKVRHVX2011TOSSpecific12SpawnProcessERKNSt7__cxx1112basic_string"
      "IcSt11char_traitsIcESaIcEEEi")(command_line, seconds);
}

namespace ovk_cimple {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class HwinfoTest : public DriveTest {
 protected:
  void SetUp() override {
    DriveTest::SetUp();
    shell_commands.clear();
    programs.clear();
  }
};

TEST_F(HwinfoTest, HasThreeHundredSecondsForEachReport) {
  provider_.getDiskDeviceList();
  provider_.getUSBDeviceList();
  EXPECT_THAT(programs, ElementsAre(Pair("hwinfo --disk", 300), Pair("hwinfo --usb", 300)));
  EXPECT_THAT(shell_commands, IsEmpty());
}

TEST_F(HwinfoTest, ReportsForAnAddressGoThroughTheScratchFile) {
  add(bus_device_instance(0, "/dev/sda", "Disk"));
  EXPECT_FALSE(is_raid("/dev/sda"));
  EXPECT_THAT(shell_commands, ElementsAre("/bin/sh -c hwinfo --disk > /tmp/sgMap.txt, 300",
                                          "/bin/sh -c rm -rf /tmp/sgMap.txt, 300"));
  EXPECT_THAT(programs, IsEmpty());
}

// Kept on purpose: names are not quoted. The inventory publishes no name that a shell would split.
TEST_F(HwinfoTest, LinesForAnAdaptersNameAreLookedUpByTheNameWithoutQuotes) {
  add(bus_device_instance(0, "/dev/sda", "Vellacore"));
  for (const std::string name : {"/dev/sda", "-e /dev/sda", "/dev/sd[a]"}) {
    shell_commands.clear();
    EXPECT_FALSE(provider_.isLSIMegaRAIDDevice(name));
    EXPECT_THAT(shell_commands,
                ElementsAre("/bin/sh -c hwinfo --disk | grep " + name + " > /tmp/sgMap.txt, 300",
                            "/bin/sh -c rm -rf /tmp/sgMap.txt, 300"));
  }
}

TEST_F(HwinfoTest, IsNotAskedForBusDevicesThatCannotBeRead) {
  for (int i = 0; i < 3; ++i) add(bus_device_instance(i, "/dev/sda", "Logical Volume"));
  readable_.fill(0);
  EXPECT_FALSE(is_raid("/dev/sda"));
  EXPECT_THAT(take_log(), ElementsAre("3 Entering " + operation("isLSIRAIDDevice"), testing::_,
                                      "3 Exiting " + operation("isLSIRAIDDevice, non-zero rc from "
                                                               "enuminstances, returning false")));
  EXPECT_THAT(shell_commands, IsEmpty());
  EXPECT_THAT(programs, IsEmpty());
}

TEST_F(HwinfoTest, IsNotAskedAgainForAnAdaptersNameWithoutBusDevices) {
  for (const auto& [driver, raid] :
       {std::pair{"megaraid_sas", true}, {"mpt2sas", true}, {"ahci", false}}) {
    provider_.diskBuffer = test_block("0:0:0:0", driver, "/dev/sda", 0);
    EXPECT_EQ(provider_.isLSIMegaRAIDDevice("/dev/sda"), raid) << driver;
  }
  EXPECT_THAT(shell_commands, IsEmpty());
  EXPECT_THAT(programs, IsEmpty());
}

TEST_F(HwinfoTest, ThatFailsIsBelievedWhatItPrinted) {
  cimom_.drives = {drive_instance("/dev/sda")};
  write_reports("/dev/sda", "");
  write_hwinfo("exit 3\n");
  EXPECT_THAT(offered_names(), ElementsAre("/dev/sda"));
  write_reports("/dev/sda", "/dev/sda");
  EXPECT_THAT(offered_names(), IsEmpty());
}

TEST_F(HwinfoTest, ThatIsKilledHasPrintedNothing) {
  cimom_.drives = {drive_instance("/dev/sda")};
  write_reports("/dev/sda", "/dev/sda");
  write_hwinfo("kill -KILL $$\n");
  EXPECT_THAT(offered_names(), IsEmpty());
  EXPECT_EQ(provider_.diskBuffer, "");
  EXPECT_EQ(provider_.usbBuffer, "");
  const auto log = take_log();
  EXPECT_THAT(log, Contains("3 Device /dev/sda is NOT a USB device"));
  EXPECT_THAT(log, Contains("3 Device /dev/sda is NOT a disk device, omitting from HDD Test"));
}

}  // namespace
}  // namespace ovk_cimple
