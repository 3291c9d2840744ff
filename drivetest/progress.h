// What a look at a drive means for a test that runs as far as the history knows. Pure functions.
#pragma once

#include <optional>
#include <string>

#include "drivetest/log_growth.h"
#include "drivetest/look.h"
#include "drivetest/test_row.h"

namespace drivetest {

struct ProgressFinding {
  TestRow row;  // as it is now
  // Set where this look alone cannot tell: the drive does not show the test as running and has no
  // entry of it, which some drives do for seconds after the start and before the entry. A second
  // look, some seconds later, decides.
  bool look_again = false;
  // Which of the entries that were added is the row's own.
  std::optional<LogEntry> entry;
};

struct Circumstances {
  bool is_second_look = false;
  bool was_stopped = false;   // by us, and the drive took the command
  bool was_replaced = false;  // was_stopped: to begin another test
  bool is_over = false;       // who began it says so
  bool was_seen = false;      // by who began it, while it ran
};

// What a drive shows that may say "running" of a test which is over (RunningTest::is_doubtful) is
// taken for the row's test only if an earlier look has shown that running, and until it is stalled.
// `look` has no fault, `growth` is that of the drive's log since the row began or was last brought
// up to date.
ProgressFinding progress_of(const TestRow& row, const Look& look, const LogGrowth& growth, Time now,
                            const Circumstances& circumstances);

// The cause of a test that has ended, if it was we who stopped it, or replaced it by another one;
// not set where the drive has not told that it was aborted.
std::optional<std::string> cause_when_stopped(const TestRow& row, const Drive& drive,
                                              bool was_replaced);

// The row of a test that nobody here has started and that runs now.
TestRow row_of_running(const Look& look, Time now);

// The row of an entry that the log has got from somebody else's test.
TestRow row_of_entry(const Look& look, const LogEntry& entry);

// How long the drive says that such a test takes; not set where it does not, or the kind is not
// known.
std::optional<unsigned> announced_minutes(const Abilities& abilities,
                                          const std::optional<TestKind>& kind);

// Whether the test has made no progress for three times the time that the drive announced, and an
// hour at least. It may still end; nothing says that it failed.
bool is_stalled(const TestRow& row, const Abilities& abilities, Time now);

}  // namespace drivetest
