// Follows a test that runs in a drive, looking at the drive again and again until it has ended.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "drivetest/keeper.h"
#include "drivetest/test_row.h"

namespace cli {

// How far a test is, as its drive has told last.
struct TestProgress {
  std::optional<drivetest::TestKind> kind{};
  drivetest::Source source = drivetest::Source::Library;
  std::optional<unsigned> percent{};  // that remains
  std::optional<unsigned> minutes{};  // the same share of the time that the drive announces
  bool is_stalled = false;

  bool operator==(const TestProgress&) const = default;
};

// The share of the announced minutes that the percentage is, rounded up.
std::optional<unsigned> minutes_that_remain(std::optional<unsigned> announced,
                                            std::optional<unsigned> percent);

TestProgress test_progress(const drivetest::TestRow& row, const drivetest::Abilities& abilities,
                           bool is_stalled);

// ", 50% remaining, 42 minutes or more", with what to do about a test that has stalled; empty where
// the drive tells nothing.
std::string remaining_text(const TestProgress& progress);

// Whether it is worth a line where lines stay: NVMe and SCSI drives tell every percent.
bool is_worth_a_line(const std::optional<TestProgress>& last, const TestProgress& now);

// How long to wait for the next look: a hundredth of the time that the drive announces, which is
// the finest step that drives tell their progress in. It is five seconds at least, and a minute at
// most: some USB bridges stop a disk that nobody has asked for longer.
std::chrono::seconds time_to_next_look(const std::optional<drivetest::TestKind>& kind,
                                       const drivetest::Abilities& abilities);

struct FollowOptions {
  bool gives_up_stalled = false;  // when the test has made no progress for long
  bool wakes = false;             // a drive that went to standby, once, to learn the result
};

struct Followed {
  enum class End {
    Ended,    // the row has the outcome, which may be "unknown"
    Stalled,  // it still runs
    Gone,     // the drive is not there any more, or another one is in its place
    NotTold,  // the look has a fault that stays
  };
  End end = End::Ended;
  drivetest::TestRow row;
  drivetest::Drive drive;  // as it was at the beginning, and where
  drivetest::Look look;    // the last one
};

// `row` is the test's, `status` what showed it. Blocks until the end; `report` is called at the
// beginning and whenever the progress has changed. May be used from several threads at once, for
// different drives.
Followed follow(drivetest::Keeper& keeper, drivetest::TimeSource& time,
                const drivetest::TestRow& row, const drivetest::DriveStatus& status,
                const FollowOptions& options,
                const std::function<void(const TestProgress&)>& report);

}  // namespace cli
