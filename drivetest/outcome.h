// What became of a test, told by the drive's own code.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "drivetest/drive.h"

namespace drivetest {

// Never Passed without a code that says so.
enum class Outcome { Passed, Failed, Aborted, Unknown };

std::string_view name_of(Outcome outcome);  // "passed" and so on
std::optional<Outcome> outcome_named(std::string_view name);

struct ResultMeaning {
  Outcome outcome = Outcome::Unknown;
  std::string cause;  // in words, without full stop: "read failure", "aborted by the host"
};

// The code of a running test, in the status and in the log of ATA and SCSI drives; for NVMe, whose
// unused rows have it, it is no result either.
inline constexpr int kRunningCode = 15;

// The code of ATA drives for a test that the host ended: a program, or a bridge between.
inline constexpr int kAbortedByHost = 1;

// What a result code of the drive means, 0 to 15 (ATA: the upper half of the status byte). Not set
// for kRunningCode and for numbers outside of that range.
std::optional<ResultMeaning> result_meaning(Protocol protocol, int code);

}  // namespace drivetest
