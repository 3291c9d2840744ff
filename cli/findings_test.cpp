#include "cli/findings.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <fstream>

namespace cli {
namespace {

namespace fs = std::filesystem;

TEST(Privileges, AreACapabilityNotAName) {
  const std::string with = "CapPrm:\t0000000000000000\nCapEff:\t0000000000020000\n";
  const std::string without = "CapPrm:\t0000000000020000\nCapEff:\t000001fffefdffff\n";
  EXPECT_TRUE(privileges_finding(true, with).ok);
  EXPECT_TRUE(privileges_finding(false, with).ok);
  EXPECT_FALSE(privileges_finding(true, without).ok);
  EXPECT_FALSE(privileges_finding(false, without).ok);
  EXPECT_FALSE(privileges_finding(false, "").ok);
  EXPECT_EQ(privileges_finding(false, without).remedy,
            "run hddtest as root, for example with sudo");
}

TEST(Program, IsThereWhenItTellsItsVersion) {
  const Finding finding = program_finding(
      "smartctl", "smartmontools", {"/usr/sbin/smartctl", 0, "smartctl 7.3 2022\nmore\n", ""});
  EXPECT_TRUE(finding.ok);
  EXPECT_EQ(finding.found, "/usr/sbin/smartctl (smartctl 7.3 2022)");
  EXPECT_EQ(finding.remedy, "");
}

TEST(Program, IsMissingWhenNotFoundOrNotRunning) {
  struct Case {
    VersionAnswer answer;
    const char* found;
    const char* remedy;
  };
  const Case cases[] = {
      {{"", -1, "", ""}, "not found", "install the package p"},
      {{"/x", 127, "", ""}, "/x ends with status 127", "reinstall the package p"},
      {{"/x", -1, "", ""}, "/x cannot be run", "reinstall the package p"},
      {{"/x", -1, "", "no hvx-run"},
       "/x cannot be run: no hvx-run",
       "reinstall the package hddtest"},
  };
  for (const Case& one : cases) {
    const Finding finding = program_finding("x", "p", one.answer);
    EXPECT_FALSE(finding.ok);
    EXPECT_EQ(finding.found, one.found);
    EXPECT_EQ(finding.remedy, one.remedy);
  }
}

VersionAnswer smartctl(const std::string& version) {
  return {"/usr/sbin/smartctl", 0, "smartctl " + version + " 2022-02-28 r1\n", ""};
}
const VersionAnswer kNoNvme{"", -1, "", ""};
const VersionAnswer kNvme{"/usr/sbin/nvme", 0, "nvme version 2.3 (git 2.3)\n", ""};
const VersionAnswer kOldNvme{"/usr/sbin/nvme", 0, "nvme version 1.12\n", ""};

TEST(Nvme, IsMissingOnlyWhereADriveNeedsIt) {
  EXPECT_TRUE(nvme_finding(kNvme, smartctl("7.3"), true).ok);
  EXPECT_EQ(nvme_finding(kNvme, smartctl("7.3"), true).remedy, "");
  EXPECT_FALSE(nvme_finding(kNoNvme, smartctl("7.3"), true).ok);
  EXPECT_EQ(nvme_finding(kNoNvme, smartctl("7.3"), true).remedy, "install the package nvme-cli");
  EXPECT_TRUE(nvme_finding(kNoNvme, smartctl("7.3"), false).ok);
  EXPECT_EQ(nvme_finding(kNoNvme, smartctl("7.3"), false).remedy, "");
  EXPECT_TRUE(nvme_finding(kNoNvme, smartctl("7.4"), true).ok);
  EXPECT_EQ(nvme_finding(kNoNvme, smartctl("7.4"), true).remedy, "");
}

TEST(Nvme, IsTooOldBeforeVersion2Point3) {
  const Finding finding = nvme_finding(kOldNvme, smartctl("7.3"), true);
  EXPECT_FALSE(finding.ok);
  EXPECT_EQ(finding.remedy, "install version 2.3 or newer of the package nvme-cli");
  EXPECT_TRUE(nvme_finding(kOldNvme, smartctl("7.5"), true).ok);
}

TEST(Smartctl, IsNotedWhereItIsTooOldForTestsOfAnyDrive) {
  EXPECT_EQ(smartctl_finding(smartctl("7.3")).remedy, "");
  const Finding finding = smartctl_finding(smartctl("7.2"));
  EXPECT_TRUE(finding.ok) << "run needs no more";
  EXPECT_NE(finding.remedy.find("need version 7.3"), std::string::npos);
}

class Files : public testing::Test {
 protected:
  Files() {
    std::string name = fs::temp_directory_path() / "hddtest_cli.XXXXXX";
    folder_ = mkdtemp(name.data());
    std::ofstream(folder_ / "file") << "text";
  }
  ~Files() override { fs::remove_all(folder_); }
  fs::path folder_;
};

TEST_F(Files, AreThereWhenTheyCanBeRead) {
  EXPECT_TRUE(file_finding("messages", folder_ / "file").ok);
  EXPECT_EQ(file_finding("messages", folder_ / "none").found,
            (folder_ / "none").string() + ": No such file or directory");
  EXPECT_EQ(file_finding("messages", folder_).found, folder_.string() + ": not a regular file");
}

TEST_F(Files, TakeLogLinesWhenTheyOrTheirFolderCanBeWritten) {
  EXPECT_TRUE(log_finding("-", true).ok);
  EXPECT_TRUE(log_finding(folder_ / "file", true).ok);
  EXPECT_TRUE(log_finding(folder_ / "new", true).ok);
  EXPECT_FALSE(fs::exists(folder_ / "new")) << "looking makes no file";
  EXPECT_FALSE(log_finding(folder_, true).ok);
  EXPECT_FALSE(log_finding(folder_ / "none/log", true).ok);
  EXPECT_FALSE(log_finding(folder_ / "file/log", true).ok);
  ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  EXPECT_FALSE(log_finding(folder_ / "pipe", true).ok) << "nobody reads it";
}

// A build from source has no folder for the log, and every test runs all the same.
TEST_F(Files, AreNoConditionWhereNobodyChoseTheLog) {
  const Finding finding = log_finding(folder_ / "none/log", false);
  EXPECT_TRUE(finding.ok);
  EXPECT_TRUE(
      finding.found.starts_with((folder_ / "none").string() + ": No such file or directory"))
      << finding.found;
  EXPECT_EQ(finding.remedy,
            "for a log file, as root: mkdir -m 0750 " + (folder_ / "none").string());
  EXPECT_EQ(log_finding(folder_ / "file", false).remedy, "");
  EXPECT_EQ(log_finding(folder_ / "file/log", false).remedy, "HVX_LOG_FILE names another file");
}

TEST_F(Files, AreAHistoryOrBecomeOne) {
  EXPECT_TRUE(history_finding(folder_ / "state").ok);
  EXPECT_FALSE(fs::exists(folder_ / "state")) << "looking makes no folder";
  fs::create_directory_symlink(folder_, folder_ / "link");
  const Finding finding = history_finding(folder_ / "link");
  EXPECT_FALSE(finding.ok);
  EXPECT_EQ(finding.found, (folder_ / "link").string() + " is a link");
  EXPECT_EQ(finding.remedy,
            "move it away, or set HVX_STATE_DIR to another folder; until then "
            "drives are tested and nothing is kept");
}

TEST_F(Files, MakeNoModuleWithoutRegistration) {
  Places places;
  places.data = folder_;
  places.registration = folder_ / "hddtest/hddtest.reg";
  const Finding finding = module_finding(places);
  EXPECT_FALSE(finding.ok);
  EXPECT_NE(finding.found.find("hddtest.reg"), std::string::npos) << finding.found;
}

TEST_F(Files, NameTheLibraryThatIsMissing) {
  Places places;
  places.data = folder_;
  places.registration = folder_ / "reg";
  places.libraries = {folder_ / "lib"};
  std::ofstream(places.registration) << "[KAVRO_DiskDrive]\n  provider: P\n  location: absent\n"
                                        "  type: instance\n  namespace: root/cimv2\n";
  const Finding finding = module_finding(places);
  EXPECT_FALSE(finding.ok);
  EXPECT_NE(finding.found.find("libabsent.so"), std::string::npos) << finding.found;
}

}  // namespace
}  // namespace cli
