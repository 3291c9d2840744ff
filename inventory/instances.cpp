#include "inventory/instances.h"

#include <string_view>

#include "inventory/device_text.h"
#include "platform/framework/module_unit.h"

namespace ovk_cimple {

namespace {

// The schema's limits.
constexpr std::size_t kCaptionCharacters = 64;
constexpr std::size_t kIdentifyingCharacters = 256;

// What the schema says of a device in a state of the kernel's.
struct State {
  std::string_view state;
  uint16 operational;  // 0 unknown, 2 OK, 3 degraded, 13 lost communication
  const char* status;
  uint16 enabled;       // 0 unknown, 2 enabled, 6 enabled but offline
  uint16 availability;  // 2 unknown, 3 running, 8 off line
};

constexpr State kStates[] = {
    {"running", 2, "OK", 2, 3},         {"live", 2, "OK", 2, 3},
    {"offline", 13, "Lost Comm", 6, 8}, {"transport-offline", 13, "Lost Comm", 0, 2},
    {"dead", 13, "Lost Comm", 0, 2},    {"blocked", 3, "Degraded", 0, 2},
    {"quiesce", 3, "Degraded", 0, 2},   {"resetting", 3, "Degraded", 0, 2},
    {"connecting", 3, "Degraded", 0, 2}};
constexpr State kUnknownState = {"", 0, "Unknown", 0, 2};

void set_status(CIM_EnabledLogicalElement& element, const State& state) {
  element.OperationalStatus = {state.operational};
  element.StatusDescriptions = {state.status};
  element.Status = state.status;
  element.EnabledState = state.enabled;
}

void set_state(CIM_LogicalDevice& device, std::string_view text) {
  const State* found = &kUnknownState;
  for (const State& state : kStates)
    if (state.state == text) found = &state;
  set_status(device, *found);
  device.Availability = found->availability;
}

void set_keys(CIM_LogicalDevice& device, const String& system_name, const String& id) {
  device.SystemCreationClassName = KAVRO_ComputerSystem::static_meta_class.name;
  device.SystemName = system_name;
  device.CreationClassName = device.meta_class->name;
  device.DeviceID = id;
}

void set_unless_empty(Property<String>& property, String text) {
  if (!text.empty()) property = std::move(text);
}

struct Identification {
  const char* description;
  String text;
};

template <class Element>
void set_identification(Element& element, std::initializer_list<Identification> all) {
  Array<String> info, descriptions;
  for (const auto& [description, text] : all) {
    if (text.empty()) continue;
    info.push_back(inventory::cut(text, kIdentifyingCharacters));
    descriptions.emplace_back(description);
  }
  if (info.empty()) return;
  element.OtherIdentifyingInfo = std::move(info);
  element.IdentifyingDescriptions = std::move(descriptions);
}

}  // namespace

Ref<KAVRO_DiskDrive> disk_drive(const inventory::Disk& disk, const String& system_name) {
  auto result = make<KAVRO_DiskDrive>(true);  // RequestedState and EnabledDefault are defaults
  set_keys(*result, system_name, disk.device);
  set_state(*result, disk.state);
  result->ElementName = disk.device;
  result->Name = disk.device;
  set_unless_empty(result->Caption, inventory::cut(inventory::joined({disk.vendor, disk.model}),
                                                   kCaptionCharacters));
  set_unless_empty(result->Description,
                   inventory::joined({disk.vendor, disk.model, disk.revision}));
  set_identification(*result,
                     {{"Serial Number", disk.serial},
                      {"WWN", disk.world_wide_name},
                      {"SCSI Address", disk.address ? to_string(*disk.address) : String()},
                      {"Connection", disk.connection},
                      {"Size in bytes", disk.bytes ? std::to_string(*disk.bytes) : String()}});

  if (disk.bytes) result->MaxMediaSize = *disk.bytes / 1000;
  if (disk.block_bytes) {
    result->DefaultBlockSize = *disk.block_bytes;
    result->MinBlockSize = *disk.block_bytes;
    result->MaxBlockSize = *disk.block_bytes;
  }
  result->NumberOfMediaSupported = 1;
  Array<uint16> capabilities = {3};                // random access
  if (!disk.read_only) capabilities.push_back(4);  // supports writing
  if (disk.removable) capabilities.push_back(7);   // supports removable media
  result->Capabilities = std::move(capabilities);
  result->Security = disk.read_only ? 4 : 2;  // read only, unknown
  return result;
}

Ref<KAVRO_SysBusDevice> sys_bus_device(const inventory::BusDevice& device,
                                       const String& system_name) {
  String id = device.generic;
  if (id.empty()) id = device.block;
  if (id.empty()) id = to_string(device.address);
  const String name = device.block.empty() ? id : device.block;
  auto result = make<KAVRO_SysBusDevice>(true);
  set_keys(*result, system_name, id);
  set_state(*result, device.state);
  result->Name = name;
  result->ElementName = name;
  result->Caption = name;
  set_unless_empty(result->Description, inventory::joined({device.vendor, device.model}));
  set_identification(
      *result,
      {{"SCSI Address", device.address_published ? address_text(device.address) : String()}});
  return result;
}

Ref<KAVRO_ComputerSystem> computer_system(const inventory::Machine& machine, const String& name) {
  const std::size_t dot = name.find('.');
  auto result = make<KAVRO_ComputerSystem>(true);
  result->CreationClassName = result->meta_class->name;
  result->Name = name;
  // The schema's word for a fully qualified host name.
  result->NameFormat = dot == String::npos ? "Other" : "IP";
  result->ElementName = name.substr(0, dot);
  set_unless_empty(result->Caption, inventory::cut(machine.product, kCaptionCharacters));
  set_unless_empty(result->Description,
                   inventory::joined({machine.vendor, machine.product, machine.version}));
  set_identification(*result, {{"DMI UUID", machine.uuid}, {"DMI serial number", machine.serial}});
  result->Dedicated = {0};          // not dedicated
  result->ResetCapability = 2;      // unknown
  set_status(*result, kStates[0]);  // it runs, since it answers
  return result;
}

}  // namespace ovk_cimple
