// For tests that reach the scratch file: it is one for everybody on the machine, so they exclude
// each other across processes and build trees.
#pragma once

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>

namespace discovery {

class ScratchFileLock {
 public:
  ScratchFileLock()
      : file_(open((std::filesystem::temp_directory_path() / "sgMap.test.lock").c_str(),
                   O_RDWR | O_CREAT | O_CLOEXEC, 0666)) {
    flock(file_, LOCK_EX);
  }
  ScratchFileLock(const ScratchFileLock&) = delete;
  ~ScratchFileLock() { close(file_); }

 private:
  int file_;
};

}  // namespace discovery
