#include "providers/KAVRO_HDDTest_AvailableDiagnosticService_Provider.h"

#include <mutex>
#include <optional>
#include <set>

#include "discovery/classification.h"
#include "discovery/excluded_machine_types.h"
#include "discovery/probe.h"
#include "discovery/scratch_file.h"
#include "model/KAVRO_DiskDrive.h"
#include "model/KAVRO_SysBusDevice.h"
#include "platform/framework/module_unit.h"
#include "platform/framework/provider_status.h"
#include "platform/support/osspecific.h"
#include "platform/words.h"
#include "providers/KAVRO_HDDTest_DiagnosticService_Provider.h"
#include "providers/operation_log.h"

namespace ovk_cimple {

namespace {

using Provider = KAVRO_HDDTest_AvailableDiagnosticService_Provider;
using NKVRHVX20::TOSSpecific;

constexpr char kProvider[] = "KAVRO_HDDTest_AvailableDiagnosticService_Provider";

// Guards the members and the scratch file while an enumeration decides.
std::mutex discovery_lock;

constexpr int kHwinfoSeconds = 300;

// A bus device as the tests look at it. Each test copies only what it needs: reading another
// property of a broken one could end the process.
class BusDevice {
 public:
  explicit BusDevice(const Ref<Instance>& instance)
      : held_(instance), device_(cast<KAVRO_SysBusDevice>(held_.get())) {}

  std::string name() const { return device_ ? device_->Name.value() : ""; }
  std::string identifier() const { return device_ ? device_->DeviceID.value() : ""; }
  std::string description() const { return device_ ? device_->Description.value() : ""; }
  // The first element of the SCSI address list; empty without one.
  std::string address() const {
    const Array<String> addresses =
        device_ ? device_->OtherIdentifyingInfo.value() : Array<String>();
    return addresses.empty() ? "" : addresses.front();
  }

 private:
  const Ref<Instance> held_;
  const KAVRO_SysBusDevice* const device_;
};

// Reads what isLSIRAIDDevice reads of a bus device, to see whether the process survives it.
void read(const void* instance) {
  const BusDevice device(*static_cast<const Ref<Instance>*>(instance));
  (void)device.identifier();
  (void)device.address();
  (void)device.description();
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

template <class T>
sint32 ask(Instance_Enumerator& enumerator) {
  return cimom::enum_instances("root/cimv2", *make<T>(), enumerator);
}

}  // namespace

Provider::KAVRO_HDDTest_AvailableDiagnosticService_Provider() {
  log_answer(kProvider, kProvider, OK);
}
Provider::~KAVRO_HDDTest_AvailableDiagnosticService_Provider() {
  log_answer(kProvider, "~KAVRO_HDDTest_AvailableDiagnosticService_Provider", OK);
}

sint32 Provider::enum_associator_names(const Instance*, const char*, const char*, const char*,
                                       EnumHandler<>*) {
  return log_answer(kProvider, "enum_associator_names", EnumAssociatorNamesUnsupported);
}
sint32 Provider::enum_references(const Instance*, const Class*, const char*, EnumHandler<Class>*) {
  return log_answer(kProvider, "enum_references", EnumReferencesUnsupported);
}

// Kept on purpose: the one operation that leaves no line in the log.
sint32 Provider::enum_associators(const Instance*, const char*, const char*, const char*,
                                  EnumHandler<>*) {
  return EnumAssociatorsUnsupported;
}

sint32 Provider::enum_instances(const Class*, EnumHandler<Class>* handler) {
  log_entering(kProvider, "enum_instances");
  const std::string machine_type = TOSSpecific::GetMachineTypeFromID();
  const std::string bios = platform::upper(TOSSpecific::GetBiosID());
  log_trace("MT  =" + machine_type);
  static const std::vector<std::string> exclueMachine(discovery::kExcludedMachineTypes.begin(),
                                                      discovery::kExcludedMachineTypes.end());
  const std::set<std::string> excluded(exclueMachine.begin(), exclueMachine.end());
  if (excluded.contains(machine_type)) {
    log_exiting(kProvider, "enum_instances, MT(" + machine_type + ") is not supported!");
    return OK;
  }
  if (excluded.contains(bios)) {
    log_exiting(kProvider, "enum_instances, BIOSID(" + bios + ") is not supported!");
    return OK;
  }

  Instance_Enumerator drives;
  Instance_Enumerator bus_devices;
  const sint32 drives_status = ask<KAVRO_DiskDrive>(drives);
  const sint32 bus_devices_status = ask<KAVRO_SysBusDevice>(bus_devices);
  std::vector<Ref<Class>> offers;
  {
    const std::lock_guard guard(discovery_lock);
    while (bus_devices_status == 0 && bus_devices.more()) fRefInst.push_back(bus_devices.next());
    log_trace("cimom::enum_instances rc=" + std::to_string(drives_status));
    if (drives_status == 0) {
      getUSBDeviceList();
      getDiskDeviceList();
      StatusTable iStatusOfRefInst;
      probe(iStatusOfRefInst);
      while (drives.more()) {
        const Ref<Instance> drive = drives.next();
        const auto* disk = cast<KAVRO_DiskDrive>(drive.get());
        const std::string name = disk ? disk->ElementName.value() : std::string();
        if (!is_left_out(name, iStatusOfRefInst)) offers.push_back(offer(*drive, name));
      }
    }
  }
  // No lock is held while the object manager takes the instances, which may take long.
  for (Ref<Class>& one : offers) handler->handle(std::move(one));
  log_exiting(kProvider, "enum_instances");
  return OK;
}

bool Provider::is_left_out(const std::string& name, const StatusTable& iStatusOfRefInst) {
  const char* reason = nullptr;
  if (isLSIRAIDDevice(name, iStatusOfRefInst.data()))
    reason = " is an LSI RAID device";
  else if (isLSIMegaRAIDDevice(name))
    reason = " is an LSI device";
  else if (isUSBDevice(name))
    reason = " is a USB device";
  else if (isMicroFlashDevice(name))
    reason = " is a MicroFlash device";
  else if (!isDiskDevice(name))
    reason = " is NOT a disk device";
  if (reason) log_trace("Device " + name + reason + ", omitting from HDD Test");
  return reason != nullptr;
}

Ref<KAVRO_HDDTest_AvailableDiagnosticService> Provider::offer(const Instance& drive,
                                                              const std::string& name) {
  Ref<Class> association = make<Class>();
  const auto user = Ref<Instance>::adopt(clone(&drive));
  if (cast<CIM_ManagedElement>(user.get())) association->UserOfService = user;
  // Kept on purpose: the service instance that is copied here is not released. Each drive that is
  // offered keeps one of them allocated.
  const Instance* const built =
      KAVRO_HDDTest_DiagnosticService_Provider::BuildService("Hard Drive: Self Test");
  const auto service = Ref<Instance>::adopt(clone(built));
  if (cast<CIM_DiagnosticService>(service.get())) association->ServiceProvided = service;
  association->EstimatedDurationOfService = 3;  // Seconds
  association->EstimatedDurationQualifier = 0;
  log_trace("Initializing HDD instance for " + name);
  return association;
}

void Provider::getDiskDeviceList() {
  log_entering(kProvider, "getDiskDeviceList");
  diskBuffer = TOSSpecific::SpawnProcess("hwinfo --disk", kHwinfoSeconds);
  log_exiting(kProvider, "getDiskDeviceList");
}

void Provider::getUSBDeviceList() {
  log_entering(kProvider, "getUSBDeviceList");
  usbBuffer = TOSSpecific::SpawnProcess("hwinfo --usb", kHwinfoSeconds);
  log_exiting(kProvider, "getUSBDeviceList");
}

bool Provider::isDiskDevice(std::string name) {
  log_entering(kProvider, "isDiskDevice, device=" + name);
  const bool listed = discovery::lists_device(diskBuffer, name);
  log_trace("Device " + name + (listed ? " is a disk device" : " is NOT a disk device"));
  log_exiting(kProvider, "isDiskDevice");
  return listed;
}

bool Provider::isUSBDevice(std::string name) {
  log_entering(kProvider, "isUSBDevice, device=" + name);
  const bool listed = discovery::lists_device(usbBuffer, name);
  log_trace("Device " + name + (listed ? " is a USB device" : " is NOT a USB device"));
  log_exiting(kProvider, "isUSBDevice");
  return listed;
}

bool Provider::isMicroFlashDevice(std::string name) {
  log_entering(kProvider, "isMicroFlashDevice");
  bool found = false;
  for (const Ref<Instance>& instance : fRefInst) {
    const BusDevice device(instance);
    found = contains(device.name(), name) && contains(device.description(), "PQI");
    log_trace("Device " + name +
              (found ? " is a MicroFlash Device" : " is NOT a MicroFlash Device"));
    if (found) break;
  }
  log_exiting(kProvider, "isMicroFlashDevice");
  return found;
}

bool Provider::isLSIRAIDDevice(std::string name, const sint32* iStatusOfRefInst) {
  log_entering(kProvider, "isLSIRAIDDevice");
  std::string statuses;
  for (std::size_t i = 0; i < kStatusTableSize; ++i)
    statuses += std::to_string(iStatusOfRefInst[i]) + " ";
  log_trace("Size of fRefInst is : " + std::to_string(fRefInst.size()) +
            " Content of iStatusOfRefInst is : " + statuses);
  const std::string prefix = std::string(kProvider) + "::isLSIRAIDDevice - BusID ";
  for (std::size_t i = 0; i < fRefInst.size() && i < kStatusTableSize; ++i) {
    if (iStatusOfRefInst[i] == 0) continue;
    const BusDevice device(fRefInst[i]);
    const std::string address = device.address();
    // Kept on purpose: one logical volume leaves out every drive that is asked about before an
    // earlier bus device has answered for it.
    if (contains(device.description(), "Logical Volume")) {
      log_trace("Device " + name + " is a LSI_IR Volume");
      return true;
    }
    log_trace((prefix + "from scsidev: ").append(address));
    const std::optional<std::string> bus_id = discovery::bus_id(address);
    if (!bus_id) {
      log_trace("Device " + name + " is NOT a LSI_IR Device no continue");
      continue;
    }
    log_trace(prefix + "parsed: " + *bus_id);
    const std::optional<std::string> report = discovery::through_scratch_file("hwinfo --disk");
    // Nobody knows where the drive is, so that it is left out like one behind a RAID adapter.
    if (!report) return true;
    switch (discovery::controller_of(*report, *bus_id, name)) {
      case discovery::Controller::BusIdNotListed:
        log_trace("Device " + name + " is NOT a LSI_IR Device");
        break;
      case discovery::Controller::AnotherDevice:
        log_trace("Device " + name + " is not a LSI_IR Device");
        break;
      case discovery::Controller::Onboard:
        log_trace("Device " + name + " is Onboard hdd");
        return false;
      case discovery::Controller::Raid:
        log_trace("Device " + name + " is a LSI_IR Device");
        return true;
    }
  }
  log_exiting(kProvider, "isLSIRAIDDevice, non-zero rc from enuminstances, returning false");
  return false;
}

bool Provider::isLSIMegaRAIDDevice(std::string name) {
  log_entering(kProvider, "isLSIMegaRAIDDevice");
  const discovery::Driver driver = discovery::driver_of(diskBuffer, name);
  const std::string device_text = "JBOD: Device " + name;
  switch (driver.lookup) {
    case discovery::DriverLookup::DeviceNotListed:
      log_trace(device_text + " cannot be found in diskBuffer");
      break;
    case discovery::DriverLookup::NoDriverLine:
      log_trace(device_text + " cannot find Driver: informaton");
      break;
    case discovery::DriverLookup::Found:
      log_trace(device_text + " DRIVER INFO: " + driver.information);
      if (contains(driver.information, "megaraid_sas")) {
        log_trace(device_text + " is a MegaRaid Device");
        return true;
      }
      if (contains(driver.information, "mpt2sas")) {
        log_trace(device_text + " is a mpt2sas Device");
        return true;
      }
      log_trace(device_text + " is not a MegaRaid or mpt2sas Device");
      break;
  }
  for (const Ref<Instance>& instance : fRefInst) {
    const BusDevice device(instance);
    if (!contains(device.description(), "Vellacore")) continue;
    // The name goes into the command unquoted. The inventory publishes only device names that it
    // has checked.
    const std::optional<std::string> lines =
        discovery::through_scratch_file("hwinfo --disk | grep " + name);
    if (!lines) return true;
    if (contains(*lines, name) && contains(*lines, device.identifier())) {
      log_trace("Device " + name + " is a MegaRaid Device");
      return true;
    }
    log_trace("Device " + name + " is NOT a MegaRaid Device");
  }
  log_exiting(kProvider, "isLSIMegaRAIDDevice, non-zero rc from enuminstances, returning false");
  return false;
}

void Provider::probe(StatusTable& iStatusOfRefInst) {
  iStatusOfRefInst.fill(1);
  for (std::size_t i = 0; i < fRefInst.size() && i < kStatusTableSize; ++i) {
    switch (discovery::probe(read, &fRefInst[i])) {
      case discovery::Probe::Survived:
        break;
      case discovery::Probe::Killed:
        iStatusOfRefInst[i] = 0;
        break;
      case discovery::Probe::NotForked:
        log_trace("Error in fork");
        break;
    }
  }
}

}  // namespace ovk_cimple
