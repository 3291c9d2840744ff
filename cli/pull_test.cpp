#include "cli/pull.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <nlohmann/json.hpp>

#include "cli/terminal_text.h"
#include "inventory/test_tree.h"

namespace cli {
namespace {

using drivetest::Place;

// A machine with one drive in an enclosure, and a PATH of its own.
class Pull : public testing::Test {
 protected:
  Pull() {
    setenv("HVX_SYSFS_ROOT", tree_.root().c_str(), 1);
    if (const char* path = std::getenv("PATH")) path_ = path;
    tree_.file("/bin/none", "");
    setenv("PATH", (tree_.root() + "/bin").c_str(), 1);
    device_ = tree_.ahci_disk(0, "sda");
    tree_.file("/dev/sda", "");
  }
  ~Pull() override {
    unsetenv("HVX_SYSFS_ROOT");
    setenv("PATH", path_.c_str(), 1);
  }

  void enclosure(const std::string& maker) {
    const std::string place = "/sys/class/enclosure/9:0:24:0";
    tree_.file(place + "/device/vendor", maker + "\n");
    tree_.file(place + "/device/model", "Shelf 24\n");
    tree_.file(place + "/Slot 04/slot", "3\n");
    tree_.link(place + "/Slot 04/device", device_);
    tree_.link("/dev/disk/by-path/pci-0000:00:1f.2-ata-1", "/dev/sda");
  }
  void ledctl() {
    tree_.file("/bin/ledctl", "#!/bin/sh\nexit 1\n");
    chmod(tree_.place("/bin/ledctl").c_str(), 0755);
  }

  inventory::TestTree tree_;
  std::string path_;
  std::string device_;
};

TEST_F(Pull, TellsTheDriveAloneWhereNothingElseIsKnown) {
  EXPECT_EQ(pull_text({"/dev/sda", ""}, "Example Disk 500", "EX0001"),
            "Example Disk 500, serial number EX0001");
  EXPECT_EQ(pull_text({"/dev/sda", ""}, "", "EX0001"), "serial number EX0001");
  EXPECT_EQ(pull_text({"/dev/sda", ""}, "", ""), "");
  EXPECT_EQ(bay_text({"/dev/sda", ""}), "");
}

TEST_F(Pull, TellsPathBayAndTheLineThatLightsIt) {
  enclosure("EXAMPLE");
  const std::string bay =
      "at /dev/disk/by-path/pci-0000:00:1f.2-ata-1, slot 3 of the enclosure EXAMPLE Shelf 24, "
      "9:0:24:0";
  EXPECT_EQ(pull_text({"/dev/sda", "sat"}, "Example Disk 500", "EX0001"),
            "Example Disk 500, serial number EX0001, " + bay);
  ledctl();
  EXPECT_EQ(bay_text({"/dev/sda", "sat"}), bay + "; 'ledctl locate=/dev/sda' lights its bay");
}

TEST_F(Pull, TellsTheSameToPrograms) {
  enclosure("EXAMPLE");
  ledctl();
  EXPECT_EQ(bay_json({"/dev/sda", ""}).dump(),
            R"({"by_path":"/dev/disk/by-path/pci-0000:00:1f.2-ata-1","enclosure":"9:0:24:0",)"
            R"("enclosure_name":"EXAMPLE Shelf 24","enclosure_id":null,"slot":"3",)"
            R"("controller":null,"locate":"ledctl locate=/dev/sda"})");
}

TEST_F(Pull, NamesNoBayBehindAController) {
  enclosure("EXAMPLE");
  ledctl();
  const Place place{"/dev/sda", "megaraid,5"};
  EXPECT_EQ(
      pull_text(place, "Example Disk 500", "EX0001"),
      "Example Disk 500, serial number EX0001, megaraid,5 of the RAID controller at /dev/sda, "
      "whose own program knows the bay");
  EXPECT_EQ(bay_json(place)["controller"], "megaraid,5");
  EXPECT_EQ(bay_json(place)["locate"], nullptr);
}

TEST_F(Pull, HostileTextsAreHarmlessOnceEscaped) {
  enclosure("\x1b[2J\x9b\u202e");
  tree_.link("/dev/disk/by-path/\x1b[1mx", "/dev/sda");
  const std::string text = escape(bay_text({"/dev/sda", ""}));
  EXPECT_EQ(text.find_first_of("\x1b\n"), std::string::npos) << text;
  EXPECT_EQ(text.find("\u202e"), std::string::npos) << text;
  EXPECT_NE(text.find("slot 3"), std::string::npos) << text;
}

}  // namespace
}  // namespace cli
