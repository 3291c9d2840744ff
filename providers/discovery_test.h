// What the tests of the available-diagnostic-service provider share: an object manager that
// delivers made-up drives and bus devices, and a hwinfo that prints made-up reports.
#pragma once

#include <dlfcn.h>

#include "discovery/scratch_file_lock.h"
#include "model/KAVRO_DiskDrive.h"
#include "model/KAVRO_SysBusDevice.h"
#include "platform/framework/cimom.h"
#include "providers/KAVRO_HDDTest_AvailableDiagnosticService_Provider.h"
#include "providers/provider_test.h"

// Leaks are looked for when the test program ends, not when a child of the probe does.
inline const pid_t kTestProcess = getpid();
extern "C" {
[[gnu::used, gnu::visibility("default")]] inline int __lsan_is_turned_off() {
  return getpid() != kTestProcess;
}
}

namespace ovk_cimple {

// The C library's function of that name, where the test program defines one too.
template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

constexpr char kProviderName[] = "KAVRO_HDDTest_AvailableDiagnosticService_Provider";

inline Ref<Instance> drive_instance(const std::string& name) {
  Ref<KAVRO_DiskDrive> drive = make<KAVRO_DiskDrive>();
  drive->ElementName = name;
  drive->DeviceID = name;
  drive->name_space = "root/cimv2";
  return drive;
}

// number is that of the generic device; the address is "0:0:number:0" unless it is given.
inline Ref<Instance> bus_device_instance(int number, const std::string& name,
                                         const std::string& description,
                                         const std::string& address = "-") {
  Ref<KAVRO_SysBusDevice> device = make<KAVRO_SysBusDevice>();
  device->Name = name;
  device->DeviceID = "/dev/sg" + std::to_string(number);
  device->Description = description;
  device->OtherIdentifyingInfo = Array<String>{
      address != "-" ? address : "Port:0 Target:" + std::to_string(number) + " Bus:0 Lun:0"};
  return device;
}

// A disk's block as hwinfo prints it.
inline std::string test_block(const std::string& bus_id, const std::string& driver,
                              const std::string& name, int number) {
  return "30: SCSI 300.0: 10600 Disk\n  Unique ID: " + std::to_string(number) +
         "\n  SysFS BusID: " + bus_id + "\n  Driver: \"" + driver +
         "\", \"sd\"\n  Device File: " + name + " (/dev/sg" + std::to_string(number) + ")\n";
}

struct TestCimom : Cimom {
  sint32 enum_instances(const char* name_space, const Instance& model,
                        Instance_Enumerator& enumerator) override {
    asked.push_back(std::string(name_space) + ":" + model.meta_class->name);
    const bool is_drive = std::string(model.meta_class->name) == "KAVRO_DiskDrive";
    for (const Ref<Instance>& one : is_drive ? drives : bus_devices) enumerator.add(one);
    return is_drive ? drives_status : bus_devices_status;
  }
  std::vector<std::string> asked;
  std::vector<Ref<Instance>> drives;
  std::vector<Ref<Instance>> bus_devices;
  sint32 drives_status = 0;
  sint32 bus_devices_status = 0;
};

class DiscoveryTest : public ProviderTest {
 protected:
  void SetUp() override {
    ProviderTest::SetUp();
    setenv("HVX_SYSFS_ROOT", directory_.c_str(), 1);
    write_reports("", "");
    write_hwinfo();
    chmod("hwinfo", 0755);
  }
  void TearDown() override {
    unsetenv("HVX_SYSFS_ROOT");
    ProviderTest::TearDown();
  }
  // Makes a hwinfo that notes its call, prints its report and then runs the shell commands of end.
  void write_hwinfo(const std::string& end = "") const {
    std::ofstream("hwinfo") << "#!/bin/sh\necho \"$@\" >> " << directory_.string() << "/calls\ncat "
                            << directory_.string() << "/report$1\n"
                            << end;
  }
  // Has hwinfo remove the scratch file, so that no report can be read from it.
  void lose_scratch_file() const { write_hwinfo("rm -f /tmp/sgMap.txt\n"); }
  static void write_reports(const std::string& disk, const std::string& usb) {
    std::ofstream("report--disk") << disk;
    std::ofstream("report--usb") << usb;
  }
  void write_dmi(const std::string& product_name, const std::string& bios_version) const {
    const auto folder = directory_ / "sys/class/dmi/id";
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "product_name") << product_name << "\n";
    std::ofstream(folder / "bios_version") << bios_version << "\n";
  }
  // The command lines of hwinfo so far; forgets them.
  static std::vector<std::string> take_calls() {
    std::ifstream file("calls");
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    std::filesystem::remove("calls");
    return lines;
  }
  std::vector<Ref<KAVRO_HDDTest_AvailableDiagnosticService>> offers() {
    const CimomScope scope(cimom_);
    return enumerate<KAVRO_HDDTest_AvailableDiagnosticService>(provider_);
  }
  std::vector<std::string> offered_names() {
    std::vector<std::string> names;
    for (const auto& offer : offers())
      names.push_back(
          cast<KAVRO_DiskDrive>(offer->UserOfService.value().get())->ElementName.value());
    return names;
  }

  TestCimom cimom_;
  KAVRO_HDDTest_AvailableDiagnosticService_Provider provider_;

 private:
  const discovery::ScratchFileLock lock_;
};

// Single tests of a drive, on bus devices that the test puts into the provider itself.
class DriveTest : public DiscoveryTest {
 protected:
  using Status = KAVRO_HDDTest_AvailableDiagnosticService_Provider::StatusTable;

  void SetUp() override {
    DiscoveryTest::SetUp();
    readable_.fill(1);
  }
  void add(const Ref<Instance>& device) { provider_.fRefInst.push_back(device); }
  bool is_raid(const std::string& name) {
    take_log();
    return provider_.isLSIRAIDDevice(name, readable_.data());
  }
  Status readable_;
};

inline std::string operation(const std::string& name) {
  return std::string(kProviderName) + "::" + name;
}

}  // namespace ovk_cimple
