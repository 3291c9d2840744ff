// The process that tests a drive: its side of worker.h.
#include <sys/prctl.h>

#include <csignal>

#include "cli/drive_run.h"
#include "cli/drive_tests.h"
#include "cli/exit_status.h"
#include "cli/failure.h"
#include "cli/manager.h"
#include "cli/output.h"
#include "cli/row_verdict.h"
#include "cli/run_progress.h"
#include "cli/worker.h"
#include "cli/worker_message.h"

namespace cli {
namespace {

void tell(const std::string& doing, RunStep step, const std::optional<TestProgress>& progress) {
  standard_output().write(dump_line({{"doing", doing},
                                     {"step", static_cast<int>(step)},
                                     {"progress", progress ? pack(*progress) : Json()}}));
}

LibraryResult work_by_library(const WorkerTask& task) {
  tell("starting the test", RunStep::Starting, std::nullopt);
  DriveTests tests;
  const drivetest::Place place = task.type.empty() && !task.is_apart
                                     ? tests.place_of(task.device)
                                     : drivetest::Place{task.device, task.type};
  if (task.is_apart) tests.keep_apart(place);
  return test_by_library(tests, place, task.given_type(), task.kind,
                         [](const TestProgress& progress) {
                           tell("testing" + remaining_text(progress), RunStep::Testing, progress);
                         });
}

// Why the module does not ask the drive, though the library may be able to.
bool is_without_smart(const Verdict& verdict) {
  return verdict.cause == readiness_cause(Readiness::SmartOff) ||
         verdict.cause == readiness_cause(Readiness::NoSmart) ||
         verdict.cause == readiness_cause(Readiness::NotUnderstood);
}

DriveResult work_by_module(const Places& places, const WorkerTask& task) {
  const auto manager = make_manager(places);
  DriveResult result = test_drive(*manager, task.device, [](const Progress& progress) {
    tell(progress.shown(), progress.step(), progress.test());
  });
  if (task.way == Way::Forced) return result;
  if (result.verdict.cause == readiness_cause(Readiness::Running)) {
    DriveTests tests;
    const drivetest::DriveStatus status = tests.keeper().look(tests.place_of(task.device), true);
    if (status.running)
      result.verdict = verdict_of_busy(*status.running, status.is_stalled, tests.has_history(),
                                       name_in_command(task.device));
  }
  if (is_without_smart(result.verdict)) {
    LibraryResult other = work_by_library(task);
    // A drive that only has to be switched on is not one that cannot be tested.
    const bool is_only_off = other.hindrance == Hindrance::Unable &&
                             result.verdict.cause == readiness_cause(Readiness::SmartOff);
    if (other.hindrance != Hindrance::Unreachable && !is_only_off) return other.result;
  }
  return result;
}

}  // namespace

int work(const Places& places, const WorkerTask& task) {
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  LibraryResult result;
  try {
    if (task.way == Way::Library)
      result = work_by_library(task);
    else
      result.result = work_by_module(places, task);
  } catch (const std::exception& error) {
    result = {not_tested(task.device, std::string(kCauseModule), reason_of(error)),
              Hindrance::Other};
  }
  standard_output().write(dump_line(
      {{"result", pack(result.result)}, {"hindrance", static_cast<int>(result.hindrance)}}));
  return kStatusOk;
}

}  // namespace cli
