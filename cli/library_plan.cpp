#include "cli/library_plan.h"

#include <algorithm>
#include <utility>

#include "cli/drive_tests.h"

namespace cli {

namespace {

std::string cause_text(Readiness readiness) { return std::string(readiness_cause(readiness)); }

bool has_node(const ChosenDrive& drive, const std::string& device) {
  return std::find(drive.nodes.begin(), drive.nodes.end(), device) != drive.nodes.end();
}

PlannedDrive by_library(DriveTests& tests, const ChosenDrive& chosen) {
  PlannedDrive planned{
      .name = chosen.name, .device = chosen.place.device, .type = chosen.place.type};
  if (!chosen.reason.empty()) {
    planned.reason = chosen.reason;
    planned.cause = cause_text(Readiness::NoDevice);
    return planned;
  }
  planned.way = Way::Library;
  planned.is_apart = tests.is_apart(chosen.place);
  return planned;
}

// Two names of one drive, such as its node and its serial number, count once.
bool is_planned(const std::vector<PlannedDrive>& plan, const PlannedDrive& drive) {
  return std::any_of(plan.begin(), plan.end(), [&](const PlannedDrive& other) {
    const bool is_same_type = other.way != drive.way || other.type == drive.type;
    return other.is_tested() && other.device == drive.device && is_same_type;
  });
}

// The drive as the module left it, and as the library tests it: what the module said is kept for
// the case that the library does not reach it either.
PlannedDrive joined(const PlannedDrive& left_out, PlannedDrive found) {
  found.name = left_out.name;
  found.reason = left_out.reason;
  found.cause = left_out.cause;
  found.words = left_out.words;
  return found;
}

std::vector<PlannedDrive> named_with_library(std::vector<PlannedDrive> plan, DriveTests& tests,
                                             const std::vector<ListedDrive>& drives) {
  std::vector<PlannedDrive*> left;
  std::vector<std::string> names;
  for (PlannedDrive& drive : plan) {
    if (!drive.reason) continue;
    left.push_back(&drive);
    names.push_back(drive.device);
  }
  if (names.empty()) return plan;
  const std::vector<ChosenDrive> all = tests.choose(names, "", true);
  for (std::size_t i = 0; i < all.size(); ++i) {
    PlannedDrive& drive = *left[i];
    const auto known = std::find_if(drives.begin(), drives.end(), [&](const ListedDrive& one) {
      return one.testable() && has_node(all[i], one.device);
    });
    if (known != drives.end())
      drive = PlannedDrive{.name = drive.name, .device = known->device};
    else if (!all[i].nodes.empty() && drive.cause != cause_text(Readiness::NoDevice))
      drive = joined(drive, by_library(tests, all[i]));
    else if (!all[i].nodes.empty()) {
      // No path led to it, and its name does.
      std::string name = std::move(drive.name);
      drive = by_library(tests, all[i]);
      drive.name = std::move(name);
    } else if (!all[i].reason.empty() && drive.cause == cause_text(Readiness::NoDevice))
      drive.reason = all[i].reason;
  }
  std::vector<PlannedDrive> once;
  for (PlannedDrive& drive : plan)
    if (!drive.is_tested() || !is_planned(once, drive)) once.push_back(std::move(drive));
  return once;
}

std::vector<PlannedDrive> all_with_library(std::vector<PlannedDrive> plan, DriveTests& tests) {
  for (const ChosenDrive& chosen : tests.choose({}, "", false)) {
    const auto is_of_it = [&](const PlannedDrive& drive) { return has_node(chosen, drive.device); };
    const auto first = std::find_if(plan.begin(), plan.end(), is_of_it);
    if (first == plan.end()) {
      plan.push_back(by_library(tests, chosen));
      continue;
    }
    if (!first->is_tested()) {
      *first = joined(*first, by_library(tests, chosen));
      first->name = chosen.name;
    }
    // The namespaces of an NVMe drive are one drive, and so are two paths.
    plan.erase(std::remove_if(first + 1, plan.end(), is_of_it), plan.end());
  }
  return plan;
}

}  // namespace

std::vector<PlannedDrive> plan_by_library(DriveTests& tests, const std::vector<std::string>& names,
                                          const std::string& type) {
  std::vector<PlannedDrive> plan;
  for (const ChosenDrive& chosen : tests.choose(names, type, true)) {
    PlannedDrive drive = by_library(tests, chosen);
    if (!drive.is_tested() || !is_planned(plan, drive)) plan.push_back(std::move(drive));
  }
  return plan;
}

std::vector<PlannedDrive> with_library(std::vector<PlannedDrive> plan, DriveTests& tests,
                                       const std::vector<ListedDrive>& drives, bool every_drive) {
  if (every_drive) return all_with_library(std::move(plan), tests);
  return named_with_library(std::move(plan), tests, drives);
}

}  // namespace cli
