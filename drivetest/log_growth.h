// What has been added to a drive's self-test log between two looks, and which of it is the entry of
// one's own test. Pure functions.
//
// A drive's log is a list of a few rows (ATA 21 or 19 per sector, SCSI and NVMe 20), the newest
// first; a full one loses its oldest row with each new one. Rows have no number. So what was added
// is told by where the rows of before go on: below the added ones. Some drives write no row for an
// aborted test, some show the running test as the first row, some leave such a row behind for ever
// when they lose power, and hours wrap, stand still or follow a clock of their own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/drive.h"
#include "drivetest/look.h"
#include "drivetest/outcome.h"

namespace drivetest {

struct LogGrowth {
  std::vector<LogEntry> added;  // newest first, without rows of a running test
  // Whether nothing else can have been added. Not so where a full log of equal rows may have got
  // one more of the same, and where no row of before is left or the log has become shorter.
  bool is_certain = true;
  // The rows below them that may have been added, too, since equal ones stood there before.
  std::vector<LogEntry> doubtful = {};
  bool is_before_known = true;  // else any of the rows may be old
  // The row that a running test had in a full log has given way to its result or, where it left
  // none, to an old row that is the same.
  bool is_result_in_doubt = false;
  // The oldest row among the added that says "running" for ever.
  struct LeftRow {
    std::optional<TestKind> kind;
    std::size_t newer = 0;  // how many of `added` are newer
  };
  std::optional<LeftRow> left = {};
};

LogGrowth growth_of(const std::vector<LogEntry>& before, const std::vector<LogEntry>& now);

// Where nothing is known of before, every row may have been added, and none certainly has.
LogGrowth growth_from_unknown(const std::vector<LogEntry>& now);

// One's own test, which was started when the log was as before.
struct OwnTest {
  Protocol protocol = Protocol::Unknown;
  std::optional<TestKind> kind;  // not set: any
  std::optional<std::uint64_t> hours_at_start;
  // How many hours after its start the test may have ended at most.
  std::uint64_t most_hours = 0;
  std::optional<std::uint64_t> hours_now = std::nullopt;
  // Within how many hours after its start it would have ended. An entry of a later hour, told by
  // the drive's own counter of hours, is another test's.
  std::uint64_t usual_hours = 0;
  // Whether the power may have been lost since. Then a row of its kind that says "running" for ever
  // is its own, unless an older one is.
  bool may_be_lost = false;
};

struct OwnEntry {
  std::optional<LogEntry> entry;
  std::string reason;  // why there is none, in words; may be empty with an entry
  // Whether the test is over: none of its kind began before it, and one has ended.
  bool is_over = false;
};

// The entry of the test among those that were added. With several of its kind it is the oldest,
// for no other test can have begun before it. None in doubt.
OwnEntry own_entry(const OwnTest& test, const LogGrowth& growth);

}  // namespace drivetest
