#include "cli/kept_run.h"

#include <new>

#include "cli/drive_tests.h"
#include "cli/row_verdict.h"
#include "cli/test_words.h"
#include "drivetest/progress.h"
#include "platform/support/logger.h"

namespace cli {

using drivetest::Protocol;
using drivetest::TestRow;

KeptRun::KeptRun(const std::string& device) {
  try {
    tests_ = std::make_unique<DriveTests>(DriveTests::OpensHistory::WhenNeeded);
    constexpr auto kKind = drivetest::TestKind::Short;
    const drivetest::DriveStatus status = tests_->keeper().look(tests_->place_of(device), true);
    minutes_ = announced_minutes(status.look.abilities, kKind);
    row_ = tests_->keeper().begin_foreign(status, kKind, drivetest::Source::Module);
    fault_ = tests_->keeper().history_fault();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    fault_ = error.what();
  }
}

KeptRun::~KeptRun() {
  try {
    end(false);
  } catch (const std::exception&) {
    // The row runs on in the history, until a look at the drive ends it.
  }
}

std::optional<TestRow> KeptRun::end(bool was_seen) {
  if (!row_) return std::nullopt;
  const TestRow row = *row_;
  row_.reset();
  std::optional<TestRow> ended = tests_->keeper().end_foreign(row, was_seen);
  if (fault_.empty()) fault_ = tests_->keeper().history_fault();
  if (!ended || !fault_.empty()) return ended;
  try {
    if (const auto kept = tests_->history().find(ended->number)) protocol_ = kept->drive.protocol;
  } catch (const drivetest::HistoryError& error) {
    fault_ = error.what();
  }
  return ended;
}

std::shared_ptr<void> keep_run(const std::string& device) noexcept {
  try {
    auto kept = std::make_shared<KeptRun>(device);
    if (!kept->fault().empty()) {
      using NKVRHVX20::ILogger;
      NKVRHVX20::TRootObject::GetCoreLogger()->Log(
          ILogger::eWarning, "the run is not kept in the history: " + kept->fault());
    }
    return kept;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

Verdict verdict_by_entry(const Verdict& verdict, const TestRow& row, Protocol protocol) {
  if (!row.outcome && verdict.outcome == RunOutcome::Passed)
    return {.cause = std::string(kCauseUnknown),
            .reason = "the module recorded: passed; the drive's own log does not tell so yet"};
  Verdict own = verdict_of_row(row, protocol, {});
  if (row.outcome == drivetest::Outcome::Unknown && verdict.outcome == RunOutcome::Passed) {
    own.reason =
        "the module recorded: passed; by the drive's own log the result is not known: " + row.cause;
    return own;
  }
  if (!own.outcome || own.outcome == verdict.outcome) return verdict;
  own.reason = "the drive's own log says: " + outcome_text(row);
  if (verdict.outcome)
    own.reason += "; the module recorded: " + std::string(outcome_word(*verdict.outcome));
  return own;
}

}  // namespace cli
