// What a program writes to its standard error, for whom wants to quote it.
#pragma once

#include <cstddef>
#include <string>

#include "platform/descriptor.h"

namespace NKVRHVX20 {

// A place in memory that the program writes to and nobody has to drain: its writes fail when the
// place is full, so that it neither waits nor fills the memory.
class KeptErrors {
 public:
  static constexpr std::size_t kRoom = 65536;

  // Makes the place, with a descriptor above the given number. False where there is none to be had.
  bool open(int above);
  // Negative: none was opened.
  int descriptor() const { return file_.get(); }
  // All that was written so far, to the first NUL.
  std::string text() const;

 private:
  platform::Descriptor file_;
};

}  // namespace NKVRHVX20
