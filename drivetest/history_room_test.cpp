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
    std::ofstream(folder() / "other") << std::string(std::size_t{128} * 1024, 'x');
    std::vector<std::int64_t> ended;
    if (fill(ended) != HistoryFault::Full) return "the disk was not full";
    std::filesystem::remove(folder() / "other");
    if (std::string lost = lost_of(ended); !lost.empty()) return lost;
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

class ReadOnlyHistoryTest : public HistoryRoomTest {
 protected:
  // In a process whose file system is read-only. The work returns what is wrong, or "".
  template <class Work>
  void expect_read_only(Work work) const {
    const int status = in_child([&]() -> std::string {
      if (!has_own_mounts()) return "not possible";
      if (mount(folder().c_str(), folder().c_str(), "", MS_BIND, "") != 0 ||
          mount("", folder().c_str(), "", MS_REMOUNT | MS_BIND | MS_RDONLY, "") != 0)
        return "not possible";
      return work();
    });
    if (status == kNotPossible) GTEST_SKIP() << "there may be no mounts here";
    EXPECT_EQ(status, 0);
  }
  // What is wrong with the error of the work, or "".
  template <class Work>
  static std::string fault_of(Work work, const std::string& words) {
    try {
      work();
      return "there was no error";
    } catch (const HistoryError& error) {
      const std::string what = error.what();
      const bool is_told = what.find(words) != std::string::npos &&
                           what.find("mount its file system for writing") != std::string::npos;
      return error.fault() == HistoryFault::ReadOnly && is_told ? "" : what;
    }
  }
};

TEST_F(ReadOnlyHistoryTest, CanBeReadAndSaysThatItCannotBeWritten) {
  {
    History history(options());
    tested(history, 1);
  }
  expect_read_only([&]() -> std::string {
    History history(options());
    if (history.last_of_each_drive().size() != 1) return "it has not one test";
    if (history.running().size() != 0) return "a test runs";
    return fault_of([&] { history.begin(drive(1), begun_row()); }, "readonly database");
  });
}

TEST_F(ReadOnlyHistoryTest, IsNotReadWithoutTheChangesBesideIt) {
  History history(options());
  tested(history, 1);
  expect_read_only(
      [&] { return fault_of([&] { const History history(options()); }, "changes stand beside"); });
}

TEST_F(ReadOnlyHistoryTest, IsNotMade) {
  { History history(options()); }
  std::filesystem::remove(file());
  expect_read_only([&] {
    return fault_of([&] { const History history(options()); }, "there is no history yet");
  });
}

}  // namespace
}  // namespace drivetest
