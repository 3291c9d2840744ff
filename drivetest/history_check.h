// Whether the history can be used, looked at without changing anything.
#pragma once

#include <string>

namespace drivetest {

struct HistoryCheck {
  enum class Result {
    Sound,
    NotThere,  // and would be made with the first test
    Hidden,    // this user may not look
    Unusable,
  };
  Result result = Result::Sound;
  std::string file;    // or the folder, where that is not there
  std::string words;   // what is wrong; empty for the first two
  std::string remedy;  // what to do about it
};

// Makes nothing, brings no older file up to date and sets no damaged one aside. Of the file it
// reads the description of its tables. Waits a second at most for others that write.
HistoryCheck check_history(const std::string& folder);

}  // namespace drivetest
