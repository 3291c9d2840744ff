// Tests of drives in words for people. Pure functions; causes quote drives and are not escaped.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/output.h"
#include "drivetest/look.h"
#include "drivetest/test_row.h"

namespace cli {

// "just now", "5 minutes ago", "3 hours ago", "12 days ago"; "in the future" where a clock went
// back since.
std::string age_text(std::chrono::seconds age);

// "2026-11-22 15:04" in local time.
std::string local_time_text(drivetest::Time time);

// The test that an option --test names, for these drives; throws WrongCommandLine.
drivetest::TestKind kind_named(const std::string& name, const std::vector<std::string>& devices);

// The drive as people read it: "/dev/bus/8 megaraid,0", since all drives behind a controller share
// its device. Another name, which the user has given, stays as it is.
std::string shown_name(const std::string& name, const drivetest::Place& place);
// The same as it may stand in a command that somebody copies: "--type megaraid,0 /dev/bus/8".
// given_type: the user's own --type, without which the name may lead to no drive or to another one.
std::string name_in_command(const std::string& name, const drivetest::Place& place,
                            const std::string& given_type);

// "short test", "test" where the kind is not known.
std::string kind_text(const drivetest::TestRow& row);

// "passed", "result not known", "running".
std::string result_word(const drivetest::TestRow& row);

// "passed", or "failed: read failure, first bad block 4711".
std::string outcome_text(const drivetest::TestRow& row);

// Who began it: "hddtest", "the module", "another program or person". No drive tells which: smartd
// and udisks look like a person.
std::string starter_text(const drivetest::TestRow& row);

// "long test of another program or person"; "long test" where no history tells who began it.
std::string owned_test_text(const drivetest::TestRow& row, bool has_history);

// What is to be known of a drive that says "running" of a test which may be over; empty of others.
std::string doubt_text(const drivetest::Look& look);

// Why the drive was not looked at, with what to do where that is known.
std::string fault_text(const drivetest::Look& look);

// "2 minutes", "1 minute", "5 h 20 min".
std::string minutes_text(unsigned minutes);

// As 'hddtest run' has them, beside those that all commands share.
inline constexpr int kStatusFailed = 1;
inline constexpr int kStatusAborted = 2;  // or the drive knows no such test

// The exit status that the test's outcome makes: 0 too while it runs.
int status_of(const drivetest::TestRow& row);
// Of several: 3, else 1, else 2, else 0.
int gravest(const std::vector<int>& statuses);

// What a list shows the test in; none while it runs.
Colour colour_of(const drivetest::TestRow& row);

// What a list says of a drive's newest test: "short test running, 40% remaining", "long test passed
// 3 days ago", "no test known". Without a history nobody knows of former tests, nor who began one.
std::string newest_test_text(const std::optional<drivetest::TestRow>& row, bool is_stalled,
                             bool has_history, drivetest::Time now);

// The same in few words, without cause: "short, 40% remaining, others", "long failed 3 days ago".
std::string brief_test_text(const std::optional<drivetest::TestRow>& row, bool is_stalled,
                            bool has_history, drivetest::Time now);

}  // namespace cli
