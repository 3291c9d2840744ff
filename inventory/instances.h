// The CIM instances of the inventory, built from what was read. Pure functions; every instance
// is new and the caller's. A property that is not set is null.
//
// What the schema has no property for stands in OtherIdentifyingInfo, each element with its
// meaning at the same place of IdentifyingDescriptions; what is unknown is left out:
//
//   drive        "Serial Number"
//                "WWN"
//                "SCSI Address"    H:C:T:L
//                "Connection"      a word for people (drive_connection.h)
//                "Size in bytes"   decimal; exact, which MaxMediaSize (in units of 1000) is not
//   bus device   "SCSI Address"    "Port:H Target:T Bus:C Lun:L"; always the first
//   computer     "DMI UUID"
//                "DMI serial number"
//
// A drive's vendor and model are its Caption.
#pragma once

#include "inventory/bus_device.h"
#include "inventory/disk.h"
#include "inventory/machine.h"
#include "model/KAVRO_ComputerSystem.h"
#include "model/KAVRO_DiskDrive.h"
#include "model/KAVRO_SysBusDevice.h"

namespace ovk_cimple {

// system_name is the Name of the computer system that the device belongs to.
Ref<KAVRO_DiskDrive> disk_drive(const inventory::Disk& disk, const String& system_name);
Ref<KAVRO_SysBusDevice> sys_bus_device(const inventory::BusDevice& device,
                                       const String& system_name);
Ref<KAVRO_ComputerSystem> computer_system(const inventory::Machine& machine, const String& name);

}  // namespace ovk_cimple
