#include "cli/run_plan.h"

#include <algorithm>
#include <system_error>

#include "cli/drive_run.h"
#include "cli/drive_tests.h"
#include "drivetest/find_drives.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

// The file that a path leads to, as far as it can be told.
fs::path target(const fs::path& path) {
  std::error_code error;
  fs::path result = fs::weakly_canonical(path, error);
  return error ? path : result;
}

// Two tests of one drive at once would end each other.
void add(std::vector<PlannedDrive>& plan, PlannedDrive drive) {
  const fs::path device = target(drive.device);
  const bool planned = std::any_of(plan.begin(), plan.end(), [&](const PlannedDrive& other) {
    return target(other.device) == device;
  });
  if (!planned) plan.push_back(std::move(drive));
}

// The same text for a named drive and for all, as with a missing smartctl.
constexpr const char* kNoHwinfo =
    "hwinfo is not installed, so that it is not known what may be tested; install the package "
    "hwinfo";

// Why a drive that was named is left out, and what to do.
std::string left_out_reason(const ListedDrive& drive) {
  if (drive.left_out_cause() == kCauseNoHwinfo) return kNoHwinfo;
  return drive.words() + "; --force tests it all the same";
}

// Why no device of the machine has that name. In a folder that may not be searched a serial number
// or a typing error would be a file that may not be seen, as a path is.
std::optional<Verdict> why_not_named(const std::string& name, const fs::path& path) {
  std::optional<Verdict> why = why_not_a_drive(path);
  const bool is_hidden = why && why->cause == readiness_cause(Readiness::NoPermission);
  if (is_hidden && name.find('/') == name.npos) why = no_such_drive();
  return why;
}

PlannedDrive planned(const std::string& name, const Places& places,
                     const std::vector<ListedDrive>& drives) {
  const fs::path path = resolve(places, name);
  const std::string device = target(path);
  for (const ListedDrive& drive : drives) {
    if (drive.device != device && drive.device != path) continue;
    if (drive.testable()) return {name, drive.device};
    return {name, drive.device, left_out_reason(drive), std::string(drive.left_out_cause())};
  }
  if (const auto why = why_not_named(name, path)) {
    const std::string named = drivetest::path_named(name, places.start);
    return {name, named.empty() ? name : named, why->reason, why->cause};
  }
  return {name, path,
          "not one of the drives that 'hddtest drives --offered' lists; --force tests it",
          std::string(kCauseLeftOut)};
}

}  // namespace

std::vector<PlannedDrive> plan_forced(const std::vector<std::string>& names) {
  std::vector<PlannedDrive> plan;
  for (const std::string& name : names)
    add(plan, {.name = name, .device = name, .way = Way::Forced});
  return plan;
}

std::vector<PlannedDrive> plan_named(const std::vector<std::string>& names, const Places& places,
                                     const std::vector<ListedDrive>& drives) {
  std::vector<PlannedDrive> plan;
  for (const std::string& name : names) add(plan, planned(name, places, drives));
  return plan;
}

std::vector<PlannedDrive> plan_none(const std::vector<std::string>& names, const std::string& cause,
                                    const std::string& reason) {
  std::vector<PlannedDrive> plan;
  for (const std::string& name : names) plan.push_back({name, name, reason, cause});
  return plan;
}

std::vector<PlannedDrive> plan_all(const std::vector<ListedDrive>& drives) {
  std::vector<PlannedDrive> plan;
  for (const ListedDrive& drive : drives) {
    if (drive.testable())
      plan.push_back({drive.device, drive.device});
    else if (drive.left_out_cause() == kCauseNoHwinfo)
      plan.push_back({drive.device, drive.device, kNoHwinfo, std::string(kCauseNoHwinfo)});
    else
      plan.push_back(
          {drive.device, drive.device, drive.reason, std::string(kCauseLeftOut), drive.words()});
  }
  return plan;
}

}  // namespace cli
