// What became of one drive of a run.
#pragma once

#include <chrono>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "cli/json.h"
#include "cli/verdict.h"
#include "drivetest/drive.h"

namespace cli {

struct DriveResult {
  std::string device{};  // as the user named it
  // Where the drive was asked, or is to be. Where no path leads to it the device is empty, or what
  // the user named.
  drivetest::Place place{};
  // Not set for somebody else's test whose drive does not tell.
  std::optional<drivetest::TestKind> kind = drivetest::TestKind::Short;
  Verdict verdict{};  // without outcome and cause: see verdict_of()
  // The entry of the drive's own log that decided.
  std::optional<std::string> entry{};
  // What to do where no module tested it and its row says why it ended; empty: nothing to do. Not
  // set: advice_for() knows.
  std::optional<std::string> advice{};
  std::string model{};  // as smartctl prints it; empty where it was not asked or does not say
  std::string serial{};
  // The instances; null where there is none, or where it wrongly calls the drive failed.
  Json job{};
  Json record{};
  std::optional<std::chrono::sys_seconds> begin{};  // nothing where nothing was asked
  std::chrono::seconds elapsed{0};
  std::string history_fault{};  // why the history does not have it; empty: nothing was wrong
};

}  // namespace cli
