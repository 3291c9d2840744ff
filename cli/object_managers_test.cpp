#include "cli/object_managers.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>

namespace cli {
namespace {

namespace fs = std::filesystem;

class ObjectManagers : public testing::Test {
 protected:
  ObjectManagers() {
    std::string name = fs::temp_directory_path() / "hddtest_cli.XXXXXX";
    root_ = mkdtemp(name.data());
    write("usr/share/hddtest/hddtest.msg.xml", "<diaganalysis/>\n");
  }
  ~ObjectManagers() override { fs::remove_all(root_); }

  void write(const fs::path& file, const std::string& text) {
    fs::create_directories((root_ / file).parent_path());
    std::ofstream(root_ / file) << text;
  }
  void note(const std::string& text) { write("var/lib/hddtest/registrations", text); }
  void register_sfcb() { note("sfcb|/srv/stage||||registered\n"); }
  void link_messages() { fs::create_symlink("usr/share/hddtest", root_ / "hddtest"); }
  void set_directory(const std::string& unit, const std::string& folder) {
    write("etc/systemd/system/" + unit + ".service.d/hddtest.conf",
          "# Written by hddtest-register. Why.\n[Service]\nWorkingDirectory=" + folder + "\n");
  }
  Finding only() {
    const std::vector<Finding> findings = object_manager_findings(root_);
    EXPECT_EQ(findings.size(), 1u);
    return findings.empty() ? Finding{} : findings[0];
  }
  // Root may look everywhere.
  std::vector<Finding> findings_of_another_user() {
    constexpr uid_t kNobody = 65534;
    const bool root = geteuid() == 0;
    EXPECT_TRUE(!root || seteuid(kNobody) == 0);
    std::vector<Finding> findings = object_manager_findings(root_);
    EXPECT_TRUE(!root || seteuid(0) == 0);
    return findings;
  }
  fs::path root_;
};

TEST_F(ObjectManagers, AreNotLookedAtWhereNothingIsRegistered) {
  link_messages();
  write("etc/systemd/system/tog-pegasus.service.d/other.conf", "[Service]\n");
  write("etc/systemd/system/cimserver.service.d/hddtest.conf",
        "[Service]\nWorkingDirectory=/nowhere\n");
  EXPECT_TRUE(object_manager_findings(root_).empty());
  EXPECT_TRUE(object_manager_findings(root_ / "none").empty());
}

TEST_F(ObjectManagers, SfcbNeedsTheLink) {
  register_sfcb();
  const Finding missing = only();
  EXPECT_FALSE(missing.ok);
  EXPECT_EQ(missing.name, "sfcb");
  EXPECT_EQ(missing.found,
            (root_ / "hddtest/hddtest.msg.xml").string() + ": No such file or directory");
  EXPECT_EQ(missing.remedy, "run 'hddtest-register sfcb' again");
  link_messages();
  const Finding present = only();
  EXPECT_TRUE(present.ok);
  EXPECT_EQ(present.remedy, "");
}

TEST_F(ObjectManagers, SfcbNeedsALinkThatLeadsToTheMessages) {
  register_sfcb();
  link_messages();
  fs::remove(root_ / "usr/share/hddtest/hddtest.msg.xml");
  EXPECT_FALSE(only().ok);
}

TEST_F(ObjectManagers, ARegistrationThatDidNotTakePlaceIsNone) {
  link_messages();
  for (const std::string manager : {"sfcb|/srv/stage|||", "pegasus||/usr/share"}) {
    const std::string again = "run 'hddtest-register " + manager.substr(0, manager.find('|'));
    for (const std::string state : {"", "|", "|begun", "|begun|/usr"}) {
      note(manager + state + "\n");
      const Finding finding = only();
      EXPECT_FALSE(finding.ok) << manager << state;
      EXPECT_EQ(finding.found, "the registration was not completed");
      EXPECT_EQ(finding.remedy, again + "' again");
    }
    note(manager + "|leaving|/usr\n");
    const Finding leaving = only();
    EXPECT_FALSE(leaving.ok);
    EXPECT_EQ(leaving.found, "its repository still has the self-test");
    EXPECT_EQ(leaving.remedy, again + " --unregister' again");
    note(manager + "|registered|/usr/|/usr/share/hddtest/hddtest.msg.xml\n");
    EXPECT_TRUE(only().ok) << only().found;
  }
}

TEST_F(ObjectManagers, WhatWasMadeForARegistrationIsThere) {
  link_messages();
  note("sfcb|/srv/stage||||registered|/srv/stage/regs/hddtest.reg\n");
  const Finding missing = only();
  EXPECT_FALSE(missing.ok);
  EXPECT_EQ(missing.found, (root_ / "srv/stage/regs/hddtest.reg").string() + " is missing");
  write("srv/stage/regs/hddtest.reg", "[A]\n");
  EXPECT_TRUE(only().ok);
}

// What is looked for is behind folders that only their owner may enter.
TEST_F(ObjectManagers, WhatThisUserMayNotLookAtIsNotMissing) {
  const fs::path folders[] = {"srv/stage", "etc/systemd/system/tog-pegasus.service.d", "opt"};
  write("srv/stage/regs/hddtest.reg", "[A]\n");
  set_directory("tog-pegasus", "/usr/share");
  write("opt/hddtest/hddtest.msg.xml", "<diaganalysis/>\n");
  for (const fs::path& folder : folders) fs::permissions(root_ / folder, fs::perms::none);
  fs::permissions(root_, fs::perms::owner_all | fs::perms::others_exec | fs::perms::group_exec);
  note(
      "sfcb|/srv/stage||||registered|/srv/stage/regs/hddtest.reg\n"
      "pegasus|tog-pegasus|/usr/share|registered\npegasus||/opt|registered\n");
  std::vector<Finding> findings = findings_of_another_user();
  for (const fs::path& folder : folders) fs::permissions(root_ / folder, fs::perms::owner_all);
  fs::permissions(root_ / "var/lib/hddtest", fs::perms::none);
  const std::vector<Finding> nothing = findings_of_another_user();
  fs::permissions(root_ / "var/lib/hddtest", fs::perms::owner_all);
  findings.insert(findings.end(), nothing.begin(), nothing.end());
  ASSERT_EQ(findings.size(), 4U);
  EXPECT_EQ(findings[3].name, "registrations");
  for (const Finding& finding : findings) {
    EXPECT_TRUE(finding.hidden && !finding.ok);
    EXPECT_TRUE(finding.found.ends_with(" may not be looked at")) << finding.found;
    EXPECT_EQ(finding.remedy, "root sees more: 'sudo hddtest check'");
  }
  EXPECT_EQ(findings[0].found,
            (root_ / "srv/stage/regs/hddtest.reg").string() + " may not be looked at");
  link_messages();
  for (const Finding& finding : object_manager_findings(root_)) EXPECT_FALSE(finding.hidden);
}

TEST_F(ObjectManagers, OneStageThatIsWrongIsToldForAll) {
  link_messages();
  for (const std::string note_text :
       {"sfcb|/a||||registered\nsfcb|/b||||begun\n", "sfcb|/a||||begun\nsfcb|/b||||registered\n"}) {
    note(note_text);
    EXPECT_FALSE(only().ok);
  }
}

TEST_F(ObjectManagers, PegasusNeedsTheMessagesInTheFolderThatWasSet) {
  note("pegasus|tog-pegasus|/usr/share|registered\n");
  set_directory("tog-pegasus", "/usr/share");
  const Finding present = only();
  EXPECT_TRUE(present.ok);
  EXPECT_EQ(present.name, "pegasus");
  set_directory("tog-pegasus", "/srv");
  const Finding missing = only();
  EXPECT_FALSE(missing.ok);
  EXPECT_EQ(missing.remedy, "run 'hddtest-register pegasus' again");
}

TEST_F(ObjectManagers, PegasusNeedsTheDropInOfItsUnit) {
  note("pegasus|cimserver|/usr/share|registered\n");
  const Finding missing = only();
  EXPECT_FALSE(missing.ok);
  EXPECT_EQ(missing.found,
            (root_ / "etc/systemd/system/cimserver.service.d/hddtest.conf").string() +
                " does not set the working directory");
  set_directory("cimserver", "/usr/share");
  EXPECT_TRUE(only().ok);
}

TEST_F(ObjectManagers, PegasusWithoutAUnitNeedsTheMessagesWhereItIsToBeStarted) {
  note("pegasus||/usr/share|registered\n");
  EXPECT_TRUE(only().ok);
  fs::remove(root_ / "usr/share/hddtest/hddtest.msg.xml");
  EXPECT_FALSE(only().ok);
}

TEST_F(ObjectManagers, LinesThatAreNoneAreLeftOut) {
  note("\npegasus|\npegasus\nsfcb\nsfcb|a|b|c\nother|a|b|c|d|e\nlink|/hddtest|/usr\n|\n");
  EXPECT_TRUE(object_manager_findings(root_).empty());
}

TEST_F(ObjectManagers, EachIsAFindingOfItsOwn) {
  set_directory("a", "/usr/share");
  set_directory("b", "/srv");
  note(
      "sfcb|/var/lib/sfcb/stage||||registered\nsfcb|/srv/stage|/r|/s|u|registered\n"
      "pegasus|a|/srv|registered\npegasus|b|/srv|registered\n");
  const std::vector<Finding> findings = object_manager_findings(root_);
  ASSERT_EQ(findings.size(), 3u);
  EXPECT_FALSE(findings[0].ok);
  EXPECT_TRUE(findings[1].ok);
  EXPECT_FALSE(findings[2].ok);
}

}  // namespace
}  // namespace cli
