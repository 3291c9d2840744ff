// What the history keeps of a test that the module runs: a row that is begun before, and settled
// after it by the drive's own log.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "cli/verdict.h"
#include "drivetest/test_row.h"

namespace cli {

class DriveTests;

class KeptRun {
 public:
  // Looks at the drive, and begins a row unless a test runs in it or it cannot be asked. Blocks for
  // seconds; never throws but for want of memory.
  explicit KeptRun(const std::string& device);
  KeptRun(const KeptRun&) = delete;
  // Settles the row where that was not done: without a trace of the test in the drive it is taken
  // back.
  ~KeptRun();

  // The row when the module is done, brought up to date by a look at the drive; nothing where there
  // is none, or where the test did not come about. was_seen: the module has seen it running.
  std::optional<drivetest::TestRow> end(bool was_seen);

  // What the drive announces for the test; not set where it does not, or could not be asked.
  std::optional<unsigned> minutes() const { return minutes_; }

  // Of the drive, where a row was begun.
  drivetest::Protocol protocol() const { return protocol_; }

  // Why nothing could be kept; empty where everything was.
  const std::string& fault() const { return fault_; }

 private:
  std::unique_ptr<DriveTests> tests_;
  std::optional<drivetest::TestRow> row_;
  std::optional<unsigned> minutes_;
  drivetest::Protocol protocol_ = drivetest::Protocol::Unknown;
  std::string fault_;
};

// The same for a run that a client has asked for, for as long as what it returns is kept; for
// OneAtATime::accompany. What goes wrong is logged.
std::shared_ptr<void> keep_run(const std::string& device) noexcept;

// The verdict by the drive's own entry, as the history has it: where that tells an outcome, it
// decides, and a difference from what the module recorded is told.
Verdict verdict_by_entry(const Verdict& verdict, const drivetest::TestRow& row,
                         drivetest::Protocol protocol);

}  // namespace cli
