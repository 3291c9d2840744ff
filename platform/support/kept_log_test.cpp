// What may happen to the log's file, and to the descriptor by which it is kept open, between two
// lines. The time is the test's own.
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <system_error>

#include "platform/descriptor.h"
#include "platform/support/log_file.h"
#include "platform/support/support_test.h"

namespace NKVRHVX20 {
namespace {

using platform::Descriptor;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

std::atomic<std::chrono::nanoseconds> the_time{1h};
std::chrono::nanoseconds present() { return the_time; }
void pass(std::chrono::nanoseconds time) { the_time = the_time.load() + time; }

class KeptLog : public testing::Test {
 protected:
  bool write(const std::string& text) { return file_.append(text + "\n"); }
  std::vector<std::string> lines(const std::string& path) const {
    return lines_of(read_file(path));
  }
  std::vector<std::string> lines() const { return lines(log_); }

  // The numbers under which this process has the file open.
  std::vector<int> numbers_of(const std::string& path) const {
    std::vector<int> numbers;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
      std::error_code error;
      if (fs::equivalent(entry.path(), path, error))
        numbers.push_back(std::stoi(entry.path().filename().string()));
    }
    return numbers;
  }
  int number() const {
    const std::vector<int> numbers = numbers_of(log_);
    EXPECT_EQ(numbers.size(), 1u);
    return numbers.empty() ? -1 : numbers[0];
  }
  // Opens a file of the host's under the number of the log's descriptor, which it has closed.
  Descriptor reuse(int number, const std::string& path, int flags) const {
    const Descriptor file(open(path.c_str(), flags | O_CREAT | O_CLOEXEC, 0600));
    return Descriptor(dup2(file.get(), number));
  }

  TemporaryFolder folder_;
  const std::string log_ = folder_ / "log";
  LogFile file_{log_, present};
};

TEST_F(KeptLog, IsOneDescriptorThatNoProgramInherits) {
  EXPECT_TRUE(write("first"));
  const int kept = number();
  EXPECT_GE(kept, LogDescriptor::kLowestNumber) << "a host's standard streams could become the log";
  EXPECT_EQ(fcntl(kept, F_GETFD), FD_CLOEXEC);
  const std::size_t before = open_descriptors();
  EXPECT_TRUE(write("second"));
  EXPECT_EQ(open_descriptors(), before);
  EXPECT_EQ(number(), kept);
  EXPECT_THAT(lines(), ElementsAre("first", "second"));
}

TEST_F(KeptLog, IsNotOpenedAnewForALine) {
  write("first");
  fs::rename(log_, folder_ / "moved");
  write("second");
  EXPECT_FALSE(fs::exists(log_));
  EXPECT_THAT(lines(folder_ / "moved"), ElementsAre("first", "second"));
}

TEST_F(KeptLog, FollowsARotationWithinItsTime) {
  write("before");
  fs::rename(log_, folder_ / "moved");
  pass(kLogFileLookTime - 1ns);
  write("soon after");
  EXPECT_THAT(lines(folder_ / "moved"), ElementsAre("before", "soon after"));
  pass(1ns);
  write("later");
  EXPECT_THAT(lines(), ElementsAre("later"));
  EXPECT_THAT(numbers_of(folder_ / "moved"), IsEmpty());
  number();
}

TEST_F(KeptLog, LooksAgainAfterEachLook) {
  write("first");
  pass(kLogFileLookTime);
  write("the path names it still");
  fs::rename(log_, folder_ / "moved");
  pass(kLogFileLookTime - 1ns);
  write("old");
  EXPECT_FALSE(fs::exists(log_));
  pass(1ns);
  write("new");
  EXPECT_THAT(lines(), ElementsAre("new"));
}

TEST_F(KeptLog, FollowsARotationWhenTheClockHasJumped) {
  for (const auto jump : {-1ns, std::chrono::nanoseconds(-24h), std::chrono::nanoseconds(24h)}) {
    write("before");
    fs::rename(log_, folder_ / "moved");
    pass(jump);
    write("after");
    EXPECT_THAT(lines(), ElementsAre("after")) << jump.count();
  }
}

TEST_F(KeptLog, MakesAFileAnewThatWasRemoved) {
  write("first");
  fs::remove(log_);
  pass(kLogFileLookTime);
  write("second");
  EXPECT_THAT(lines(), ElementsAre("second"));
}

TEST_F(KeptLog, FollowsAFolderThatWasReplaced) {
  fs::create_directory(folder_ / "logs");
  LogFile file(folder_ / "logs/log", present);
  file.append("first\n");
  fs::rename(folder_ / "logs", folder_ / "old");
  pass(kLogFileLookTime);
  EXPECT_FALSE(file.append("no folder\n"));
  EXPECT_FALSE(file.append("no folder\n"));
  fs::create_directory(folder_ / "logs");
  EXPECT_TRUE(file.append("second\n")) << "at once: nothing is kept that could be used";
  EXPECT_THAT(lines(folder_ / "old/log"), ElementsAre("first"));
  EXPECT_THAT(lines(folder_ / "logs/log"), ElementsAre("second"));
  EXPECT_THAT(numbers_of(folder_ / "old/log"), IsEmpty());
}

TEST_F(KeptLog, FollowsALinkThatComesToNameAnotherFile) {
  fs::create_symlink(folder_ / "one", log_);
  write("first");
  fs::remove(log_);
  fs::create_symlink(folder_ / "other", log_);
  pass(kLogFileLookTime);
  write("second");
  EXPECT_THAT(lines(folder_ / "one"), ElementsAre("first"));
  EXPECT_THAT(lines(folder_ / "other"), ElementsAre("second"));
}

TEST_F(KeptLog, SurvivesThatTheHostClosesTheDescriptor) {
  write("first");
  close(number());
  write("second");
  EXPECT_THAT(lines(), ElementsAre("first", "second"));
  number();
}

TEST_F(KeptLog, LeavesAloneAFileThatGotTheNumber) {
  write("first");
  const int kept = number();
  close(kept);
  const Descriptor hosts = reuse(kept, folder_ / "host's", O_RDWR);
  write("second");
  pass(kLogFileLookTime);
  write("third");
  fs::rename(log_, folder_ / "moved");
  pass(kLogFileLookTime);
  write("fourth");
  EXPECT_EQ(read_file(folder_ / "host's"), "");
  EXPECT_TRUE(fs::equivalent("/proc/self/fd/" + std::to_string(kept), folder_ / "host's"));
  EXPECT_THAT(lines(folder_ / "moved"), ElementsAre("first", "second", "third"));
  EXPECT_THAT(lines(), ElementsAre("fourth"));
  EXPECT_NE(number(), kept);
}

TEST_F(KeptLog, WritesThoughTheNumberIsAReadersOfTheLogNow) {
  write("first");
  const int kept = number();
  close(kept);
  const Descriptor hosts = reuse(kept, log_, O_RDONLY);
  write("second");
  EXPECT_THAT(lines(), ElementsAre("first", "second"));
}

TEST_F(KeptLog, LeavesAFileOfTheHostAloneWhenItGoes) {
  LogFile* const file = new LogFile(log_, present);
  file->append("first\n");
  const int kept = number();
  close(kept);
  const Descriptor hosts = reuse(kept, folder_ / "host's", O_RDWR);
  delete file;
  EXPECT_TRUE(fs::equivalent("/proc/self/fd/" + std::to_string(kept), folder_ / "host's"));
}

TEST_F(KeptLog, AForkedChildFollowsByItself) {
  write("parent");
  const std::string moved = folder_ / "moved";
  const std::string result = in_child([&] {
    write("child");
    fs::rename(log_, moved);
    pass(kLogFileLookTime);
    write("child in the new file");
    return std::string(numbers_of(moved).empty() ? "alone" : "holds the old file");
  });
  EXPECT_EQ(result, "alone");
  EXPECT_EQ(numbers_of(moved).size(), 1u) << "the parent's is what it was";
  write("parent, soon after");
  pass(kLogFileLookTime);
  write("parent, later");
  EXPECT_THAT(lines(moved), ElementsAre("parent", "child", "parent, soon after"));
  EXPECT_THAT(lines(), ElementsAre("child in the new file", "parent, later"));
}

TEST_F(KeptLog, WritesWithoutADescriptorToKeep) {
  const std::string result = in_child([&] {
    const int lowest = open("/dev/null", O_RDONLY | O_CLOEXEC);
    const rlimit limit{static_cast<rlim_t>(lowest + 1), static_cast<rlim_t>(lowest + 1)};
    close(lowest);
    setrlimit(RLIMIT_NOFILE, &limit);
    const bool written = write("first") && write("second");
    const int next = open("/dev/null", O_RDONLY | O_CLOEXEC);
    return std::string(written && next == lowest ? "written" : "not written");
  });
  EXPECT_EQ(result, "written");
  EXPECT_THAT(lines(), ElementsAre("first", "second"));
}

TEST_F(KeptLog, StaysBelowALowLimitOfDescriptors) {
  const std::string result = in_child([&] {
    const rlimit limit{200, 200};
    setrlimit(RLIMIT_NOFILE, &limit);
    write("first");
    return std::to_string(number() > STDERR_FILENO && number() < 200);
  });
  EXPECT_EQ(result, "1");
}

TEST_F(KeptLog, IsMovedAwayAtTheLimitThoughItIsOpen) {
  write("first");
  fs::resize_file(log_, kLogFileLimit);  // as others do that write to it
  pass(kLogFileLookTime);
  write("second");
  EXPECT_EQ(fs::file_size(log_), 7u);
  EXPECT_EQ(fs::file_size(log_ + ".1"), static_cast<std::uintmax_t>(kLogFileLimit));
}

// Many turns, as the outcome is up to chance: a lock that they share would let two of them move the
// file, the later one a new file over the full one.
TEST_F(KeptLog, ThreadsAndAForkedChildMoveAFullFileOnce) {
  for (int turn = 0; turn < 30; ++turn) {
    fs::remove(log_ + ".1");
    fs::remove(log_);
    pass(kLogFileLookTime);
    write("begin");
    fs::resize_file(log_, kLogFileLimit);
    pass(kLogFileLookTime);
    in_child([&] {
      std::vector<std::thread> threads;
      for (int i = 0; i < 4; ++i) threads.emplace_back([&] { write("line"); });
      for (std::thread& thread : threads) thread.join();
      return std::string();
    });
    ASSERT_GE(fs::file_size(log_ + ".1"), static_cast<std::uintmax_t>(kLogFileLimit));
    write("line");
    ASSERT_LT(fs::file_size(log_), 100u);
  }
}

TEST_F(KeptLog, ThreadsLoseNoLineWhileTheFileIsRotated) {
  constexpr int kCount = 2000;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&] {
      for (int line = 0; line < kCount; ++line) write("line");
    });
  std::vector<std::string> moved;
  for (int i = 0; i < 20; ++i) {
    moved.push_back(folder_ / ("moved" + std::to_string(i)));
    std::error_code error;
    fs::rename(log_, moved.back(), error);
    pass(kLogFileLookTime);
    std::this_thread::yield();
  }
  for (std::thread& thread : threads) thread.join();
  std::size_t written = lines().size();
  for (const std::string& path : moved) written += lines(path).size();
  EXPECT_EQ(written, 4u * kCount);
  EXPECT_LE(numbers_of(log_).size(), 1u);
}

// Whatever the other threads are about to change when the child is forked.
TEST_F(KeptLog, AChildForkedDuringAChangeLogs) {
  std::atomic<bool> ended = false;
  std::thread other([&] {
    while (!ended) {
      std::error_code error;
      fs::rename(log_, folder_ / "moved", error);
      pass(kLogFileLookTime);
      write("parent");
    }
  });
  for (int i = 0; i < 50; ++i)
    ASSERT_EQ(in_child([&] {
                LogFile& file = file_;
                file.append("child\n");
                pass(kLogFileLookTime);
                return std::string(file.append("child\n") ? "logged" : "not logged");
              }),
              "logged");
  ended = true;
  other.join();
}

}  // namespace
}  // namespace NKVRHVX20
