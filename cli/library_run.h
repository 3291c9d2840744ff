// A test that 'hddtest run' makes without the module: started in the drive, followed to its end,
// and told in the module's words.
#pragma once

#include <functional>
#include <string>

#include "cli/drive_result.h"
#include "cli/follow.h"
#include "drivetest/drive_access.h"

namespace cli {

class DriveTests;

// The result of a drive's test whose row has this state. device, given_type: as the user named it.
DriveResult result_of(const Followed& followed, const std::string& device,
                      const std::string& given_type);

// What keeps a drive from the test.
enum class Hindrance {
  None,         // it was started, whatever came of it
  Unable,       // the drive knows no such test
  Unreachable,  // nobody can ask it by this name
  Other         // a test runs already, no permission, no tool, a refusal
};

struct LibraryResult {
  DriveResult result;
  Hindrance hindrance = Hindrance::None;
};

// Blocks until the test has ended; a test without progress for long is given up, and goes on in the
// drive. A drive in standby is woken. `report` is called whenever the progress has changed. The
// drive is shown as its place's device. given_type: see name_in_command().
LibraryResult test_by_library(DriveTests& tests, const drivetest::Place& place,
                              const std::string& given_type, drivetest::TestKind kind,
                              const std::function<void(const TestProgress&)>& report);

}  // namespace cli
