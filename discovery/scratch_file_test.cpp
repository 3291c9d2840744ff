#include "discovery/scratch_file.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "discovery/scratch_file_lock.h"
#include "platform/descriptor.h"
#include "platform/support/osspecific.h"
#include "tests/replaced_memory.h"

namespace {

int until_failure = 0;  // requests for memory, the last of which fails; 0: none

struct Command {
  std::string program;
  std::vector<std::string> arguments;
  int seconds;
};
std::vector<Command> commands;
int inherited = 0;  // descriptors of the file that other programs of the host would get

// What becomes of the next commands.
struct Runs {
  bool are_started = true;
  bool removals_are_started = true;
  bool exit = true;  // else the runner does not know how they ended
  int seconds = 0;   // that the clock says they have taken
} runs;
std::int64_t seconds_ahead = 0;

enum class Reading { Ordinary, Fails, Ends, IsInterrupted } reading = Reading::Ordinary;
bool size_is_unknown = false;
std::atomic<int> locks = 0;
std::function<void()> after_unlink;  // of the next file

template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

static void* allocate(std::size_t size) {
  return until_failure > 0 && --until_failure == 0 ? nullptr : std::malloc(size);
}

int NKVRHVX20::TOSSpecific::SpawnProcess(std::string program, std::vector<std::string> arguments,
                                         std::string& output, int seconds) {
  using Function = int(std::string, std::vector<std::string>, std::string&, int);
  if (until_failure == 0) {
    commands.push_back({program, arguments, seconds});
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
      std::error_code gone;
      if (std::filesystem::read_symlink(entry, gone).native().starts_with("/tmp/sgMap.txt"))
        inherited += fcntl(std::stoi(entry.path().filename()), F_GETFD) != FD_CLOEXEC;
    }
  }
  const bool is_removal = arguments.back().starts_with("rm ");
  if (!runs.are_started || (is_removal && !runs.removals_are_started)) return -1;
  static const auto original = next<Function>(
      "_ZN9NKVRHVX2011TOSSpecific12SpawnProcessENSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEE"
      "ESt6vectorIS6_SaIS6_EERS6_i");
  const int status = original(std::move(program), std::move(arguments), output, seconds);
  seconds_ahead += runs.seconds;
  return runs.exit ? status : -1;
}

extern "C" {
int clock_gettime(clockid_t clock, timespec* time) noexcept {
  const int result = next<int(clockid_t, timespec*)>("clock_gettime")(clock, time);
  if (clock == CLOCK_MONOTONIC) time->tv_sec += seconds_ahead;
  return result;
}
ssize_t pread(int file, void* data, size_t size, off_t offset) {
  if (reading == Reading::Ends) return 0;
  if (reading != Reading::Ordinary) {
    errno = reading == Reading::Fails ? EIO : EINTR;
    if (reading == Reading::IsInterrupted) reading = Reading::Ordinary;
    return -1;
  }
  return next<ssize_t(int, void*, size_t, off_t)>("pread")(file, data, size, offset);
}
int fstat(int file, struct stat* status) noexcept {
  if (size_is_unknown) return -1;
  return next<int(int, struct stat*)>("fstat")(file, status);
}
int unlink(const char* path) noexcept {
  const int result = next<int(const char*)>("unlink")(path);
  if (after_unlink) std::exchange(after_unlink, nullptr)();
  return result;
}
int flock(int file, int operation) noexcept {
  ++locks;
  return next<int(int, int)>("flock")(file, operation);
}
}

namespace discovery {
namespace {

namespace fs = std::filesystem;

constexpr char kScratchFile[] = "/tmp/sgMap.txt";
constexpr char kCommand[] = "echo a report that is too long for the inside of a string object";
constexpr char kReport[] = "a report that is too long for the inside of a string object\n";
constexpr unsigned kNobody = 65534;

std::ptrdiff_t open_descriptors() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

std::string read(const fs::path& file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// In a folder of its own, which is also the machine's root.
class ScratchFile : public testing::Test {
 protected:
  ScratchFile() {
    std::string name = fs::temp_directory_path() / "scratch_file_test.XXXXXX";
    folder_ = mkdtemp(name.data());
    setenv("HVX_SYSFS_ROOT", folder_.c_str(), 1);
    std::ofstream(folder_ / "precious") << "precious";
    fs::remove_all(kScratchFile);
    commands.clear();
    inherited = 0;
    runs = {};
    reading = Reading::Ordinary;
    size_is_unknown = false;
    descriptors_ = open_descriptors();
  }
  ~ScratchFile() override {
    EXPECT_EQ(open_descriptors(), descriptors_);
    EXPECT_EQ(inherited, 0);
    EXPECT_EQ(read(folder_ / "precious"), "precious");
    unsetenv("HVX_SYSFS_ROOT");
    fs::remove_all(kScratchFile);
    fs::remove_all(folder_);
  }

  fs::path folder_;

 private:
  const ScratchFileLock lock_;
  std::ptrdiff_t descriptors_;
};

TEST_F(ScratchFile, CommandsAreRunByTheShellAsTheyStandWithFiveMinutesEach) {
  EXPECT_EQ(through_scratch_file(kCommand), kReport);
  ASSERT_EQ(commands.size(), 2u);
  for (const Command& one : commands) {
    EXPECT_EQ(one.program, "/bin/sh");
    ASSERT_EQ(one.arguments.size(), 2u);
    EXPECT_EQ(one.arguments[0], "-c");
    EXPECT_EQ(one.seconds, 300);
  }
  EXPECT_EQ(commands[0].arguments[1], std::string(kCommand) + " > /tmp/sgMap.txt");
  EXPECT_EQ(commands[1].arguments[1], "rm -rf /tmp/sgMap.txt");
  EXPECT_FALSE(fs::exists(kScratchFile));
}

TEST_F(ScratchFile, IsClosedAndRemovedWhereverMemoryRunsOut) {
  const std::string text = kCommand;
  const auto descriptors = open_descriptors();
  int failed = 0;
  for (int number = 1; failed == number - 1; ++number) {
    SCOPED_TRACE(number);
    until_failure = number;
    const std::optional<std::string> answer = through_scratch_file(text);
    failed += until_failure == 0;
    until_failure = 0;
    EXPECT_TRUE(!answer || *answer == kReport) << *answer;
    EXPECT_EQ(open_descriptors(), descriptors);
    EXPECT_FALSE(fs::exists(kScratchFile));
  }
  EXPECT_GE(failed, 10) << "the command's text, what runs it, and the report";
}

TEST_F(ScratchFile, IsReadUpToItsFirstNul) {
  EXPECT_EQ(through_scratch_file("printf 'one\\000two'"), "one");
  EXPECT_EQ(through_scratch_file("true"), "");
}

TEST_F(ScratchFile, IsMadeForItsOwnerAloneBeforeTheShellOpensIt) {
  const mode_t before = umask(0);
  EXPECT_EQ(through_scratch_file("stat -c '%a %u %h' /tmp/sgMap.txt"),
            "600 " + std::to_string(geteuid()) + " 1\n");
  umask(before);
}

// Whatever a user of the machine has put there is neither written nor read nor in the way.
TEST_F(ScratchFile, TakesThePlaceOfWhatIsThere) {
  const auto expect_taken = [&](const char* what) {
    EXPECT_EQ(through_scratch_file(kCommand), kReport) << what;
    EXPECT_FALSE(fs::exists(fs::symlink_status(kScratchFile))) << what;
  };
  std::ofstream(kScratchFile) << "somebody's report";
  expect_taken("a file");
  fs::create_hard_link(folder_ / "precious", kScratchFile);
  expect_taken("another name of a file");
  fs::create_symlink(folder_ / "precious", kScratchFile);
  expect_taken("a link to a file");
  fs::create_symlink("/nonexistent/place", kScratchFile);
  expect_taken("a link to nowhere");
  fs::create_symlink("/dev/full", kScratchFile);
  expect_taken("a link to a device");
  fs::create_directory_symlink(folder_, kScratchFile);
  expect_taken("a link to a folder");
  fs::create_directories(std::string(kScratchFile) + "/inner/folder");
  fs::create_symlink(folder_ / "precious", std::string(kScratchFile) + "/inner/link");
  expect_taken("a folder");
  ASSERT_EQ(mkfifo(kScratchFile, 0666), 0);
  const platform::Descriptor both_ends(open(kScratchFile, O_RDWR | O_NONBLOCK | O_CLOEXEC));
  expect_taken("a pipe");
  char byte;
  EXPECT_EQ(::read(both_ends.get(), &byte, 1), -1) << "it was written to";
}

TEST_F(ScratchFile, ThatCannotBeMadeIsNoReportAndTheCommandIsNotRun) {
  if (geteuid() != 0) GTEST_SKIP() << "only root has other users";
  std::ofstream(kScratchFile) << "root's";
  chmod(kScratchFile, 0666);
  const pid_t child = fork();
  if (child == 0) {
    commands.clear();
    if (setresgid(kNobody, kNobody, kNobody) != 0 || setuid(kNobody) != 0) _exit(2);
    _exit(through_scratch_file(kCommand) || !commands.empty() ? 1 : 0);
  }
  int status = 1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(read(kScratchFile), "root's");
}

// A user who is quicker than the file is made.
TEST_F(ScratchFile, WhosePlaceIsTakenAgainIsNoReportAndTheCommandIsNotRun) {
  after_unlink = [] { std::ofstream(kScratchFile) << "somebody's report"; };
  EXPECT_FALSE(through_scratch_file(kCommand).has_value());
  EXPECT_EQ(read(kScratchFile), "somebody's report");
  after_unlink = [this] { fs::create_symlink(folder_ / "precious", kScratchFile); };
  EXPECT_FALSE(through_scratch_file(kCommand).has_value());
  EXPECT_TRUE(fs::is_symlink(kScratchFile));
  after_unlink = [this] {
    fs::remove(kScratchFile);
    fs::create_symlink(folder_ / "absent", kScratchFile);
  };
  EXPECT_FALSE(through_scratch_file(kCommand).has_value());
  EXPECT_FALSE(fs::exists(folder_ / "absent"));
  EXPECT_TRUE(commands.empty());
}

// Puts links, pipes, folders and files there, as fast as it can, as another user.
[[noreturn]] void flip(const fs::path& target) {
  if (setresgid(kNobody, kNobody, kNobody) != 0 || setuid(kNobody) != 0) _exit(1);
  while (true) {
    symlink(target.c_str(), kScratchFile);
    unlink(kScratchFile);
    mkfifo(kScratchFile, 0666);
    unlink(kScratchFile);
    mkdir(kScratchFile, 0777);
    rmdir(kScratchFile);
    close(open(kScratchFile, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    unlink(kScratchFile);
  }
}

// Whether or not the kernel keeps root from following another user's link there.
TEST_F(ScratchFile, OfAnotherUserWhoFlipsWhatIsThereIsNeverOpened) {
  if (geteuid() != 0) GTEST_SKIP() << "only root has other users";
  int answers = 0;
  const pid_t other = fork();
  if (other == 0) flip(folder_ / "precious");
  for (int time = 0; time < 100; ++time) {
    const std::optional<std::string> answer = through_scratch_file(kCommand);
    EXPECT_EQ(answer.value_or(kReport), kReport);
    answers += answer.has_value();
  }
  kill(other, SIGKILL);
  int status = 0;
  waitpid(other, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status)) << "it could not become another user";
  EXPECT_EQ(through_scratch_file(kCommand), kReport);
  RecordProperty("answers", answers);
}

TEST_F(ScratchFile, WhereThereIsNoShellThereIsNoReport) {
  runs.are_started = false;
  EXPECT_FALSE(through_scratch_file(kCommand).has_value());
  EXPECT_FALSE(fs::exists(kScratchFile));
}

TEST_F(ScratchFile, IsRemovedAlsoWhereNoShellCanBeStartedForThat) {
  runs.removals_are_started = false;
  EXPECT_EQ(through_scratch_file(kCommand), kReport);
  EXPECT_EQ(commands.back().arguments.back(), "rm -rf /tmp/sgMap.txt");
  EXPECT_FALSE(fs::exists(kScratchFile));
}

TEST_F(ScratchFile, OfACommandThatHangsIsNotRead) {
  runs.exit = false;
  runs.seconds = 300;
  EXPECT_FALSE(through_scratch_file(kCommand).has_value());
  EXPECT_FALSE(fs::exists(kScratchFile));
}

// What it has printed counts, as of one that fails.
TEST_F(ScratchFile, OfACommandThatIsKilledIsRead) {
  EXPECT_EQ(through_scratch_file("sh -c 'echo half a report; kill -KILL $$'"), "half a report\n");
  EXPECT_EQ(through_scratch_file("sh -c 'kill -KILL $$'"), "");
  EXPECT_EQ(through_scratch_file("sh -c 'echo half a report; exit 3'"), "half a report\n");
  runs.seconds = 299;
  runs.exit = false;
  EXPECT_EQ(through_scratch_file(kCommand), kReport);
  runs.seconds = 300;
  runs.exit = true;
  EXPECT_EQ(through_scratch_file(kCommand), kReport);
}

TEST_F(ScratchFile, IsNotReadPastItsLimit) {
  EXPECT_TRUE(through_scratch_file("head -c 16777216 /dev/zero").has_value());
  EXPECT_FALSE(through_scratch_file("head -c 16777217 /dev/zero").has_value());
  EXPECT_FALSE(fs::exists(kScratchFile));
}

TEST_F(ScratchFile, WhoseReadingFailsIsNoReport) {
  reading = Reading::IsInterrupted;
  EXPECT_EQ(through_scratch_file(kCommand), kReport);
  for (const Reading how : {Reading::Fails, Reading::Ends}) {
    reading = how;
    EXPECT_FALSE(through_scratch_file(kCommand).has_value()) << static_cast<int>(how);
  }
  reading = Reading::Ordinary;
  size_is_unknown = true;
  EXPECT_FALSE(through_scratch_file(kCommand).has_value());
  size_is_unknown = false;
}

// What the shell has then written, or where, is not known.
TEST_F(ScratchFile, ThatIsReplacedMeanwhileIsNoReportAndWhatIsThereStays) {
  const std::string moved = folder_ / "moved";
  const std::string away = "mv /tmp/sgMap.txt " + moved;
  EXPECT_FALSE(through_scratch_file(away + "; ln -s " + moved + " /tmp/sgMap.txt; " + kCommand));
  EXPECT_EQ(read(moved), kReport) << "written through the link";
  EXPECT_TRUE(fs::is_symlink(kScratchFile));
  EXPECT_FALSE(through_scratch_file(away + "; echo other > /tmp/sgMap.txt; true 3"));
  EXPECT_TRUE(fs::is_regular_file(kScratchFile));
  fs::remove(kScratchFile);
  EXPECT_FALSE(through_scratch_file(kCommand +
                                    std::string(" > /tmp/sgMap.txt; rm /tmp/sgMap.txt;") +
                                    "mkdir /tmp/sgMap.txt; true"));
  EXPECT_TRUE(fs::is_directory(kScratchFile));
  fs::remove(kScratchFile);
  EXPECT_FALSE(through_scratch_file(
      kCommand + std::string(" > /tmp/sgMap.txt; rm /tmp/sgMap.txt;") + "exit; true"));
  EXPECT_FALSE(fs::exists(fs::symlink_status(kScratchFile)));
}

// Another process at its own report of that name.
TEST_F(ScratchFile, IsNotMadeBeforeAnotherProcessHasDone) {
  fs::create_directory(folder_ / "run");
  const platform::Descriptor other(
      open((folder_ / "run/hddtest.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  ASSERT_EQ(flock(other.get(), LOCK_EX), 0);
  std::ofstream(kScratchFile) << "the other's";
  locks = 0;
  std::atomic<bool> done = false;
  std::thread second([&] {
    EXPECT_EQ(through_scratch_file(kCommand), kReport);
    done = true;
  });
  while (locks == 0 && !done) std::this_thread::yield();
  EXPECT_EQ(read(kScratchFile), "the other's");
  fs::remove(kScratchFile);
  EXPECT_EQ(flock(other.get(), LOCK_UN), 0);
  second.join();
}

}  // namespace
}  // namespace discovery
