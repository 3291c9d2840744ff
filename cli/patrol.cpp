// hddtest patrol: tests all drives, with nobody there, as timers have it do.
#include <fmt/format.h>

#include <memory>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/follow.h"
#include "cli/json.h"
#include "cli/output.h"
#include "cli/patrol_report.h"
#include "cli/pull.h"
#include "cli/terminal_text.h"
#include "cli/test_json.h"
#include "drivetest/arrays.h"
#include "platform/at_once.h"

namespace cli {
namespace {

using drivetest::LookFault;
using drivetest::StartOutcome;
using drivetest::StartResult;
using drivetest::TestKind;

struct PatrolOptions {
  std::string kind = "short";
  int jobs = 0;  // all drives at once
  bool wake = false;
};

constexpr const char* kFooter =
    "Starts the test in every drive and looks until all have ended; hddtest-run@short.timer\n"
    "and hddtest-run@long.timer have it do so. Left alone are drives in standby, drives that\n"
    "test already, and those of an array of Linux that rebuilds or checks its drives: the next\n"
    "patrol finds them again. Each drive has a line, and the last line counts them.\n"
    "Exit status: 1 if a drive failed its test or disappeared during it, 3 if the command line\n"
    "is wrong, else 0, also where no drive could be tested. Drives that could not be asked are\n"
    "told on standard error, and counted apart from those that know no such test.";

TestKind kind_of(const PatrolOptions& options) {
  const auto kind = drivetest::test_kind_named(options.kind);
  if (kind == TestKind::Short || kind == TestKind::Long) return *kind;
  throw WrongCommandLine("there is no patrol '" + options.kind +
                         "'; the patrols are short and long");
}

class Patrol {
 public:
  Patrol(const PatrolOptions& options, bool json)
      : options_(options), kind_(kind_of(options)), json_(json) {}

  int run() {
    DriveTests tests;
    // Drives that claim one identity are told apart by what they say. So those that may be asked
    // now are looked at first.
    const std::vector<ChosenDrive> chosen =
        tests.choose({}, "", options_.wake, DriveTests::LooksAhead::OutsideBusyArrays);
    std::vector<PatrolledDrive> drives(chosen.size());
    const std::size_t most =
        options_.jobs > 0 ? static_cast<std::size_t>(options_.jobs) : chosen.size();
    platform::at_once(chosen.size(), most, [&](std::size_t i) {
      drives[i] = visit(tests, chosen[i]);
      tell(drives[i]);
    });
    if (json_) {
      Json array = Json::array();
      for (const PatrolledDrive& one : drives) array.push_back(json_of(one, tests.has_history()));
      standard_output().write(dump(array));
    } else {
      standard_output().write(counts_of(drives) + "\n");
    }
    tests.tell_of_history();
    return status_of(drives);
  }

 private:
  PatrolledDrive visit(DriveTests& tests, const ChosenDrive& drive) {
    // Asked for each drive when its turn comes, since that may be hours later.
    const std::string work = drivetest::work_of_array(drivetest::busy_disks(), drive.nodes);
    if (!work.empty()) return {drive, PatrolResult::InArray, work, {}, {}};
    // Its array has finished since the other drives were looked at, or it did not answer then.
    if (!drive.seen || drive.seen->look.fault != LookFault::None)
      tests.compare(drive, options_.wake);
    // The look that has told drives apart may be hours old.
    ChosenDrive unseen = drive;
    unseen.seen.reset();
    const StartOutcome outcome =
        tests.keeper().start(tests.look_of(unseen, options_.wake), kind_, false, options_.wake);
    if (outcome.result != StartResult::Started) return patrolled(drive, outcome);
    if (!json_)
      standard_output().write(escape(drive.shown_name()) + ": " + options_.kind +
                              " test started\n");
    // A drive that has begun to rest tests no more, and only a look tells what came of the test.
    const FollowOptions how{.gives_up_stalled = true, .wakes = true};
    return patrolled(drive, follow(tests.keeper(), tests.time(), *outcome.row, outcome.status, how,
                                   [](const TestProgress&) {}));
  }

  void tell(const PatrolledDrive& drive) const {
    if (drive.is_bad())
      complain(line_of(drive));
    else if (!json_)
      standard_output().write(escape(line_of(drive)) + "\n");
  }

  static Json json_of(const PatrolledDrive& one, bool has_history) {
    Json json = drive_json(one.drive, one.look);
    json["result"] = word_of(one.result);
    json["reason"] = text_or_null(one.reason);
    json["test"] = row_json(one.look, one.row, has_history);
    json["stalled"] = one.is_stalled;
    json["advice"] = text_or_null(one.advice);
    // Where it disappeared, another drive may be in its place.
    const bool is_there = one.result == PatrolResult::Failed && one.look.fault == LookFault::None &&
                          one.row && one.row->outcome;
    json["bay"] = is_there ? bay_json(one.drive.place) : Json();
    return json;
  }

  const PatrolOptions& options_;
  TestKind kind_;
  bool json_;
};

}  // namespace

Command patrol_command(const Invocation& invocation) {
  auto options = std::make_shared<PatrolOptions>();
  return {"patrol",
          "Tests all drives, with nobody there, as timers have it do.",
          kFooter,
          {{"-t,--test", &options->kind, "short or long (short)", "KIND"},
           {"--jobs", Number{&options->jobs, 1, 1000}, "Tests at once at most (all)", "N"},
           {"--wake", &options->wake, "Test drives in standby too, which wakes them"}},
          [&invocation, options] { return Patrol(*options, invocation.json).run(); }};
}

}  // namespace cli
