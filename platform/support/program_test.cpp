#include "platform/support/program.h"

#include "platform/support/support_test.h"

namespace NKVRHVX20 {
namespace {

class FindProgramTest : public testing::Test {
 protected:
  FindProgramTest() {
    for (const char* name : {"first", "second"}) std::filesystem::create_directory(folder_ / name);
    write_file(folder_ / "first/both", "", 0755);
    write_file(folder_ / "second/both", "", 0755);
    write_file(folder_ / "first/shadowed", "", 0644);
    write_file(folder_ / "second/shadowed", "", 0755);
    std::filesystem::create_directory(folder_ / "first/folder");
    set_path(folder_ / "first" + ":" + folder_ / "second");
  }
  ~FindProgramTest() override { set_path(path_before_); }

  static void set_path(const std::string& path) { setenv("PATH", path.c_str(), 1); }

  TemporaryFolder folder_;
  const std::string path_before_ = std::getenv("PATH");
};

TEST_F(FindProgramTest, TheFirstOfThePathWins) {
  EXPECT_EQ(find_program("both"), folder_ / "first/both");
}

TEST_F(FindProgramTest, WhatCannotBeExecutedIsPassedOver) {
  EXPECT_EQ(find_program("shadowed"), folder_ / "second/shadowed");
  EXPECT_EQ(find_program("folder"), "");
}

TEST_F(FindProgramTest, ANameWithASlashIsNotLookedUp) {
  EXPECT_EQ(find_program(folder_ / "second/both"), folder_ / "second/both");
  EXPECT_EQ(find_program(folder_ / "first/shadowed"), "");
  EXPECT_EQ(find_program("first/both"), "");
}

TEST_F(FindProgramTest, UnknownOrEmptyNamesGiveNothing) {
  EXPECT_EQ(find_program("no-program-has-this-name"), "");
  EXPECT_EQ(find_program(""), "");
  EXPECT_EQ(find_program(std::string("both\0x", 6)), "");
}

TEST_F(FindProgramTest, SystemFoldersFollowThePath) {
  // Each in one of the three folders of every Debian system, under none of the PATH.
  std::string name;
  for (const auto& entry : std::filesystem::directory_iterator("/usr/sbin"))
    if (entry.is_regular_file() && access(entry.path().c_str(), X_OK) == 0)
      name = entry.path().filename().string();
  ASSERT_NE(name, "");
  EXPECT_EQ(find_program(name), "/usr/sbin/" + name);
}

TEST_F(FindProgramTest, AnEmptyPlaceIsTheWorkingDirectory) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder_ / "second");
  set_path(folder_ / "nowhere:");
  EXPECT_EQ(find_program("both"), "both");
  std::filesystem::current_path(before);
}

TEST_F(FindProgramTest, WithoutPathTheUsualPlacesAreSearched) {
  unsetenv("PATH");
  EXPECT_EQ(find_program("sh"), "/bin/sh");
}

}  // namespace
}  // namespace NKVRHVX20
