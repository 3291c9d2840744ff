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

// Whether the drive may be testing.
constexpr bool may_test(Step step) { return step == Step::starting || step == Step::testing; }

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

// What smartctl answered in a step: its exit status follows, then a line that holds
// smart_message_text, then what it printed.
struct AnswerText {
  std::string_view begins;
  Step step;
};

inline constexpr AnswerText answer_texts[] = {
    {"Check SMART support status: ErrorRet = ", Step::checking},
    {"Retrieve test logs: ErrorRet = ", Step::reading},
    {"Trigger Self-Test: ErrorRet = ", Step::starting},
};

// What smartctl printed in a step follows. The line of it that says why a step failed holds one of
// its complaints.
inline constexpr std::string_view smart_message_text = "Smart Message";
inline constexpr std::string_view smart_complaints[] = {"failed", "Unable", "Unknown USB bridge",
                                                        "Can't start self-test"};

// A read of the log found a test in progress.
inline constexpr std::string_view still_in_progress_text = "Test is in progress, continue to wait";

// A call that named no drive; severity 0. The reason follows.
inline constexpr std::string_view not_run_text = "No test was run: ";

// The entry of the drive's log that decided the outcome.
inline constexpr std::string_view latest_entry_text = "Latest log: ";

inline constexpr std::string_view raid_reason = "RAID";

// What discovery decided on a drive: a trace line that begins and ends so, with the device between.
struct DecisionText {
  std::string_view begins;
  std::string_view ends;
  std::string_view reason;  // why the drive is left out; empty: it can be tested
};

inline constexpr std::string_view not_a_disk = "not a disk";

inline constexpr DecisionText decision_texts[] = {
    {"Initializing HDD instance for ", "", ""},
    {"Device ", " is an LSI RAID device, omitting from HDD Test", raid_reason},
    {"Device ", " is an LSI device, omitting from HDD Test", raid_reason},
    {"Device ", " is a USB device, omitting from HDD Test", "USB"},
    {"Device ", " is a MicroFlash device, omitting from HDD Test", "micro-flash"},
    {"Device ", " is NOT a disk device, omitting from HDD Test", not_a_disk},
};

// What it found before it left a drive out as RAID: a trace line that begins and ends so, with the
// device between. Where there was none, it could not read a report of hwinfo.
struct FindingText {
  std::string_view begins;
  std::string_view ends;
  std::string_view found;
};

inline constexpr std::string_view not_onboard = "not on an onboard controller";
inline constexpr std::string_view behind_raid = "behind a RAID controller";

inline constexpr FindingText finding_texts[] = {
    {"Device ", " is a LSI_IR Volume", "beside a RAID volume"},
    {"Device ", " is a LSI_IR Device", not_onboard},
    {"Device ", " is a MegaRaid Device", behind_raid},
    {"JBOD: Device ", " is a MegaRaid Device", behind_raid},
    {"JBOD: Device ", " is a mpt2sas Device", behind_raid},
};

// What it decided on the whole machine, by the type or the BIOS identifier between.
inline constexpr std::string_view exclusion_ends = ") is not supported!";

struct ExclusionText {
  std::string_view begins;
  std::string_view what;  // stands between
};

inline constexpr ExclusionText exclusion_texts[] = {
    {"Exiting KAVRO_HDDTest_AvailableDiagnosticService_Provider::enum_instances, MT(",
     "machine type"},
    {"Exiting KAVRO_HDDTest_AvailableDiagnosticService_Provider::enum_instances, BIOSID(", "BIOS"},
};

// Either of them in what "smartctl -i" prints lets the engine test the drive.
inline constexpr std::string_view smart_enabled_texts[] = {
    "SMART support is: Enabled",
    "Device supports SMART and is Enabled",
};

}  // namespace cli
