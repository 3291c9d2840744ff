#include "discovery/process_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

namespace discovery {

namespace {

constexpr char kLockFile[] = "/run/hddtest.lock";

// Below HVX_SYSFS_ROOT where that is set, as the DMI texts are.
std::string place() {
  const char* const root = std::getenv("HVX_SYSFS_ROOT");
  return std::string(root ? root : "") + kLockFile;
}

// Every user who can open a file can hold its lock.
bool is_ours_alone(int file) {
  struct stat status {};
  return fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
         (status.st_mode & 077) == 0;
}

bool take(int file) {
  while (flock(file, LOCK_EX) != 0)
    if (errno != EINTR) return false;
  return true;
}

}  // namespace

ProcessLock::ProcessLock()
    : file_(open(place().c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600)) {
  if (!file_ || (is_ours_alone(file_.get()) && take(file_.get()))) return;
  file_.close();
}

ProcessLock::~ProcessLock() {
  if (file_) flock(file_.get(), LOCK_UN);  // also for a child that the host has forked meanwhile
}

}  // namespace discovery
