// No room on the disk, and a file system that cannot be written.
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <fstream>

#include "drivetest/history_case.h"

namespace drivetest {
namespace {

class HistoryRoomTest : public HistoryCase {
 protected:
  static constexpr int kNotPossible = 77;

  // In a process of its own. The work returns what is wrong, or "".
  template <class Work>
  static int in_child(Work work) {
    const pid_t child = fork();
    if (child == 0) {
      std::string what;
      try {
        what = work();
      } catch (const std::exception& error) {
        what = error.what();
      }
      if (what == "not possible") _exit(kNotPossible);
      if (!what.empty()) fprintf(stderr, "%s\n", what.c_str());
      _exit(!what.empty());
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  static bool has_own_mounts() {
    return unshare(CLONE_NEWNS) == 0 && mount("", "/", "", MS_REC | MS_PRIVATE, "") == 0;
  }

  // Begins and ends tests until there is no room; which fault there was.
  std::optional<HistoryFault> fill(std::vector<std::int64_t>& ended) const {
    constexpr int kMany = 3000;
    History history(options());
    try {
      for (int test = 0; test < kMany; ++test) {
        TestRow row = begun_row();
        row.log_before.assign(21, entry(1));
        const std::int64_t number = history.begin(drive(1), row).number;
        if (number == 0) return std::nullopt;
        row = ended_row(number);
        row.cause = std::string(500, 'c');
        if (history.update(row)) ended.push_back(number);
      }
    } catch (const HistoryError& error) {
      return error.fault();
    }
    return std::nullopt;
  }

  std::string lost_of(const std::vector<std::int64_t>& ended) const {
    History history(options());
    for (const std::int64_t number : ended)
      if (const auto test = history.find(number); !test || !test->row.outcome)
        return "lost: " + std::to_string(number);
    if (ended.empty()) return "nothing was kept";
    return "";
  }
};

TEST_F(HistoryRoomTest, LosesNothingOnAFullDisk) {
  const int status = in_child([&]() -> std::string {
    if (!has_own_mounts()) return "not possible";
    std::filesystem::create_directory(folder());
    if (mount("tmpfs", folder().c_str(), "tmpfs", 0, "size=512k,mode=0700") != 0)
      return "not possible";
    // Room that comes back.
    std::ofstream(folder() / "other") << std::string(128 * 1024, 'x');
    std::vector<std::int64_t> ended;
    if (fill(ended) != HistoryFault::Full) return "the disk was not full";
    std::filesystem::remove(folder() / "other");
    if (const std::string lost = lost_of(ended); !lost.empty()) return lost;
    History history(options());
    return history.begin(drive(2), begun_row()).number != 0 ? "" : "it does not go on";
  });
  if (status == kNotPossible) GTEST_SKIP() << "there may be no mounts here";
  EXPECT_EQ(status, 0);
}

TEST_F(HistoryRoomTest, LosesNothingWhereFilesAreLimited) {
  EXPECT_EQ(in_child([&]() -> std::string {
              std::signal(SIGXFSZ, SIG_IGN);
              struct rlimit before {};
              getrlimit(RLIMIT_FSIZE, &before);
              const struct rlimit limit { 200'000, before.rlim_max };
              if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return "no limit";
              std::vector<std::int64_t> ended;
              if (!fill(ended)) return "there was no limit";
              setrlimit(RLIMIT_FSIZE, &before);
              return lost_of(ended);
            }),
            0);
}

TEST_F(HistoryRoomTest, SaysThatItsFileSystemIsReadOnly) {
  { History history(options()); }
  const int status = in_child([&]() -> std::string {
    if (!has_own_mounts()) return "not possible";
    if (mount(folder().c_str(), folder().c_str(), "", MS_BIND, "") != 0 ||
        mount("", folder().c_str(), "", MS_REMOUNT | MS_BIND | MS_RDONLY, "") != 0)
      return "not possible";
    try {
      History history(options());
      history.begin(drive(1), begun_row());
      return "it was begun";
    } catch (const HistoryError& error) {
      const std::string words = error.what();
      const bool is_told = words.find("mount its file system for writing") != std::string::npos;
      return error.fault() == HistoryFault::ReadOnly && is_told ? "" : words;
    }
  });
  if (status == kNotPossible) GTEST_SKIP() << "there may be no mounts here";
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace drivetest
