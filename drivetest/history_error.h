// Why the history could not be read or written.
#pragma once

#include <cstddef>
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
  // What is wrong and what to do, with what stands between the two in a line.
  HistoryError(HistoryFault fault, const std::string& found, const std::string& remedy = "",
               const std::string& between = ": ")
      : std::runtime_error(remedy.empty() ? found : found + between + remedy),
        fault_(fault),
        found_(found.size()),
        remedy_(remedy.size()) {}

  HistoryFault fault() const noexcept { return fault_; }
  std::string found() const { return std::string(what(), found_); }
  std::string remedy() const {
    const std::string words = what();
    return words.substr(words.size() - remedy_);
  }

 private:
  HistoryFault fault_;
  std::size_t found_;  // how many bytes of the words
  std::size_t remedy_;
};

}  // namespace drivetest
