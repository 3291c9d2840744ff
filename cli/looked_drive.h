// A drive that was looked at, with its newest test: what the commands show that look at many
// drives.
#pragma once

#include <optional>
#include <string>

#include "cli/drive_tests.h"
#include "cli/json.h"
#include "cli/output.h"
#include "drivetest/keeper.h"
#include "drivetest/test_row.h"

namespace cli {

struct LookedDrive {
  ChosenDrive drive;
  drivetest::DriveStatus status;
  std::optional<drivetest::TestRow> last;   // the newest that the history has, running or ended
  std::optional<drivetest::TestRow> ended;  // the newest that has ended
  // The newest that failed, where none has passed since that makes up for it, as
  // TestRow::answers_failure has it, however many there were since.
  std::optional<drivetest::TestRow> failed;

  // A drive in standby is asked nothing, which is what its user wants.
  bool is_unknown() const;
  bool is_in_standby() const;
  // Whether it is known which drive it is: DriveTests::is_known().
  bool is_known() const;
  // Why it was not looked at; empty: it was.
  std::string reason() const;
  // ChosenDrive::serial_number().
  std::string serial_number() const;
  // What to do about it, as test_advice has it; sysfs may be read.
  std::string advice() const;
};

// The drive and what is kept of its tests.
LookedDrive looked_drive(DriveTests& tests, ChosenDrive drive, drivetest::DriveStatus status);

// The newest test in words for a list, or why there can be none; of one that runs also the one
// before. Not escaped.
std::string test_text(const LookedDrive& one, bool has_history);

// As its cell in a list is printed: a drive that has failed stays one while it is tested again.
Colour colour_of(const LookedDrive& one);

// The same in few words, for narrow terminals.
std::string brief_text(const LookedDrive& one, bool has_history);

// What to do about those of the drives that need it, as paragraphs with an empty line before each;
// escaped, and fitted to the output.
// On a terminal with the tests, whose cause a list may have left out.
std::string advice_text(const std::vector<LookedDrive>& drives, bool has_history,
                        const Output& output);

// drive_json with the tests, whose source is null without a history: running, stalled, doubtful,
// last, failed, reason, advice, bay.
Json json_of(const LookedDrive& one, bool has_history);

}  // namespace cli
