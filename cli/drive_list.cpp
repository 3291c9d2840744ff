#include "cli/drive_list.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <mutex>
#include <thread>

#include "cli/decisions.h"
#include "cli/log_listener.h"
#include "cli/log_texts.h"
#include "platform/support/osspecific.h"
#include "platform/support/program.h"

namespace cli {
namespace {

constexpr int information_seconds = 30;
constexpr std::size_t asked_at_once = 8;

// The elements of an array of strings; empty when it is missing or null.
std::vector<std::string> texts(const broker::Instance& instance, std::string_view property) {
  std::vector<std::string> result;
  const broker::Value* const value = instance.property(property);
  if (!value || value->is_null()) return result;
  for (const broker::Value& element : value->elements())
    result.push_back(element.is_null() ? "" : element.as_text());
  return result;
}

Drive drive_of(const broker::Instance& instance) {
  Drive drive{.device = instance.text("DeviceID"), .reason = {}, .model = instance.text("Caption")};
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

void ask_smart(std::vector<Drive>& drives) {
  std::atomic<std::size_t> next = 0;
  const auto ask = [&] {
    for (std::size_t i; (i = next++) < drives.size();) {
      std::string output;
      const int status = NKVRHVX20::TOSSpecific::SpawnProcess("smartctl", {"-i", drives[i].device},
                                                              output, information_seconds);
      drives[i].smart = smart_of(status, output);
    }
  };
  std::vector<std::jthread> threads;
  for (std::size_t i = 1; i < std::min(asked_at_once, drives.size()); ++i)
    threads.emplace_back(ask);
  ask();
}

}  // namespace

std::string reason_words(const std::optional<std::string>& reason, bool has_hwinfo) {
  if (!reason) return "not looked at";  // it came while discovery was at work
  return *reason == not_a_disk && !has_hwinfo ? "hwinfo missing" : *reason;
}

std::optional<bool> smart_of(int status, std::string_view information) {
  // The command line was refused, or the device could not be opened or known.
  constexpr int not_asked = 1 | 2;
  for (const std::string_view text : smart_enabled_texts)
    if (information.find(text) != std::string_view::npos) return true;
  if (status < 0 || (status & not_asked) != 0) return std::nullopt;
  return false;
}

std::vector<Drive> list_drives(broker::ObjectManager& manager, bool smart) {
  Decisions decisions;
  {
    std::mutex lock;
    const LogListener listener([&](int severity, const std::string& text) {
      const std::lock_guard guard(lock);
      decisions.take(severity, text);
    });
    manager.enumerate_instances("KAVRO_HDDTest_AvailableDiagnosticService");
  }
  const bool has_hwinfo = !NKVRHVX20::FindProgram("hwinfo").empty();
  std::vector<Drive> drives;
  for (const broker::Instance& instance : manager.enumerate_instances("KAVRO_DiskDrive")) {
    drives.push_back(drive_of(instance));
    drives.back().reason = reason_words(decisions.reason(drives.back().device), has_hwinfo);
  }
  if (smart) ask_smart(drives);
  return drives;
}

}  // namespace cli
