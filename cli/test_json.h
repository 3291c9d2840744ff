// Drives and their tests as JSON, as the commands over tests of any drive print them.
#pragma once

#include <optional>
#include <string>

#include "cli/drive_tests.h"
#include "cli/json.h"
#include "drivetest/look.h"
#include "drivetest/test_row.h"

namespace cli {

Json text_or_null(const std::string& text);

// What the drive says of itself and which tests it can do; null where it does not say. Its model
// and serial number are then those that the kernel knows.
Json drive_json(const ChosenDrive& drive, const drivetest::Look& look);

// The test's keys are those of 'hddtest history --json'; null without a row. Without a history it
// is not known who began a test that was found running. What the history gives to a test that it
// keeps (number, id, recorded) is null of others.
Json row_json(const drivetest::Look& look, const std::optional<drivetest::TestRow>& row,
              bool has_history);

}  // namespace cli
