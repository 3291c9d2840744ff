// A lock that the processes of one machine share. Held, it keeps every other process that takes it
// waiting, as long as this lives.
//
// It is a file below /run that nobody but its owner can open: in /tmp, or by a name that anyone may
// take, an ordinary user could hold it and keep the others waiting for good. Where there is no such
// place (an ordinary user's process, a read-only /run) there is no lock, and nobody waits.
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
