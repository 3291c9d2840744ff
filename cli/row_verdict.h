// What a row of the history means to those who asked for the test: the verdict in the words and the
// causes of 'hddtest run'. Pure functions.
#pragma once

#include "cli/verdict.h"
#include "drivetest/look.h"
#include "drivetest/test_row.h"

namespace cli {

// Without outcome where the row has none or its result is not known. in_history: what finds the
// drive's tests there; empty where only a list of all does.
Verdict verdict_of_row(const drivetest::TestRow& row, drivetest::Protocol protocol,
                       const std::string& in_history);

// Of a drive that was looked at in vain.
Verdict verdict_of_fault(const drivetest::Look& look);

// What shows a test that may go on, and what ends it. Here and below the name is one of
// name_in_command().
std::string go_on_advice(const std::string& name);

// What to do about a test that has stalled.
std::string stalled_advice(const std::string& name);

// Of a test whose end nobody has seen, though the drive may go on.
Verdict verdict_of_untold(const std::string& why, const std::string& name);

// Of a drive in which this test runs already, for somebody who wanted to start one. has_history:
// the row tells who began it.
Verdict verdict_of_busy(const drivetest::TestRow& row, bool is_stalled, bool has_history,
                        const std::string& name);

}  // namespace cli
