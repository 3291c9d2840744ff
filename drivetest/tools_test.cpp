// The tools as they are called. Scripts stand in their place: each writes down how it was called
// and prints what a file beside it holds.
#include "drivetest/tools.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "inventory/test_tree.h"

namespace drivetest {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

class ToolsCall : public testing::Test {
 protected:
  ToolsCall() {
    std::string name = (std::filesystem::temp_directory_path() / "tools_test.XXXXXX").string();
    folder_ = mkdtemp(name.data());
    path_ = std::getenv("PATH");
    setenv("PATH", (folder_.string() + ":/usr/bin:/bin").c_str(), 1);
  }
  ~ToolsCall() override {
    setenv("PATH", path_.c_str(), 1);
    std::filesystem::remove_all(folder_);
  }

  void write(const std::string& name, const std::string& text) const {
    std::ofstream(folder_ / name) << text;
  }
  // A tool that prints the file of its command where there is one, else that of its name.
  void install(const std::string& tool) const {
    const std::string place = folder_.string() + "/";
    write(tool, "#!/bin/sh\necho \"" + tool + " $* [$LC_ALL]\" >> " + place + "calls\n" +
                    "for word; do if [ -f " + place + tool + ".$word ]; then . " + place + tool +
                    ".$word; exit; fi; done\n. " + place + tool + ".else\n");
    std::filesystem::permissions(folder_ / tool, std::filesystem::perms::owner_all);
    write(tool + ".else", "exit 1\n");
  }
  void answer(const std::string& name, const std::string& text, int status = 0) const {
    write(name, "cat << 'END'\n" + text + "\nEND\nexit " + std::to_string(status) + "\n");
  }
  std::string calls() const {
    std::ifstream file(folder_ / "calls");
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }
  // As smartctl of this version tells of an NVMe drive.
  void install_smartctl(const std::string& version) const {
    install("smartctl");
    answer("smartctl.--version", "smartctl 7." + version + " 2022-02-28");
    answer("smartctl.else", R"({"smartctl":{"version":[7,)" + version +
                                R"(]},"device":{"protocol":"NVMe"},"model_name":"Example"})");
  }
  void install_nvme() const {
    install("nvme");
    answer("nvme.version", "nvme version 2.3 (git 2.3)");
    answer("nvme.id-ctrl", R"({"oacs":16,"edstt":30})");
    answer("nvme.self-test-log", R"({"Current Device Self-Test Operation":1,)"
                                 R"("Current Device Self-Test Completion":10})");
  }

  std::filesystem::path folder_;
  std::string path_;
  Tools tools_;
  const Place nvme_{"/dev/nvme0", ""};
};

TEST_F(ToolsCall, LooksInOneRunAndLetsTheDriveRest) {
  install("smartctl");
  answer("smartctl.else", R"({"smartctl":{"version":[7,3]},"device":{"protocol":"ATA"},)"
                          R"("ata_smart_data":{"self_test":{"status":{"value":0}}},)"
                          R"("ata_smart_self_test_log":{"standard":{"count":0}}})");
  const Look look = tools_.look({"/dev/sda", "sat,12"}, false);
  EXPECT_EQ(look.fault, LookFault::None) << look.reason;
  EXPECT_EQ(look.drive.place, (Place{"/dev/sda", "sat,12"}));
  EXPECT_EQ(calls(),
            "smartctl --json=o -i -c -A -l selftest -l xselftest,selftest -n standby,3 -d sat,12 "
            "/dev/sda [C]\n");
  tools_.look({"/dev/sda", ""}, true);
  EXPECT_THAT(calls(), HasSubstr("xselftest,selftest /dev/sda [C]\n"));
}

TEST_F(ToolsCall, AsksForAMissingToolByItsPackage) {
  // Where programs are looked for besides there may be a real one.
  if (!std::filesystem::exists("/usr/sbin/smartctl")) {
    const Look look = tools_.look({"/dev/sda", ""}, false);
    EXPECT_EQ(look.fault, LookFault::ToolMissing);
    EXPECT_EQ(look.reason, "smartctl is not installed (package smartmontools)");
  }
  install_smartctl("3");
  if (!std::filesystem::exists("/usr/sbin/nvme")) {
    const Look look = tools_.look(nvme_, false);
    EXPECT_EQ(look.fault, LookFault::ToolMissing);
    EXPECT_THAT(look.reason, HasSubstr("(package nvme-cli)"));
    EXPECT_EQ(look.drive.model, "Example");
  }
}

TEST_F(ToolsCall, TakesNvmeWhereSmartctlIsTooOldForNvmeDrives) {
  install_smartctl("3");
  install_nvme();
  const Look look = tools_.look(nvme_, false);
  EXPECT_EQ(look.fault, LookFault::None) << look.reason;
  EXPECT_EQ(look.inability, "");
  EXPECT_EQ(look.abilities[1].minutes, 30);
  EXPECT_EQ(look.running, (RunningTest{TestKind::Short, 90, false}));
  answer("nvme.device-self-test", "Extended Device self-test started");
  EXPECT_EQ(tools_.start(look.drive, TestKind::Long).answer, ToolAnswer::Accepted);
  EXPECT_THAT(calls(), HasSubstr("nvme device-self-test /dev/nvme0 -s 2 [C]"));
  tools_.stop(look.drive);
  EXPECT_THAT(calls(), HasSubstr("nvme device-self-test /dev/nvme0 -s 0xf [C]"));
  EXPECT_EQ(tools_.start(look.drive, TestKind::Conveyance).answer, ToolAnswer::NotSupported);
}

TEST_F(ToolsCall, TakesTheNguidWhereAnNvmeDriveHasNoOtherName) {
  const inventory::TestTree tree;
  tree.file("/sys/class/nvme/nvme0/nvme0n1/nguid", "0025385b-71b0-a7c1-0025-385b71b0a7c1\n");
  setenv("HVX_SYSFS_ROOT", tree.root().c_str(), 1);
  install_smartctl("5");
  const auto name = [&](const std::string& count, const std::string& eui) {
    answer("smartctl.else", R"({"smartctl":{"version":[7,5]},"device":{"protocol":"NVMe"},)"
                            R"("nvme_number_of_namespaces":)" +
                                count + R"(,"nvme_namespaces":[{"id":1)" + eui + "}]}");
    return tools_.look(nvme_, false).drive.world_wide_name;
  };
  EXPECT_EQ(name("1", ""), "nguid-0025385b71b0a7c10025385b71b0a7c1");
  EXPECT_EQ(name("1", R"(,"eui64":{"oui":9528,"ext_id":1})"), "eui-0025380000000001");
  EXPECT_EQ(name("32", ""), "") << "another namespace may come";
  unsetenv("HVX_SYSFS_ROOT");
}

TEST_F(ToolsCall, ReadsTheRefusalOfNvmeFromItsErrors) {
  install_smartctl("3");
  install_nvme();
  write("nvme.device-self-test",
        "echo 'NVMe status: Device Self-test In Progress(0x11d)' >&2\nexit 1\n");
  const ToolReply reply = tools_.start(tools_.look(nvme_, false).drive, TestKind::Short);
  EXPECT_EQ(reply.answer, ToolAnswer::Busy);
  EXPECT_EQ(reply.words, "NVMe status: Device Self-test In Progress(0x11d)");
}

TEST_F(ToolsCall, TakesSmartctlWhereItIsNewEnough) {
  install_smartctl("4");
  install_nvme();
  const Look look = tools_.look(nvme_, false);
  EXPECT_FALSE(look.running) << "smartctl has read the log";
  EXPECT_EQ(tools_.start(look.drive, TestKind::Short).answer, ToolAnswer::NothingDone);
  EXPECT_THAT(calls(), HasSubstr("smartctl --json=o -t short /dev/nvme0 [C]"));
  EXPECT_THAT(calls(), testing::Not(HasSubstr("self-test-log")));
}

TEST_F(ToolsCall, LetsSmartctlNotAskWhetherATestRunsWhereTheDriveDoesNotKnow) {
  install("smartctl");
  answer("smartctl.else", R"({"smartctl":{"version":[7,3],"output":["Testing has begun."]}})");
  Drive drive;
  drive.protocol = Protocol::Ata;
  drive.place = {"/dev/sda", ""};
  EXPECT_EQ(tools_.start_in_doubt(drive, TestKind::Long).answer, ToolAnswer::Accepted);
  EXPECT_THAT(calls(), HasSubstr("smartctl --json=o -t force -t long /dev/sda [C]"));
}

TEST_F(ToolsCall, SaysWhichVersionOfNvmeIsNeeded) {
  install_smartctl("3");
  install_nvme();
  answer("nvme.version", "nvme version 1.12");
  const Look look = tools_.look(nvme_, false);
  EXPECT_EQ(look.fault, LookFault::ToolTooOld);
  EXPECT_THAT(look.reason, HasSubstr("2.3 is needed (package nvme-cli)"));
}

TEST_F(ToolsCall, DoesNotCallAnNvmeOldThatSaysNothing) {
  install_smartctl("3");
  install_nvme();
  write("nvme.version", "exit 1\n");
  const Look look = tools_.look(nvme_, false);
  EXPECT_EQ(look.fault, LookFault::CannotBeReached);
  EXPECT_EQ(look.reason, "nvme does not say its version");
}

TEST_F(ToolsCall, AsksNothingOfDrivesThatItMustNotReach) {
  install("smartctl");
  for (const Place& place :
       {Place{"--scan", ""}, Place{"sda", ""}, Place{"/dev/sda", "jmb39x,0"}}) {
    EXPECT_EQ(tools_.look(place, true).fault, LookFault::CannotBeReached) << place.device;
    Drive drive;
    drive.place = place;
    EXPECT_EQ(tools_.start(drive, TestKind::Short).answer, ToolAnswer::NotAsked) << place.device;
    EXPECT_EQ(tools_.stop(drive).answer, ToolAnswer::NotAsked) << place.device;
  }
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(ToolsCall, ReadsNoLogThroughABridgeThatItWouldReset) {
  install_smartctl("4");
  tools_.look({"/dev/sda", "sntjmicron"}, true);
  EXPECT_THAT(calls(), testing::Not(HasSubstr("selftest")));
}

TEST_F(ToolsCall, SaysWhenAToolDidNotEnd) {
  install("smartctl");
  write("smartctl.else", "kill -9 $$\n");
  const Look look = tools_.look({"/dev/sda", ""}, false);
  EXPECT_EQ(look.fault, LookFault::CannotBeReached);
  EXPECT_EQ(look.reason,
            "smartctl could not be started, did not end within a minute, or was killed");
}

}  // namespace
}  // namespace drivetest
