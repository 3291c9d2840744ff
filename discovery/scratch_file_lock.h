// For tests that reach the scratch file. Where they have no /tmp of their own (tests/own_tmp.sh),
// the file is one for everybody on the machine: they exclude each other across processes and build
// trees.
#pragma once

#include <fcntl.h>
#include <sys/file.h>

#include <stdexcept>
#include <string>

#include "platform/descriptor.h"

namespace discovery {

class ScratchFileLock {
 public:
  ScratchFileLock() : file_(open(kFile, O_RDONLY | O_CREAT | O_CLOEXEC, 0644)) {
    // In /tmp another user's file may be opened, but not with leave to create it.
    if (!file_) file_ = platform::Descriptor(open(kFile, O_RDONLY | O_CLOEXEC));
    if (!file_ || flock(file_.get(), LOCK_EX) != 0)
      throw std::runtime_error(std::string("cannot lock ") + kFile);
  }

 private:
  // Beside the scratch file, whatever TMPDIR says.
  static constexpr const char* kFile = "/tmp/sgMap.test.lock";

  platform::Descriptor file_;
};

}  // namespace discovery
