#include "cli/drive_look.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace cli {
namespace {

const std::string kAta =
    "Device Model:     EXAMPLE DISK-00GXCB0\n"
    "Serial Number:    EX-012345ABCDEF\n"
    "SMART support is: Available - device has SMART capability.\n"
    "SMART support is: Enabled\n";

const std::string kEmptyLog = "SMART Self-test log structure revision number 1\n";

std::string entry(const std::string& status, const std::string& share = "00%") {
  return kEmptyLog + "# 1  Short offline       " + status + "       " + share +
         "      1217         -\n";
}

DriveLook look(const std::string& log, const std::string& capabilities = "") {
  return read_look({0, kAta}, {0, log}, {0, capabilities});
}

TEST(DriveLook, IsReadyWhenNoTestRuns) {
  const DriveLook ready = look(entry("Completed: read failure"));
  EXPECT_EQ(ready.readiness, Readiness::Ready);
  EXPECT_EQ(ready.model, "EXAMPLE DISK-00GXCB0");
  EXPECT_EQ(ready.serial, "EX-012345ABCDEF");
  EXPECT_EQ(readiness_words(ready), "ready");
  EXPECT_EQ(readiness_reason(ready, "/dev/sda"), "");
  EXPECT_EQ(look(kEmptyLog).readiness, Readiness::Ready);
}

TEST(DriveLook, NamesOfOtherDrives) {
  const DriveLook scsi = read_information(
      {0,
       "Vendor:               EXAMPLE\nProduct:              SAS900G\nSerial number:        S1\n"
       "SMART support is:     Unavailable - device lacks SMART capability.\n"});
  EXPECT_EQ(scsi.model, "EXAMPLE SAS900G");
  EXPECT_EQ(scsi.serial, "S1");
  EXPECT_EQ(scsi.readiness, Readiness::NoSmart);
  const DriveLook nvme = read_information(
      {0,
       "Model Number:                       EXAMPLE NVME\nSerial Number:                      N1\n"
       "NVMe Version:                       1.4\n"});
  EXPECT_EQ(nvme.model, "EXAMPLE NVME");
  EXPECT_EQ(nvme.readiness, Readiness::NoSmart);
  EXPECT_EQ(readiness_reason(nvme, "/dev/nvme0n1"),
            "smartctl shows no SMART of NVMe drives; 'hddtest start /dev/nvme0n1' "
            "tests it");
}

TEST(DriveLook, SmartOff) {
  for (const char* text : {"SMART support is: Disabled\n", "SMART support is:     Disabled\n",
                           "Device supports SMART and is Disabled\n"}) {
    const DriveLook off = read_information({0, text});
    EXPECT_EQ(off.readiness, Readiness::SmartOff) << text;
    EXPECT_EQ(readiness_reason(off, "/dev/sda"),
              "SMART is off; 'smartctl -s on /dev/sda' switches it on");
  }
}

TEST(DriveLook, SmartOnInWordsThatTheModuleDoesNotKnow) {
  EXPECT_EQ(read_information({0, "SMART support is:     Enabled\n"}).readiness,
            Readiness::NotUnderstood);
}

TEST(DriveLook, RunningTestOfTheLog) {
  const DriveLook running = look(entry("Self-test routine in progress", "60%"));
  EXPECT_EQ(running.readiness, Readiness::Running);
  EXPECT_EQ(running.remaining, 60);
  EXPECT_EQ(readiness_words(running), "test running, 60% remaining");
  EXPECT_EQ(readiness_reason(running, "/dev/sda"),
            "a test runs in it already, 60% remaining; wait for its end, which "
            "'hddtest watch /dev/sda' shows, or end it with 'hddtest stop /dev/sda'");
  const DriveLook silent = look(entry("Self-test routine in progress", "150%"));
  EXPECT_EQ(silent.readiness, Readiness::Running);
  EXPECT_EQ(readiness_words(silent), "test running");
}

TEST(DriveLook, RunningTestOfAScsiDrive) {
  const DriveLook running = look(
      "Self-test execution status:\t\t75% of test remaining\nSMART Self-test log\n"
      "# 1  Background long   Self test in progress ...   -     NOW       - [-   -    -]\n");
  EXPECT_EQ(running.readiness, Readiness::Running);
  EXPECT_EQ(running.remaining, 75);
}

TEST(DriveLook, RunningTestThatTheLogDoesNotShow) {
  const DriveLook running =
      look(entry("Completed without error"),
           "Self-test execution status:      ( 249)\tSelf-test routine in progress...\n"
           "\t\t\t\t\t90% of test remaining.\n");
  EXPECT_EQ(running.readiness, Readiness::Running);
  EXPECT_EQ(running.remaining, 90);
}

TEST(DriveLook, TestThatTheLogShowsForEver) {
  EXPECT_EQ(look(entry("Self-test routine in progress", "90%"),
                 "Self-test execution status:      (  25)\tThe self-test routine was aborted by\n")
                .readiness,
            Readiness::Ready);
}

TEST(DriveLook, VirtioDriveHasNoSmart) {
  const SmartctlAnswer unknown{
      1,
      "/dev/vda: Unable to detect device type\nPlease specify device type with "
      "the -d option.\n"};
  EXPECT_EQ(read_look(unknown, {}, {}).readiness, Readiness::NoSmart);
}

TEST(DriveLook, NoSelfTest) {
  for (const char* log :
       {"SMART Self-test Log not supported\n", "Device does not support Self Test logging\n"}) {
    EXPECT_EQ(read_look({0, kAta}, {4, log}, {}).readiness, Readiness::NoSelfTest);
  }
  EXPECT_EQ(look(kEmptyLog, "\t\t\t\t\tNo Self-test supported.\n").readiness,
            Readiness::NoSelfTest);
  EXPECT_EQ(look(kEmptyLog,
                 "\t\t\t\t\tSelf-test supported.\n"
                 "\t\t\t\t\tNo Conveyance Self-test supported.\n")
                .readiness,
            Readiness::Ready);
}

TEST(DriveLook, SaysInSmartctlsWordsWhatFailed) {
  const auto failed = [](int status, const std::string& line) {
    return read_information({status, "smartctl 7.3\nCopyright\n\n" + line + "\n"});
  };
  const DriveLook forbidden = failed(2, "Smartctl open device: /dev/a failed: Permission denied");
  EXPECT_EQ(forbidden.readiness, Readiness::NoPermission);
  EXPECT_TRUE(readiness_reason(forbidden, "/dev/a")
                  .starts_with("Smartctl open device: /dev/a failed: Permission denied; " +
                               permission_advice(geteuid() == 0)));
  EXPECT_EQ(failed(2, "Smartctl open device: /dev/a failed: No such device or address").readiness,
            Readiness::NoDevice);
  const DriveLook bridge = failed(1, "/dev/sda: Unknown USB bridge [0x46f4:0x0001 (0x000)]");
  EXPECT_EQ(bridge.readiness, Readiness::Refused);
  EXPECT_EQ(readiness_reason(bridge, "/dev/sda"),
            "smartctl: /dev/sda: Unknown USB bridge [0x46f4:0x0001 (0x000)]; see what "
            "'smartctl -i /dev/sda' says");
  EXPECT_EQ(failed(4, "").words, "smartctl ended with status 4");
  EXPECT_EQ(failed(-1, "").readiness, Readiness::NoAnswer);
  EXPECT_EQ(failed(64, kAta).readiness, Readiness::Ready) << "the past of the drive fails nothing";
  EXPECT_EQ(read_look({0, kAta}, {2, "x failed: y\n"}, {}).readiness, Readiness::Refused);
}

TEST(DriveLook, TextsOfTheDriveAreCut) {
  const DriveLook look = read_information(
      {2, "Device Model: " + std::string(5000, 'm') + "\n" + std::string(5000, 'f') + "failed\n"});
  EXPECT_LE(look.model.size(), 200U);
  EXPECT_LE(look.words.size(), 200U);
}

TEST(DriveLook, OddNamesAreNotPutIntoCommands) {
  const std::string reason = readiness_reason({.readiness = Readiness::SmartOff}, "/dev/a; reboot");
  EXPECT_EQ(reason, "SMART is off; 'smartctl -s on DEVICE' switches it on");
}

TEST(ToldRemaining, TakesBothForms) {
  EXPECT_EQ(
      told_remaining("x\nCan't start self-test without aborting current test (90% remaining),"),
      90);
  EXPECT_EQ(told_remaining("\t\t70% of test remaining.\n"), 70);
  EXPECT_EQ(told_remaining("(% remaining) 900% of test remaining"), std::nullopt);
  EXPECT_EQ(told_remaining(""), std::nullopt);
}

}  // namespace
}  // namespace cli
