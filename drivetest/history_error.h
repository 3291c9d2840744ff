// Why the history could not be read or written.
#pragma once

#include <stdexcept>
#include <string>

namespace drivetest {

enum class HistoryFault {
  NotPermitted,  // it is another user's, as a rule root's
  Unsafe,        // a link or something that others may change stands in its place
  ReadOnly,
  Full,
  Busy,     // others have written for longer than was waited
  Newer,    // a newer version has written it
  Damaged,  // and the damaged file could not be kept aside
  Broken,   // all else, such as an error of the disk
};

// Its words name the file and say what to do. They hold no text of a drive. Nothing has been
// written, here or elsewhere.
class HistoryError : public std::runtime_error {
 public:
  HistoryError(HistoryFault fault, const std::string& words)
      : std::runtime_error(words), fault_(fault) {}

  HistoryFault fault() const noexcept { return fault_; }

 private:
  HistoryFault fault_;
};

}  // namespace drivetest
