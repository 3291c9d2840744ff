// What smartctl prints, as the command reads it. The input is the answer to each of its calls.
#include "fuzz/target.h"

#include "cli/log_entry.h"
#include "cli/run_evidence.h"
#include "cli/verdict.h"

namespace {

using fuzz::require;

bool is_share(const std::optional<int>& share) { return !share || (*share >= 0 && *share <= 100); }

void read_entries(std::string_view log) {
  for (const cli::PrintedEntry& entry : cli::read_entries(log)) {
    require(is_share(entry.remaining), "a share is one of a hundred");
    require(entry.kind != cli::EntryKind::Failed || !entry.cause.empty(), "a failure has a cause");
    require(entry.kind == cli::EntryKind::Unknown || !entry.status.empty(), "a status has a text");
  }
  require(!cli::has_new_entry(log, log), "nothing is newer than itself");
}

void look(const std::string& text) {
  for (const int status : {0, 2, -1}) {
    const cli::DriveLook look = cli::read_look({status, text}, {0, text}, {0, text});
    require(status == 0 || look.readiness != cli::Readiness::Ready, "what failed is not ready");
    require(is_share(look.remaining), "a share is one of a hundred");
    require((look.readiness == cli::Readiness::Ready) == cli::readiness_reason(look, "x").empty(),
            "what is not ready has a reason");
    constexpr std::size_t kLine = 4000;
    require(cli::readiness_reason(look, "x").size() < kLine && look.model.size() < kLine &&
                look.serial.size() < kLine,
            "texts fit on a line");
  }
}

void judge(const std::string& text) {
  cli::RunEvidence evidence{.information = cli::SmartctlAnswer{0, "SMART support is: Enabled"},
                            .baseline = cli::SmartctlAnswer{0, ""},
                            .start = cli::SmartctlAnswer{0, ""},
                            .log = text,
                            .ended = true};
  const cli::Verdict verdict = cli::verdict_of(cli::RunOutcome::Passed, evidence, "x");
  require(verdict.outcome != cli::RunOutcome::Passed || !cli::read_entries(text).empty(),
          "nothing passes without an entry");
  require(verdict.outcome == cli::RunOutcome::Passed || !verdict.reason.empty(),
          "what did not pass has a reason");
  evidence.take(3, text);
  cli::verdict_of(cli::RunOutcome::Failed, evidence, "x");
}

}  // namespace

void fuzz::read_input(std::string_view input) {
  read_entries(input);
  look(std::string(input));
  judge(std::string(input));
}
