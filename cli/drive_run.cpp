#include "cli/drive_run.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <mutex>

#include "cli/diagnostic_call.h"
#include "cli/drive_result.h"
#include "cli/drive_tests.h"
#include "cli/kept_run.h"
#include "cli/log_listener.h"
#include "cli/manager.h"
#include "cli/run_evidence.h"

namespace cli {
namespace {

using broker::Instance;

// The newest instance of the class with that identifier.
std::optional<Instance> find_by_id(broker::ObjectManager& manager, std::string_view class_name,
                                   const std::string& id) {
  std::optional<Instance> found;
  for (Instance& instance : manager.enumerate_instances(class_name))
    if (instance.text("InstanceID") == id) found = std::move(instance);
  return found;
}

// Has the module test the drive; the outcome that it recorded.
std::optional<RunOutcome> ask(broker::ObjectManager& manager, const std::string& device,
                              DriveResult& result) {
  const broker::MethodResult answer =
      manager.invoke_method(service_path(), kRunMethod, {{kRunArgument, drive_path(device)}});
  const broker::Value* const job = answer.find("Job");
  if (!job || job->is_null()) return std::nullopt;
  const broker::Value* const id = job->as_path().key("InstanceID");
  if (!id) return std::nullopt;
  if (const auto made = find_by_id(manager, "KAVRO_HDDTest_ConcreteJob", id->as_text()))
    result.job = to_json(*made);
  const auto record =
      find_by_id(manager, "KAVRO_HDDTest_DiagnosticCompletionRecord", id->as_text());
  if (!record) return std::nullopt;
  result.record = to_json(*record);
  const broker::Value* const state = record->property("CompletionState");
  if (!state || state->is_null()) return std::nullopt;
  return outcome_of(state->as_unsigned());
}

}  // namespace

Verdict no_such_drive() {
  return {.cause = std::string(readiness_cause(Readiness::NoDevice)),
          .reason = std::string(kNoSuchDrive) + kShowsAll};
}

std::optional<Verdict> why_not_a_drive(const std::string& path) {
  struct stat status {};
  const int fault = stat(path.c_str(), &status) == 0 ? 0 : errno;
  if (fault == 0 && S_ISBLK(status.st_mode)) return std::nullopt;
  if (fault == EACCES)
    return Verdict{
        .cause = std::string(readiness_cause(Readiness::NoPermission)),
        .reason = std::string(std::strerror(fault)) + "; " + permission_advice(geteuid() == 0)};
  if (fault == ENOENT || fault == ENOTDIR) return no_such_drive();
  const std::string why = fault == 0 ? "not a block device" : std::strerror(fault);
  return Verdict{.cause = std::string(readiness_cause(Readiness::NoDevice)),
                 .reason = why + kShowsAll};
}

DriveResult not_tested(std::string device, std::string cause, std::string reason) {
  return {.device = std::move(device),
          .verdict = {.cause = std::move(cause), .reason = std::move(reason)}};
}

namespace {

void run_module(broker::ObjectManager& manager, const std::string& device, Progress progress,
                const std::function<void(const Progress&)>& changed, DriveResult& result) {
  std::mutex lock;
  RunEvidence evidence;
  std::optional<RunOutcome> recorded;
  std::string fault;
  {
    const LogListener listener([&](int severity, const std::string& text) {
      const std::lock_guard guard(lock);
      evidence.take(severity, text);
      if (progress.take(severity, text)) changed(progress);
    });
    try {
      recorded = ask(manager, device, result);
    } catch (const broker::Error& error) {
      fault = error_text(error);
    }
  }
  result.entry = progress.entry();
  result.verdict = verdict_of(recorded, evidence, device);
  if (result.verdict.open) result.verdict = verdict_after(result.verdict, look_at(device), device);
  if (!result.verdict.outcome && result.verdict.cause.empty()) {
    if (fault.empty()) fault = progress.reason().value_or("the test left no completion record");
    result.verdict.cause = kCauseModule;
    result.verdict.reason = fault;
  }
  // A record that calls the drive failed is shown only where it did.
  if (recorded != result.verdict.outcome) {
    result.job = Json();
    result.record = Json();
  }
}

// Whether the module has seen a test run in the drive, whatever came of it.
bool has_run(const Verdict& verdict) {
  if (verdict.outcome) return verdict.cause != kCauseNoSelfTest;
  return verdict.cause == kCauseNotEnded || verdict.cause == kCauseUnknown;
}

}  // namespace

DriveResult test_drive(broker::ObjectManager& manager, const std::string& device,
                       const std::function<void(const Progress&)>& changed) {
  using std::chrono::steady_clock;
  const steady_clock::time_point start = steady_clock::now();
  const DriveLook look = look_at(device);
  DriveResult result{.device = device, .model = look.model, .serial = look.serial};
  result.begin =
      std::chrono::time_point_cast<std::chrono::seconds>(std::chrono::system_clock::now());
  if (look.readiness == Readiness::Ready) {
    KeptRun kept(device);
    run_module(manager, device, Progress(kept.minutes()), changed, result);
    if (const auto row = kept.end(has_run(result.verdict)))
      result.verdict = verdict_by_entry(result.verdict, *row, kept.protocol());
    result.history_fault = kept.fault();
  } else {
    result.verdict = verdict_of(look, device);
  }
  result.elapsed = std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now() - start);
  return result;
}

}  // namespace cli
