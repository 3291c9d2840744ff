// A lock that the processes of one machine share: while one of them has such an object, every other
// process that makes one waits.
//
// The lock is a file below /run that nobody but its owner can open. In /tmp, or anywhere else where
// anyone may make a file of that name, an ordinary user could hold the lock for ever. Where there
// is no such place (an ordinary user's process, a read-only /run) there is no lock, and nobody
// waits.
#pragma once

#include "platform/descriptor.h"

namespace discovery {

class ProcessLock {
 public:
  ProcessLock();  // waits
  ~ProcessLock();

  bool is_held() const { return bool(file_); }

 private:
  platform::Descriptor file_;
};

}  // namespace discovery
