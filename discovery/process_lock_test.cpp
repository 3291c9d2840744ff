#include "discovery/process_lock.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <thread>

#include "platform/descriptor.h"

namespace {
std::atomic<int> requests = 0;
std::atomic<int> interruptions = 0;  // of the next requests
}  // namespace

extern "C" int flock(int file, int operation) noexcept {
  using Function = int(int, int);
  ++requests;
  if (interruptions > 0) {
    --interruptions;
    errno = EINTR;
    return -1;
  }
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, "flock"))(file, operation);
}

namespace discovery {
namespace {

namespace fs = std::filesystem;

constexpr unsigned kNobody = 65534;

// A root of the test's own, with a folder /run.
class InProcessLock : public testing::Test {
 protected:
  InProcessLock() {
    std::string name = fs::temp_directory_path() / "process_lock_test.XXXXXX";
    root_ = mkdtemp(name.data());
    file_ = root_ / "run/hddtest.lock";
    fs::create_directory(root_ / "run");
    setenv("HVX_SYSFS_ROOT", root_.c_str(), 1);
    interruptions = 0;
  }
  ~InProcessLock() override {
    unsetenv("HVX_SYSFS_ROOT");
    fs::remove_all(root_);
  }
  // Whether nobody holds it, as another process sees it.
  bool is_free() const {
    const platform::Descriptor other(open(file_.c_str(), O_RDWR | O_CLOEXEC));
    return flock(other.get(), LOCK_EX | LOCK_NB) == 0;
  }
  fs::path root_, file_;
};

TEST_F(InProcessLock, ItIsHeldFromBeginToEnd) {
  {
    const ProcessLock lock;
    EXPECT_TRUE(lock.is_held());
    EXPECT_FALSE(is_free());
  }
  EXPECT_TRUE(is_free());
}

TEST_F(InProcessLock, ItsFileIsItsOwnersAlone) {
  const mode_t before = umask(0);
  { const ProcessLock lock; }
  umask(before);
  struct stat status {};
  ASSERT_EQ(stat(file_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST_F(InProcessLock, ProgramsOfTheHostDoNotInheritIt) {
  const ProcessLock lock;
  int found = 0;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    if (fs::read_symlink(entry, gone) != file_) continue;
    ++found;
    EXPECT_EQ(fcntl(std::stoi(entry.path().filename()), F_GETFD), FD_CLOEXEC);
  }
  EXPECT_EQ(found, 1);
}

TEST_F(InProcessLock, ASecondWaitsForTheFirst) {
  const platform::Descriptor other(open(file_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  ASSERT_EQ(flock(other.get(), LOCK_EX), 0);
  requests = 0;
  std::atomic<bool> taken = false;
  std::thread second([&] {
    const ProcessLock lock;
    EXPECT_TRUE(lock.is_held());
    taken = true;
  });
  while (requests == 0) std::this_thread::yield();
  EXPECT_FALSE(taken);
  EXPECT_EQ(flock(other.get(), LOCK_UN), 0);
  second.join();
  EXPECT_TRUE(taken);
}

TEST_F(InProcessLock, AnInterruptedOneWaitsOn) {
  interruptions = 2;
  const ProcessLock lock;
  EXPECT_TRUE(lock.is_held());
  EXPECT_FALSE(is_free());
}

// An object manager forks at any time.
TEST_F(InProcessLock, AChildThatTheHostForksMeanwhileDoesNotHoldItOn) {
  platform::Pipe pipe = platform::open_pipe();
  ASSERT_TRUE(pipe.read_end);
  pid_t child;
  {
    const ProcessLock lock;
    child = fork();
    if (child == 0) {
      pipe.write_end.close();
      char end;
      _exit(read(pipe.read_end.get(), &end, 1) == 0 ? 0 : 1);
    }
  }
  EXPECT_TRUE(is_free());
  pipe.write_end.close();
  waitpid(child, nullptr, 0);
}

TEST_F(InProcessLock, WithoutAPlaceThereIsNone) {
  fs::remove(root_ / "run");
  const ProcessLock lock;
  EXPECT_FALSE(lock.is_held());
  EXPECT_FALSE(fs::exists(root_ / "run"));
}

// What another user could hold, or has put there, is not waited for.
TEST_F(InProcessLock, WhatOthersCanOpenIsNone) {
  std::ofstream(file_) << "";
  for (const mode_t mode : {0640, 0620, 0604, 0602, 0666}) {
    chmod(file_.c_str(), mode);
    EXPECT_FALSE(ProcessLock().is_held()) << std::oct << mode;
  }
  chmod(file_.c_str(), 0600);
  EXPECT_TRUE(ProcessLock().is_held());
}

TEST_F(InProcessLock, WhatIsAnotherUsersIsNone) {
  if (geteuid() != 0) GTEST_SKIP() << "only root has other users";
  std::ofstream(file_) << "";
  chmod(file_.c_str(), 0600);
  ASSERT_EQ(chown(file_.c_str(), kNobody, kNobody), 0);
  EXPECT_FALSE(ProcessLock().is_held());
}

TEST_F(InProcessLock, WhatIsNoFileIsNone) {
  std::ofstream(root_ / "linked") << "";
  chmod((root_ / "linked").c_str(), 0600);
  fs::create_symlink(root_ / "linked", file_);
  EXPECT_FALSE(ProcessLock().is_held());
  fs::remove(file_);
  ASSERT_EQ(mkfifo(file_.c_str(), 0600), 0);
  EXPECT_FALSE(ProcessLock().is_held());
  fs::remove(file_);
  fs::create_directory(file_);
  EXPECT_FALSE(ProcessLock().is_held());
}

}  // namespace
}  // namespace discovery
