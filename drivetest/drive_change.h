// What the history knows of one drive, and what a look at it changes there.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "drivetest/look.h"
#include "drivetest/test_row.h"

namespace drivetest {

struct DriveState {
  // The drive's log when it was last looked at, as it was then; not set before the first look.
  std::optional<std::vector<LogEntry>> log;
  // Until then: the drive's tests that are kept with its own entry, the oldest first. They came
  // with a file.
  std::vector<TestRow> kept;
  std::optional<TestRow> running;  // there is one at most
  bool is_starting = false;        // that test, by a process that lives; see History::mark_starting
  // The number of the drive's last change among those of all drives; see History::changes().
  std::int64_t changed = 0;

  bool operator==(const DriveState&) const = default;
};

// What is not set stays as it is.
struct DriveChange {
  std::optional<std::vector<LogEntry>> log;
  std::optional<TestRow> running;  // the same row, brought up to date; with an outcome it has ended
  std::vector<TestRow> added;      // new rows, the oldest first; one without an outcome at most
};

}  // namespace drivetest
