// What the lines of the core log tell of the test that is running.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "cli/follow.h"
#include "cli/log_texts.h"

namespace cli {

// The percentage of the test that remains, by the newest entry of a drive's self-test log; nothing
// when no test is in progress, or when the drive does not say.
std::optional<int> remaining_percentage(std::string_view log);

// One test of one drive. For one thread at a time.
class Progress {
 public:
  Progress() = default;
  // With what the drive announces for the test.
  explicit Progress(std::optional<unsigned> minutes) : minutes_(minutes) {}

  // Takes a line of the core log; true when what is to be shown has changed.
  bool take(int severity, std::string_view text);

  RunStep step() const { return step_; }
  // As the drive told it last; not set before the test runs.
  std::optional<TestProgress> test() const;
  // What the drive is doing: "testing, 90% remaining, 2 minutes or more".
  std::string shown() const;
  // The last line of severity 0, which says why the test could not be done, with smartctl's own
  // words.
  const std::optional<std::string>& reason() const { return reason_; }
  // The entry of the drive's log that decided, as the drive wrote it, blanks run together.
  const std::optional<std::string>& entry() const { return entry_; }

 private:
  RunStep step_ = RunStep::Waiting;
  std::string_view doing_ = "waiting";
  std::optional<unsigned> minutes_;
  std::optional<unsigned> remaining_;
  std::string complaint_;
  std::optional<std::string> reason_;
  std::optional<std::string> entry_;
};

}  // namespace cli
