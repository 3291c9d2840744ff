// What monitoring systems are told of drives and their tests, in the text format of Prometheus,
// version 0.0.4. It has gauges and counters only and no time stamps: a collector that meets
// anything else in a file throws all of the file away. Pure functions over plain data.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/look.h"
#include "drivetest/test_row.h"

namespace cli {

// What is known of a drive of this machine, present or gone.
struct MeasuredDrive {
  std::string identity;                   // by which the history knows it
  drivetest::Drive drive;                 // what the history or the kernel tells of it
  std::optional<drivetest::Time> looked;  // when its log was last read, of a drive that is gone
  std::optional<drivetest::Look> look;    // not set: the drive is gone
  // Of one without a look: it has not gone, but drives that are here claim to be it, and are known
  // by their places since there are several.
  bool is_known_by_place = false;
  bool is_stalled = false;                // the test that runs in it
  std::vector<drivetest::TestRow> tests;  // all that are kept, the newest first
};

// Whether a self-test can be started in the drive. One that rests or cannot be asked says nothing
// of its tests: where the history has some of it they can be started, else nobody knows, and it is
// not set. For a drive that cannot be asked tests by others do not count.
std::optional<bool> is_testable(const MeasuredDrive& one);

struct Metrics {
  std::string text;
  // Drives that would have had the label of another one, in words.
  std::vector<std::string> clashes;
};

// The metrics of the drives, in their order. `errors` is what else went wrong on the way to them,
// such as a history that could not be read; it is counted with the drives that could not be looked
// at and with clashes. docs/fleet.md has the names. Texts of drives may hold anything.
Metrics metrics_of(const std::vector<MeasuredDrive>& drives, std::size_t errors);

}  // namespace cli
