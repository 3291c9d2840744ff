// Folder and file that are not what they are to be.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "drivetest/history_case.h"

namespace drivetest {
namespace {

using testing::HasSubstr;

class HistoryFolderTest : public HistoryCase {
 protected:
  // What is said of the history; "" if it can be used.
  std::string fault(HistoryFault expected = HistoryFault::Unsafe) const {
    try {
      History history(options());
      return "";
    } catch (const HistoryError& error) {
      EXPECT_EQ(error.fault(), expected) << error.what();
      return error.what();
    }
  }
  static constexpr uid_t kNobody = 65534;
};

TEST_F(HistoryFolderTest, FollowsNoLinkToAFolder) {
  std::filesystem::create_directory(root() / "elsewhere");
  std::filesystem::create_directory_symlink("elsewhere", folder());
  EXPECT_EQ(fault(),
            folder().string() + " is a link: move it away, or set HVX_STATE_DIR to another folder");
  EXPECT_TRUE(std::filesystem::is_empty(root() / "elsewhere"));
}

TEST_F(HistoryFolderTest, FollowsNoLinkToAFile) {
  { History history(options()); }
  std::filesystem::rename(file(), root() / "elsewhere");
  for (const char* const target : {"../elsewhere", "../none"}) {
    std::filesystem::remove(file());
    std::filesystem::create_symlink(target, file());
    EXPECT_THAT(fault(), HasSubstr("history.sqlite is a link"));
  }
  EXPECT_FALSE(std::filesystem::exists(root() / "none"));
}

TEST_F(HistoryFolderTest, TakesNothingElseForAFile) {
  { History history(options()); }
  std::filesystem::remove(file());
  ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
  EXPECT_THAT(fault(), HasSubstr("history.sqlite is no file"));
  std::filesystem::remove(file());
  std::filesystem::create_directory(file());
  EXPECT_THAT(fault(), HasSubstr("history.sqlite is no file"));
  std::filesystem::remove_all(folder());
  std::ofstream(folder()) << "a file";
  EXPECT_THAT(fault(), HasSubstr("state is no folder"));
}

TEST_F(HistoryFolderTest, TakesNoFileWithFurtherNames) {
  { History history(options()); }
  std::filesystem::create_hard_link(file(), root() / "other");
  EXPECT_THAT(fault(), HasSubstr("is a file with further names"));
}

TEST_F(HistoryFolderTest, IsRefusedWhereOthersReachIt) {
  { History history(options()); }
  ASSERT_EQ(chmod(file().c_str(), 0640), 0);
  EXPECT_EQ(fault(), file().string() + " is open to other users: chmod 600 " + file().string());
  ASSERT_EQ(chmod(file().c_str(), 0600), 0);
  ASSERT_EQ(chmod(folder().c_str(), 0750), 0);
  EXPECT_EQ(fault(), folder().string() + " is open to other users: chmod 700 " + folder().string());
  ASSERT_EQ(chmod(folder().c_str(), 0700), 0);
  EXPECT_EQ(fault(), "");
}

TEST_F(HistoryFolderTest, IsRefusedWhenItBelongsToAnotherUser) {
  if (geteuid() != 0) GTEST_SKIP() << "only root gives files away";
  { History history(options()); }
  ASSERT_EQ(chown(file().c_str(), kNobody, kNobody), 0);
  EXPECT_THAT(fault(), HasSubstr("belongs to the user with the number 65534"));
  ASSERT_EQ(chown(file().c_str(), 0, 0), 0);
  ASSERT_EQ(chown(folder().c_str(), kNobody, kNobody), 0);
  EXPECT_THAT(fault(), HasSubstr("belongs to the user with the number 65534"));
}

TEST_F(HistoryFolderTest, TellsOrdinaryUsersThatRootSeesIt) {
  if (geteuid() != 0) GTEST_SKIP() << "only root becomes another user";
  ASSERT_EQ(chmod(root().c_str(), 0755), 0);
  { History history(options()); }
  const auto as_nobody = [&](const std::string& path) {
    const pid_t child = fork();
    if (child == 0) {
      if (setresuid(kNobody, kNobody, kNobody) != 0) _exit(2);
      HistoryOptions other = options();
      other.folder = path;
      try {
        History history(other);
      } catch (const HistoryError& error) {
        const bool is_told = std::string(error.what()).find("root sees") != std::string::npos;
        _exit(error.fault() == HistoryFault::NotPermitted && is_told ? 0 : 1);
      }
      _exit(3);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  };
  EXPECT_EQ(as_nobody(folder()), 0);
  EXPECT_EQ(as_nobody(root() / "not_there_yet"), 0);
}

TEST_F(HistoryFolderTest, SaysThatItsPlaceIsMissing) {
  HistoryOptions other = options();
  other.folder = root() / "none/state";
  try {
    History history(other);
    FAIL();
  } catch (const HistoryError& error) {
    EXPECT_THAT(error.what(), HasSubstr("/none, where the history's folder belongs: No such file"));
  }
}

// The way to the folder may lead through links: /var/run is one.
TEST_F(HistoryFolderTest, TellsWhichTestsAProcessIsStartingUntilItEnds) {
  History history(options());
  for (const unsigned number : {1U, 2U}) history.begin(drive(number), begun_row(number));
  const auto is_starting = [&](unsigned number) {
    History other(options());
    return other.state(drive(number).identity()).is_starting;
  };
  EXPECT_FALSE(is_starting(1));
  const auto mark = history.mark_starting(history.find(1)->row);
  ASSERT_TRUE(mark);
  EXPECT_TRUE(is_starting(1));
  EXPECT_FALSE(is_starting(2)) << "another test";
  EXPECT_TRUE(history.state(drive(1).identity()).is_starting) << "its own, too";

  // Another process, which is killed.
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t child = fork();
  if (child == 0) {
    History own(options());
    const auto its_mark = own.mark_starting(own.find(2)->row);
    (void)!write(ends[1], "x", 1);
    pause();
  }
  char byte = 0;
  ASSERT_EQ(read(ends[0], &byte, 1), 1);
  EXPECT_TRUE(is_starting(2));
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  EXPECT_FALSE(is_starting(2));
  close(ends[0]);
  close(ends[1]);
}

TEST_F(HistoryFolderTest, WritesThroughNoLinkToTellWhatIsStarting) {
  History history(options());
  history.begin(drive(1), begun_row());
  std::filesystem::create_symlink(root() / "elsewhere", folder() / "history.lock");
  EXPECT_FALSE(history.mark_starting(history.find(1)->row));
  EXPECT_FALSE(history.state(drive(1).identity()).is_starting);
  EXPECT_FALSE(std::filesystem::exists(root() / "elsewhere"));
}

TEST_F(HistoryFolderTest, MayBeBehindALinkOfTheWay) {
  std::filesystem::create_directory(root() / "real");
  std::filesystem::create_directory_symlink("real", root() / "way");
  HistoryOptions other = options();
  other.folder = root() / "way/state/";
  History history(other);
  EXPECT_EQ(history.file(), root() / "real/state/history.sqlite");
}

}  // namespace
}  // namespace drivetest
