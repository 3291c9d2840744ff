// The lines of the core log that the command understands: the one place that knows the module's
// wording. A test holds it against the module.
#pragma once

#include <string_view>

namespace cli {

enum class Step {
  waiting,     // nothing heard yet
  checking,    // smartctl -i
  reading,     // the log before the test
  starting,    // smartctl -t short: from here on the drive may be testing
  testing,     // polls of the log
  classifying  // the test has ended
};

// A trace line (severity 3) that begins so. Most go on with the device.
struct LogText {
  std::string_view begins;
  Step step;
  std::string_view shown;  // what the drive is doing, for the progress line
};

inline constexpr LogText step_texts[] = {
    {"Check SMART support status on ", Step::checking, "checking SMART"},
    {"Retrieve test logs recorded before triggering new Self-Test on ", Step::reading,
     "reading its log"},
    {"Trigger Self-Test on ", Step::starting, "starting the test"},
    {"Get Self-Test status on ", Step::testing, "testing"},
    {"Test is completed, get test status", Step::classifying, "reading the result"},
    {"Log entry has been changed, get test status", Step::classifying, "reading the result"},
};

// A read of the log during the test: the drive's log follows. An entry of it begins with '#'; the
// newest is the first. While it holds in_progress_text, the remaining share of the test stands
// behind that, as "90%".
inline constexpr std::string_view poll_text = "Current Self-Test logs: \n";
inline constexpr std::string_view in_progress_text = "in progress";

// The entry of the drive's log that decided the outcome.
inline constexpr std::string_view latest_entry_text = "Latest log: ";

}  // namespace cli
