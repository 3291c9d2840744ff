// What a drive's test came to, with proof: no drive is called failed that was not tested, and none
// passed whose own log does not say so. Pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "cli/drive_look.h"
#include "cli/run_evidence.h"
#include "cli/run_outcome.h"

namespace cli {

struct Verdict {
  std::optional<RunOutcome> outcome{};  // nothing: not tested, or how it ended is not known
  // One word for programs: that of the drive's entry, of readiness_cause(), or one of verdict.cpp;
  // empty when passed, or when the evidence says nothing.
  std::string cause{};
  std::string reason{};            // why it did not pass, and what to do where it was not tested
  std::optional<int> remaining{};  // of a test that has not ended, in percent
  std::optional<std::uint64_t> block{};  // the first bad one, as the drive reported it
  std::optional<std::uint64_t> hours{};  // power-on hours at the end of the test
  bool open = false;  // a look at the drive after the run tells more: see verdict_after()
};

inline constexpr std::string_view kCauseGone = "drive-gone";
inline constexpr std::string_view kCauseNotEnded = "not-ended";
inline constexpr std::string_view kCauseUnknown = "unknown-result";
inline constexpr std::string_view kCauseNoSelfTest = "no-self-test";
inline constexpr std::string_view kCauseUnreachable = "unreachable";
inline constexpr std::string_view kCauseModule = "module-error";
inline constexpr std::string_view kCauseCommandLine = "command-line";

// Of a drive that a look found not ready.
Verdict verdict_of(const DriveLook& look, const std::string& device);

// Of a run that the module recorded with this outcome.
Verdict verdict_of(std::optional<RunOutcome> recorded, const RunEvidence& evidence,
                   const std::string& device);

// The same of an open verdict, by a look at the drive after the run.
Verdict verdict_after(const Verdict& verdict, const DriveLook& now, const std::string& device);

// What to do about a drive that failed or was not tested to the end, in a sentence or two; empty
// when passed.
std::string_view advice_for(std::optional<RunOutcome> outcome, std::string_view cause);

}  // namespace cli
