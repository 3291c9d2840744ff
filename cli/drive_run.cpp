#include "cli/drive_run.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <mutex>

#include "cli/log_listener.h"
#include "cli/manager.h"

namespace cli {
namespace {

using broker::Instance;
using broker::Name;
using broker::ObjectPath;

ObjectPath service_path() {
  return {Name(broker::served_name_space),
          "KAVRO_HDDTest_DiagnosticService",
          {{"SystemCreationClassName", "KAVRO_ComputerSystem"},
           {"SystemName", ""},
           {"CreationClassName", "KAVRO_HDDTest_DiagnosticService"},
           {"Name", "Hard Drive: Self Test"}}};
}

ObjectPath drive_path(const std::string& device) {
  return {Name(broker::served_name_space),
          "KAVRO_DiskDrive",
          {{"SystemCreationClassName", "KAVRO_ComputerSystem"},
           {"SystemName", ""},
           {"CreationClassName", "KAVRO_DiskDrive"},
           {"DeviceID", device}}};
}

// The newest instance of the class with that identifier.
std::optional<Instance> find_by_id(broker::ObjectManager& manager, std::string_view class_name,
                                   const std::string& id) {
  std::optional<Instance> found;
  for (Instance& instance : manager.enumerate_instances(class_name))
    if (instance.text("InstanceID") == id) found = std::move(instance);
  return found;
}

void ask(broker::ObjectManager& manager, const std::string& device, DriveResult& result) {
  const broker::MethodResult answer = manager.invoke_method(
      service_path(), "RunDiagnostic", {{"ManagedElement", drive_path(device)}});
  const broker::Value* const job = answer.find("Job");
  if (!job || job->is_null()) return;
  const broker::Value* const id = job->as_path().key("InstanceID");
  if (!id) return;
  if (const auto made = find_by_id(manager, "KAVRO_HDDTest_ConcreteJob", id->as_text()))
    result.job = to_json(*made);
  const auto record =
      find_by_id(manager, "KAVRO_HDDTest_DiagnosticCompletionRecord", id->as_text());
  if (!record) return;
  result.record = to_json(*record);
  const broker::Value* const state = record->property("CompletionState");
  if (state && !state->is_null()) result.outcome = outcome_of(state->as_unsigned());
}

}  // namespace

std::optional<std::string> refusal(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::strerror(errno);
  if (!S_ISBLK(status.st_mode)) return "not a block device";
  return std::nullopt;
}

DriveResult test_drive(broker::ObjectManager& manager, const std::string& device,
                       const std::function<void(const Progress&)>& changed) {
  using std::chrono::steady_clock;
  const steady_clock::time_point start = steady_clock::now();
  DriveResult result{.device = device};
  std::mutex lock;
  Progress progress;
  const LogListener listener([&](int severity, const std::string& text) {
    const std::lock_guard guard(lock);
    if (progress.take(severity, text)) changed(progress);
  });
  try {
    ask(manager, device, result);
  } catch (const broker::Error& error) {
    result.reason = error_text(error);
  }
  const std::lock_guard guard(lock);
  if (!result.reason) result.reason = progress.reason();
  if (!result.outcome && !result.reason) result.reason = "the test left no completion record";
  result.entry = progress.entry();
  result.elapsed = std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now() - start);
  return result;
}

}  // namespace cli
