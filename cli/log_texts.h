// The lines of the core log that the command understands: the one place that knows the module's
// wording. A test holds it against the module.
#pragma once

#include <string_view>

namespace cli {

enum class RunStep {
  Waiting,     // nothing heard yet
  Checking,    // smartctl -i
  Reading,     // the log before the test
  Starting,    // smartctl -t short: from here on the drive may be testing
  Testing,     // polls of the log
  Classifying  // the test has ended
};

// Whether the drive may be testing.
constexpr bool may_test(RunStep step) {
  return step == RunStep::Starting || step == RunStep::Testing;
}

// A trace line (severity 3) that begins so. Most go on with the device.
struct LogText {
  std::string_view begins;
  RunStep step;
  std::string_view shown;  // what the drive is doing, for the progress line
};

inline constexpr LogText kStepTexts[] = {
    {"Check SMART support status on ", RunStep::Checking, "checking SMART"},
    {"Retrieve test logs recorded before triggering new Self-Test on ", RunStep::Reading,
     "reading its log"},
    {"Trigger Self-Test on ", RunStep::Starting, "starting the test"},
    {"Get Self-Test status on ", RunStep::Testing, "testing"},
    {"Test is completed, get test status", RunStep::Classifying, "reading the result"},
    {"Log entry has been changed, get test status", RunStep::Classifying, "reading the result"},
};

// A read of the log during the test: the drive's log follows. An entry of it begins with '#'; the
// newest is the first. While it holds kInProgressText, the remaining share of the test stands
// behind that, as "90%".
inline constexpr std::string_view kPollText = "Current Self-Test logs: \n";
inline constexpr std::string_view kInProgressText = "in progress";

// What smartctl answered in a step: its exit status follows, then a line that holds
// kSmartMessageText, then what it printed.
struct AnswerText {
  std::string_view begins;
  RunStep step;
};

inline constexpr AnswerText kAnswerTexts[] = {
    {"Check SMART support status: ErrorRet = ", RunStep::Checking},
    {"Retrieve test logs: ErrorRet = ", RunStep::Reading},
    {"Trigger Self-Test: ErrorRet = ", RunStep::Starting},
};

// What smartctl printed in a step follows. The line of it that says why a step failed holds one of
// its complaints.
inline constexpr std::string_view kSmartMessageText = "Smart Message";
inline constexpr std::string_view kSmartComplaints[] = {"failed", "Unable", "Unknown USB bridge",
                                                        "Can't start self-test"};

// A read of the log found a test in progress.
inline constexpr std::string_view kStillInProgressText = "Test is in progress, continue to wait";

// A call that named no drive; severity 0. The reason follows.
inline constexpr std::string_view kNotRunText = "No test was run: ";

// The entry of the drive's log that decided the outcome.
inline constexpr std::string_view kLatestEntryText = "Latest log: ";

inline constexpr std::string_view kRaidReason = "RAID";

// What discovery decided on a drive: a trace line that begins and ends so, with the device between.
struct DecisionText {
  std::string_view begins;
  std::string_view ends;
  std::string_view reason;  // why the drive is left out; empty: it can be tested
};

inline constexpr std::string_view kNotADisk = "not a disk";

inline constexpr DecisionText kDecisionTexts[] = {
    {"Initializing HDD instance for ", "", ""},
    {"Device ", " is an LSI RAID device, omitting from HDD Test", kRaidReason},
    {"Device ", " is an LSI device, omitting from HDD Test", kRaidReason},
    {"Device ", " is a USB device, omitting from HDD Test", "USB"},
    {"Device ", " is a MicroFlash device, omitting from HDD Test", "micro-flash"},
    {"Device ", " is NOT a disk device, omitting from HDD Test", kNotADisk},
};

// What it found before it left a drive out as RAID: a trace line that begins and ends so, with the
// device between. Where there was none, it could not read a report of hwinfo.
struct FindingText {
  std::string_view begins;
  std::string_view ends;
  std::string_view found;
};

inline constexpr std::string_view kNotOnboard = "not on an onboard controller";
inline constexpr std::string_view kBehindRaid = "behind a RAID controller";

inline constexpr FindingText kFindingTexts[] = {
    {"Device ", " is a LSI_IR Volume", "beside a RAID volume"},
    {"Device ", " is a LSI_IR Device", kNotOnboard},
    {"Device ", " is a MegaRaid Device", kBehindRaid},
    {"JBOD: Device ", " is a MegaRaid Device", kBehindRaid},
    {"JBOD: Device ", " is a mpt2sas Device", kBehindRaid},
};

// What it decided on the whole machine, by the type or the BIOS identifier between.
inline constexpr std::string_view kExclusionEnds = ") is not supported!";

struct ExclusionText {
  std::string_view begins;
  std::string_view what;  // stands between
};

inline constexpr ExclusionText kExclusionTexts[] = {
    {"Exiting KAVRO_HDDTest_AvailableDiagnosticService_Provider::enum_instances, MT(",
     "machine type"},
    {"Exiting KAVRO_HDDTest_AvailableDiagnosticService_Provider::enum_instances, BIOSID(", "BIOS"},
};

// Either of them in what "smartctl -i" prints lets the engine test the drive.
inline constexpr std::string_view kSmartEnabledTexts[] = {
    "SMART support is: Enabled",
    "Device supports SMART and is Enabled",
};

}  // namespace cli
