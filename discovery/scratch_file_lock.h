// For tests that reach the scratch file: it is one for everybody on the machine, so they exclude
// each other across processes and build trees.
#pragma once

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

namespace discovery {

class ScratchFileLock {
 public:
  ScratchFileLock() : file_(open(kFile, O_RDONLY | O_CREAT | O_CLOEXEC, 0644)) {
    // In /tmp another user's file may be opened, but not with leave to create it.
    if (file_ < 0) file_ = open(kFile, O_RDONLY | O_CLOEXEC);
    if (file_ < 0 || flock(file_, LOCK_EX) != 0)
      throw std::runtime_error(std::string("cannot lock ") + kFile);
  }
  ScratchFileLock(const ScratchFileLock&) = delete;
  ~ScratchFileLock() { close(file_); }

 private:
  // Beside the scratch file, whatever TMPDIR says.
  static constexpr const char* kFile = "/tmp/sgMap.test.lock";

  int file_;
};

}  // namespace discovery
