#include "cli/drive_list.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <mutex>

#include "cli/log_listener.h"
#include "cli/log_texts.h"
#include "platform/at_once.h"
#include "platform/support/program.h"

namespace cli {
namespace {

constexpr std::size_t kLookedAtAtOnce = 8;

// The elements of an array of strings; empty when it is missing or null.
std::vector<std::string> texts(const broker::Instance& instance, std::string_view property) {
  std::vector<std::string> result;
  const broker::Value* const value = instance.property(property);
  if (!value || value->is_null()) return result;
  for (const broker::Value& element : value->elements())
    result.push_back(element.is_null() ? "" : element.as_text());
  return result;
}

ListedDrive drive_of(const broker::Instance& instance) {
  ListedDrive drive{
      .device = instance.text("DeviceID"), .reason = {}, .model = instance.text("Caption")};
  const std::vector<std::string> values = texts(instance, "OtherIdentifyingInfo");
  const std::vector<std::string> names = texts(instance, "IdentifyingDescriptions");
  for (std::size_t i = 0; i < std::min(values.size(), names.size()); ++i) {
    const std::string& value = values[i];
    if (names[i] == "Serial Number") drive.serial = value;
    if (names[i] == "Connection") drive.connection = value;
    if (names[i] != "Size in bytes") continue;
    std::uint64_t bytes = 0;
    const auto end = value.data() + value.size();
    if (const auto read = std::from_chars(value.data(), end, bytes);
        read.ec == std::errc() && read.ptr == end)
      drive.bytes = bytes;
  }
  return drive;
}

void look_at_each(std::vector<ListedDrive>& drives, const Doing& doing) {
  std::atomic<std::size_t> seen = 0;
  platform::at_once(drives.size(), kLookedAtAtOnce, [&](std::size_t i) {
    ListedDrive& drive = drives[i];
    drive.look = look_at(drive.device);
    drive.smart = smart_of(*drive.look);
    // The kernel cuts the model's name, and does not know that of every USB drive.
    if (!drive.look->model.empty()) drive.model = drive.look->model;
    if (!drive.look->serial.empty()) drive.serial = drive.look->serial;
    if (doing) doing(fmt::format("smartctl, {} of {}", ++seen, drives.size()));
  });
}

constexpr std::string_view kHwinfoMissing = "hwinfo missing";

// Drivers of adapters that make one drive of several, and may show these as drives too.
constexpr std::string_view kRaidDrivers[] = {"3w-",      "aacraid", "arcmsr",   "esas2r", "hpsa",
                                             "megaraid", "mpi3mr",  "smartpqi", "ips",    "cciss"};

}  // namespace

std::string reason_words(const std::optional<std::string>& reason, bool has_hwinfo) {
  if (!reason) return "not looked at";  // it came while discovery was at work
  return *reason == kNotADisk && !has_hwinfo ? std::string(kHwinfoMissing) : *reason;
}

std::string left_out_words(const std::string& reason, const Decisions& decisions,
                           const std::string& device, const std::string& connection) {
  if (!decisions.excluded_by().empty()) return "excluded: " + decisions.excluded_by();
  if (reason == "USB") return "on USB";
  if (reason != kRaidReason) return reason;
  for (const std::string_view driver : kRaidDrivers)
    if (connection.find("(" + std::string(driver)) != connection.npos)
      return std::string(kBehindRaid);
  const std::string found = decisions.found(device);
  return found.empty() ? "hwinfo's report was unreadable" : found;
}

std::optional<bool> smart_of(const DriveLook& look) {
  switch (look.readiness) {
    case Readiness::Ready:
    case Readiness::Running:
    case Readiness::NoSelfTest:
      return true;
    case Readiness::SmartOff:
    case Readiness::NoSmart:
    case Readiness::NotUnderstood:
      return false;
    default:
      return std::nullopt;
  }
}

std::string_view ListedDrive::left_out_cause() const {
  if (testable()) return "";
  return reason == kHwinfoMissing ? kCauseNoHwinfo : kCauseLeftOut;
}

std::string ListedDrive::words() const {
  if (!testable()) return left_out;
  return look ? readiness_words(*look) : "testable";
}

std::vector<ListedDrive> list_drives(broker::ObjectManager& manager, bool look,
                                     const Doing& doing) {
  Decisions decisions;
  if (doing) doing("hwinfo");
  {
    std::mutex lock;
    const LogListener listener([&](int severity, const std::string& text) {
      const std::lock_guard guard(lock);
      const std::size_t before = decisions.count();
      decisions.take(severity, text);
      if (doing && decisions.count() > before)
        doing(fmt::format("hwinfo, {} decided on", decisions.count()));
    });
    manager.enumerate_instances("KAVRO_HDDTest_AvailableDiagnosticService");
  }
  const bool has_hwinfo = !NKVRHVX20::find_program("hwinfo").empty();
  std::vector<ListedDrive> drives;
  for (const broker::Instance& instance : manager.enumerate_instances("KAVRO_DiskDrive")) {
    ListedDrive drive = drive_of(instance);
    drive.reason = reason_words(decisions.reason(drive.device), has_hwinfo);
    drive.left_out = left_out_words(drive.reason, decisions, drive.device, drive.connection);
    drives.push_back(std::move(drive));
  }
  if (look) look_at_each(drives, doing);
  return drives;
}

}  // namespace cli
