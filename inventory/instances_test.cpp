#include "inventory/instances.h"

#include <gmock/gmock.h>

#include <limits>

namespace ovk_cimple {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

// The names of the properties that hold a value.
std::vector<std::string> published(const Instance& instance) {
  std::vector<std::string> names;
  for (const MetaProperty& property : instance.meta_class->properties)
    if (!visit(&instance, property, [](const auto& p) { return p.null(); }))
      names.emplace_back(property.name);
  return names;
}

inventory::Disk full_disk() {
  inventory::Disk disk;
  disk.device = "/dev/sda";
  disk.vendor = "EXAMPLE";
  disk.model = "DISK 1";
  disk.revision = "S229";
  disk.serial = "LABS0001";
  disk.world_wide_name = "naa.5000c500a0b0c0d3";
  disk.connection = "SAS/RAID (megaraid_sas)";
  disk.state = "running";
  disk.address = {{8, 2, 0, 0}};
  disk.bytes = 73407868928;
  disk.block_bytes = 4096;
  return disk;
}

TEST(DiskDrive, PublishesEveryPropertyThatSysfsTells) {
  const auto drive = disk_drive(full_disk(), "host.example.org");
  EXPECT_EQ(drive->SystemCreationClassName.value(), "KAVRO_ComputerSystem");
  EXPECT_EQ(drive->SystemName.value(), "host.example.org");
  EXPECT_EQ(drive->CreationClassName.value(), "KAVRO_DiskDrive");
  EXPECT_EQ(drive->DeviceID.value(), "/dev/sda");
  EXPECT_EQ(drive->ElementName.value(), "/dev/sda");
  EXPECT_EQ(drive->Name.value(), "/dev/sda");
  EXPECT_EQ(drive->Caption.value(), "EXAMPLE DISK 1");
  EXPECT_EQ(drive->Description.value(), "EXAMPLE DISK 1 S229");
  EXPECT_THAT(drive->IdentifyingDescriptions.value(),
              ElementsAre("Serial Number", "WWN", "SCSI Address", "Connection", "Size in bytes"));
  EXPECT_THAT(drive->OtherIdentifyingInfo.value(),
              ElementsAre("LABS0001", "naa.5000c500a0b0c0d3", "8:2:0:0", "SAS/RAID (megaraid_sas)",
                          "73407868928"));
  EXPECT_EQ(drive->MaxMediaSize.value(), 73407868u);
  EXPECT_EQ(drive->DefaultBlockSize.value(), 4096u);
  EXPECT_EQ(drive->MinBlockSize.value(), 4096u);
  EXPECT_EQ(drive->MaxBlockSize.value(), 4096u);
  EXPECT_EQ(drive->NumberOfMediaSupported.value(), 1u);
  EXPECT_THAT(drive->Capabilities.value(), ElementsAre(3, 4));
  EXPECT_EQ(drive->Security.value(), 2);
  EXPECT_THAT(drive->OperationalStatus.value(), ElementsAre(2));
  EXPECT_THAT(drive->StatusDescriptions.value(), ElementsAre("OK"));
  EXPECT_EQ(drive->Status.value(), "OK");
  EXPECT_EQ(drive->EnabledState.value(), 2);
  EXPECT_EQ(drive->RequestedState.value(), 12);
  EXPECT_EQ(drive->EnabledDefault.value(), 2);
  EXPECT_EQ(drive->Availability.value(), 3);
}

TEST(DiskDrive, LeavesEveryOtherPropertyNull) {
  EXPECT_THAT(published(*disk_drive(full_disk(), "host")),
              UnorderedElementsAre(
                  "Caption", "Description", "ElementName", "Name", "OperationalStatus",
                  "StatusDescriptions", "Status", "EnabledState", "RequestedState",
                  "EnabledDefault", "SystemCreationClassName", "SystemName", "CreationClassName",
                  "DeviceID", "Availability", "OtherIdentifyingInfo", "IdentifyingDescriptions",
                  "Capabilities", "NumberOfMediaSupported", "MaxMediaSize", "DefaultBlockSize",
                  "MaxBlockSize", "MinBlockSize", "Security"));
}

TEST(DiskDrive, WhatIsUnknownIsNull) {
  inventory::Disk disk;
  disk.device = "/dev/sda";
  EXPECT_THAT(
      published(*disk_drive(disk, "host")),
      UnorderedElementsAre("ElementName", "Name", "OperationalStatus", "StatusDescriptions",
                           "Status", "EnabledState", "RequestedState", "EnabledDefault",
                           "SystemCreationClassName", "SystemName", "CreationClassName", "DeviceID",
                           "Availability", "Capabilities", "NumberOfMediaSupported", "Security"));
}

TEST(DiskDrive, DescriptionsStayBesideTheirTextsWhenOthersAreUnknown) {
  auto facts = full_disk();
  facts.serial.clear();
  facts.address.reset();
  const auto drive = disk_drive(facts, "host");
  EXPECT_THAT(drive->IdentifyingDescriptions.value(),
              ElementsAre("WWN", "Connection", "Size in bytes"));
  EXPECT_THAT(drive->OtherIdentifyingInfo.value(),
              ElementsAre("naa.5000c500a0b0c0d3", "SAS/RAID (megaraid_sas)", "73407868928"));
}

struct StateCase {
  const char* state;
  uint16 operational;
  const char* status;
  uint16 enabled;
  uint16 availability;
};
constexpr StateCase kStateCases[] = {
    {"running", 2, "OK", 2, 3},          {"live", 2, "OK", 2, 3},
    {"offline", 13, "Lost Comm", 6, 8},  {"transport-offline", 13, "Lost Comm", 0, 2},
    {"dead", 13, "Lost Comm", 0, 2},     {"blocked", 3, "Degraded", 0, 2},
    {"quiesce", 3, "Degraded", 0, 2},    {"resetting", 3, "Degraded", 0, 2},
    {"connecting", 3, "Degraded", 0, 2}, {"", 0, "Unknown", 0, 2},
    {"created", 0, "Unknown", 0, 2},     {"RUNNING", 0, "Unknown", 0, 2},
};

template <class Device>
void expect_state(const Device& device, const StateCase& expected) {
  EXPECT_THAT(device.OperationalStatus.value(), ElementsAre(expected.operational));
  EXPECT_THAT(device.StatusDescriptions.value(), ElementsAre(expected.status));
  EXPECT_EQ(device.Status.value(), expected.status);
  EXPECT_LE(device.Status.value().size(), 10u);
  EXPECT_EQ(device.EnabledState.value(), expected.enabled);
  EXPECT_EQ(device.Availability.value(), expected.availability);
}

TEST(State, OfDrivesAndBusDevicesIsTheKernels) {
  for (const StateCase& one : kStateCases) {
    SCOPED_TRACE(one.state);
    auto disk = full_disk();
    disk.state = one.state;
    expect_state(*disk_drive(disk, "host"), one);
    inventory::BusDevice device;
    device.state = one.state;
    expect_state(*sys_bus_device(device, "host"), one);
  }
}

TEST(DiskDrive, CapabilitiesAndSecurityFollowTheMedium) {
  const auto with = [](bool removable, bool read_only) {
    auto disk = full_disk();
    disk.removable = removable;
    disk.read_only = read_only;
    return disk_drive(disk, "host");
  };
  EXPECT_THAT(with(true, false)->Capabilities.value(), ElementsAre(3, 4, 7));
  EXPECT_THAT(with(false, true)->Capabilities.value(), ElementsAre(3));
  EXPECT_THAT(with(true, true)->Capabilities.value(), ElementsAre(3, 7));
  EXPECT_EQ(with(false, true)->Security.value(), 4);
  EXPECT_EQ(with(true, false)->Security.value(), 2);
}

TEST(DiskDrive, CaptionHasAtMostSixtyFourCharacters) {
  auto disk = full_disk();
  disk.vendor = "V";
  disk.model.clear();
  for (int i = 0; i < 1000; ++i) disk.model += "\u00fc";
  const auto instance = disk_drive(disk, "host");
  EXPECT_EQ(instance->Caption.value(), "V " + disk.model.substr(0, 124));
  EXPECT_EQ(instance->Description.value(), "V " + disk.model + " S229");
}

TEST(DiskDrive, IdentifyingTextsHaveAtMostTwoHundredFiftySixCharacters) {
  auto disk = full_disk();
  disk.world_wide_name = std::string(300, 'w');
  EXPECT_EQ(disk_drive(disk, "host")->OtherIdentifyingInfo.value()[1], std::string(256, 'w'));
}

TEST(DiskDrive, TheExactSizeStandsBesideTheRoundedOne) {
  auto disk = full_disk();
  disk.bytes = std::numeric_limits<std::uint64_t>::max();
  auto instance = disk_drive(disk, "host");
  EXPECT_EQ(instance->MaxMediaSize.value(), 18446744073709551u);
  EXPECT_EQ(instance->OtherIdentifyingInfo.value().back(), "18446744073709551615");
  disk.bytes = 0;
  instance = disk_drive(disk, "host");
  EXPECT_EQ(instance->MaxMediaSize.value(), 0u);
  EXPECT_EQ(instance->OtherIdentifyingInfo.value().back(), "0");
}

inventory::BusDevice full_bus_device() {
  inventory::BusDevice device;
  device.address = {8, 2, 13, 1};
  device.address_published = true;
  device.generic = "/dev/sg3";
  device.block = "/dev/sdc";
  device.vendor = "EXAMPLE";
  device.model = "Logical Volume";
  device.state = "running";
  return device;
}

TEST(SysBusDevice, PublishesEveryPropertyThatSysfsTells) {
  const auto device = sys_bus_device(full_bus_device(), "host");
  EXPECT_EQ(device->SystemCreationClassName.value(), "KAVRO_ComputerSystem");
  EXPECT_EQ(device->SystemName.value(), "host");
  EXPECT_EQ(device->CreationClassName.value(), "KAVRO_SysBusDevice");
  EXPECT_EQ(device->DeviceID.value(), "/dev/sg3");
  EXPECT_EQ(device->Name.value(), "/dev/sdc");
  EXPECT_EQ(device->ElementName.value(), "/dev/sdc");
  EXPECT_EQ(device->Caption.value(), "/dev/sdc");
  EXPECT_EQ(device->Description.value(), "EXAMPLE Logical Volume");
  EXPECT_THAT(device->OtherIdentifyingInfo.value(), ElementsAre("Port:8 Target:13 Bus:2 Lun:1"));
  EXPECT_THAT(device->IdentifyingDescriptions.value(), ElementsAre("SCSI Address"));
  EXPECT_THAT(published(*device),
              UnorderedElementsAre(
                  "Caption", "Description", "ElementName", "Name", "OperationalStatus",
                  "StatusDescriptions", "Status", "EnabledState", "RequestedState",
                  "EnabledDefault", "SystemCreationClassName", "SystemName", "CreationClassName",
                  "DeviceID", "Availability", "OtherIdentifyingInfo", "IdentifyingDescriptions"));
}

TEST(SysBusDevice, WithoutPublishedAddressTheAddressListIsNull) {
  auto facts = full_bus_device();
  facts.address_published = false;
  const auto device = sys_bus_device(facts, "host");
  EXPECT_TRUE(device->OtherIdentifyingInfo.null());
  EXPECT_TRUE(device->IdentifyingDescriptions.null());
}

TEST(SysBusDevice, IsNamedByWhatItHas) {
  auto facts = full_bus_device();
  facts.generic.clear();
  EXPECT_EQ(sys_bus_device(facts, "host")->DeviceID.value(), "/dev/sdc");
  EXPECT_EQ(sys_bus_device(facts, "host")->Name.value(), "/dev/sdc");
  facts.block.clear();
  EXPECT_EQ(sys_bus_device(facts, "host")->DeviceID.value(), "8:2:13:1");
  EXPECT_EQ(sys_bus_device(facts, "host")->Name.value(), "8:2:13:1");
  facts.generic = "/dev/sg3";
  EXPECT_EQ(sys_bus_device(facts, "host")->Name.value(), "/dev/sg3");
}

inventory::Machine full_machine() { return {"Maker", "Example Server 1", "1.0", "uuid", "serial"}; }

TEST(ComputerSystem, PublishesEveryPropertyThatIsKnown) {
  const auto system = computer_system(full_machine(), "host.example.org");
  EXPECT_EQ(system->CreationClassName.value(), "KAVRO_ComputerSystem");
  EXPECT_EQ(system->Name.value(), "host.example.org");
  EXPECT_EQ(system->NameFormat.value(), "IP");
  EXPECT_EQ(system->ElementName.value(), "host");
  EXPECT_EQ(system->Caption.value(), "Example Server 1");
  EXPECT_EQ(system->Description.value(), "Maker Example Server 1 1.0");
  EXPECT_THAT(system->OtherIdentifyingInfo.value(), ElementsAre("uuid", "serial"));
  EXPECT_THAT(system->IdentifyingDescriptions.value(),
              ElementsAre("DMI UUID", "DMI serial number"));
  EXPECT_THAT(system->Dedicated.value(), ElementsAre(0));
  EXPECT_EQ(system->ResetCapability.value(), 2);
  EXPECT_THAT(system->OperationalStatus.value(), ElementsAre(2));
  EXPECT_THAT(system->StatusDescriptions.value(), ElementsAre("OK"));
  EXPECT_EQ(system->Status.value(), "OK");
  EXPECT_EQ(system->EnabledState.value(), 2);
  EXPECT_EQ(system->RequestedState.value(), 12);
  EXPECT_EQ(system->EnabledDefault.value(), 2);
  EXPECT_THAT(published(*system),
              UnorderedElementsAre("Caption", "Description", "ElementName", "Name",
                                   "OperationalStatus", "StatusDescriptions", "Status",
                                   "EnabledState", "RequestedState", "EnabledDefault",
                                   "CreationClassName", "NameFormat", "OtherIdentifyingInfo",
                                   "IdentifyingDescriptions", "Dedicated", "ResetCapability"));
}

TEST(ComputerSystem, AShortNameIsOfAnotherFormat) {
  const auto system = computer_system(full_machine(), "host");
  EXPECT_EQ(system->NameFormat.value(), "Other");
  EXPECT_EQ(system->ElementName.value(), "host");
}

TEST(ComputerSystem, WithoutFirmwareTextsThesePropertiesAreNull) {
  const auto system = computer_system({}, "host");
  EXPECT_TRUE(system->Caption.null());
  EXPECT_TRUE(system->Description.null());
  EXPECT_TRUE(system->OtherIdentifyingInfo.null());
  EXPECT_TRUE(system->IdentifyingDescriptions.null());
}

TEST(ComputerSystem, PublishesWhatAnOrdinaryUserMayRead) {
  auto machine = full_machine();
  machine.uuid.clear();
  EXPECT_THAT(computer_system(machine, "host")->IdentifyingDescriptions.value(),
              ElementsAre("DMI serial number"));
}

}  // namespace
}  // namespace ovk_cimple
