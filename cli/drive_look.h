// A look at a drive: what it is, and whether it could be tested now, by what smartctl prints of it.
// It concludes what the module's test would conclude from the same answers, so that nobody has to
// start a test to learn that none is possible.
//
// What smartctl prints comes from the drive: texts in a look are cut to a length that fits on a
// line, but not escaped.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace cli {

// What a call of smartctl printed, and its exit status; -1 when it did not end by exiting.
struct SmartctlAnswer {
  int status = 0;
  std::string output{};
};

enum class Readiness {
  Ready,
  Running,  // a test runs in the drive, ours or another
  SmartOff,
  NoSmart,        // none that smartctl can reach by this name
  NotUnderstood,  // SMART is on, but smartctl says so in words that the module does not know
  NoSelfTest,     // the drive knows no self-tests, or keeps no log of them
  NoPermission,
  NoDevice,
  NoSmartctl,  // it is not installed
  NoAnswer,    // smartctl did not end by itself: it hung, was killed or could not be started
  Refused      // smartctl could not ask the drive; it says why, in words
};

struct DriveLook {
  Readiness readiness = Readiness::Ready;
  std::optional<int> remaining{};  // of the test that runs, in percent, if the drive says so
  std::string words{};             // the line in which smartctl says why it could not ask
  std::string model{};             // whole, as smartctl prints it; empty when it does not
  std::string serial{};
  bool nvme = false;
};

// Reads the answers of "smartctl -i", "-l selftest" and "-c". The last two count only where SMART
// is on. The last may be empty. It tells of a running test that the log does not show, and rules
// out one that the log shows for ever because it never ended.
DriveLook read_look(const SmartctlAnswer& information, const SmartctlAnswer& log,
                    const SmartctlAnswer& capabilities);

// Reads only the answer of "smartctl -i". Ready then means that SMART is on.
DriveLook read_information(const SmartctlAnswer& information);

// Why "smartctl -t short" did not start a test, by an answer whose status says so. Running means
// that smartctl refused to end another test for it.
DriveLook read_refusal(const SmartctlAnswer& start);

// Whether smartctl's exit status fails a step of the module's test.
bool step_failed(int status);

// Asks smartctl, which changes nothing; blocks for 30 seconds at most per call. Must not be called
// while the module tests the drive. May be called from any thread.
DriveLook look_at(const std::string& device);

// The line of what smartctl printed that says why it failed; empty when none does.
std::string_view complaint_of(std::string_view output);

// The percentage of a running test that "NN% of test remaining" or "(NN% remaining)" tells.
std::optional<int> told_remaining(std::string_view output);

// What a user can do who may not use a drive. Root lacks the right only in a container or service.
std::string permission_advice(bool root);

// In a few words, for a column: "ready", "test running, 90% remaining", "SMART is off".
std::string readiness_words(const DriveLook& look);

// The same as one word for programs: "smart-off".
std::string_view readiness_cause(Readiness readiness);

// The name as it may stand in a command that somebody copies: DEVICE for one that a shell or
// smartctl could take for something else.
std::string name_in_command(const std::string& device);

// What to do where a test runs already, with a name of name_in_command().
std::string busy_advice(const std::string& name);

// Why the drive cannot be tested now, and what to do, on one line; empty when it is ready.
std::string readiness_reason(const DriveLook& look, const std::string& device);

}  // namespace cli
