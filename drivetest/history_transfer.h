// Taking a history to another machine, or what was kept of a lost one back: a file with a line of
// JSON for each test.
#pragma once

#include <cstddef>
#include <functional>
#include <istream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "drivetest/history.h"

namespace drivetest {

// What an import takes at most, so that a wrong file does no harm.
struct TransferLimits {
  std::size_t line = std::size_t{256} << 10;  // bytes
  std::size_t file = std::size_t{4} << 30;    // bytes
};

struct ImportCounts {
  std::size_t added = 0;
  std::size_t ended = 0;      // ran here, and the file tells how they ended
  std::size_t unchanged = 0;  // were here already
  std::size_t different = 0;  // have ended here otherwise, which stays as it is
};

// Why a file cannot be taken over. Its words have the number of the line and say what to do.
class TransferError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Hands each test's line, with its line feed, to `write`.
void export_history(History& history, const std::function<void(std::string_view)>& write);

// Takes over all tests of the file or, if it throws, none. The same file a second time changes
// nothing. Tests of other machines stay apart by the machine. Others who write wait for the end.
// Throws TransferError, and what History throws.
ImportCounts import_history(History& history, std::istream& file,
                            const TransferLimits& limits = {});

}  // namespace drivetest
