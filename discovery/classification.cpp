#include "discovery/classification.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace discovery {

namespace {

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

std::string_view up_to_nul(const std::string& report) {
  return {report.data(), std::strlen(report.c_str())};
}

// Cuts the text after the key and the characters that follow it, as far as they are there.
// Returns false, and leaves the text alone, when the key is missing.
bool cut_through(std::string_view& text, std::string_view key, std::size_t more) {
  const std::size_t position = text.find(key);
  if (position == std::string_view::npos) return false;
  text.remove_prefix(std::min(position + key.size() + more, text.size()));
  return true;
}

}  // namespace

bool lists_device(const std::string& report, const std::string& device) {
  return contains(up_to_nul(report), device.c_str());
}

std::optional<std::string> bus_id(const std::string& address) {
  std::string_view rest = address;
  if (!cut_through(rest, "Port:", 0)) return std::nullopt;
  const std::string_view port = rest.substr(0, 1);
  const bool has_target = cut_through(rest, "Target:", 0);
  const std::string_view target = rest.substr(0, 1);
  const bool has_bus = cut_through(rest, "Bus", 1);
  const std::string_view bus = rest.substr(0, 1);
  const bool has_lun = cut_through(rest, "Lun", 1);
  const std::string_view lun = rest.substr(0, 1);
  std::string id;
  if (has_target && has_bus && has_lun)
    for (const std::string_view part : {port, {":"}, bus, {":"}, target, {":"}, lun}) id += part;
  return id;
}

Controller controller_of(const std::string& report, const std::string& bus_id,
                         const std::string& device) {
  constexpr std::size_t kBusIdLength = 7;
  std::string_view rest = up_to_nul(report);
  const std::size_t position = rest.find(bus_id);
  if (position == std::string_view::npos) return Controller::BusIdNotListed;
  rest.remove_prefix(std::min(position + kBusIdLength, rest.size()));
  // "Unique ID" opens the next device's block; the last block has none behind it.
  const std::string_view block = rest.substr(0, rest.find("Unique ID"));
  if (!contains(block, device)) return Controller::AnotherDevice;
  const bool onboard =
      contains(block, "Driver: \"ata_piix\"") || contains(block, "Driver: \"ahci\"");
  return onboard ? Controller::Onboard : Controller::Raid;
}

Driver driver_of(const std::string& report, const std::string& device) {
  const std::string_view text = up_to_nul(report);
  const std::size_t position = text.find(device);
  if (position == std::string_view::npos) return {DriverLookup::DeviceNotListed, {}};
  const std::size_t driver = text.rfind("Driver:", position);
  if (driver == std::string_view::npos) return {DriverLookup::NoDriverLine, {}};
  return {DriverLookup::Found, std::string(text.substr(driver, position - driver))};
}

}  // namespace discovery
