// What sysfs tells of whole disks.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "inventory/scsi.h"
#include "inventory/sysfs.h"

namespace inventory {

// Texts are cleaned (device_text.h) and empty when unknown.
struct Disk {
  std::string device;  // "/dev/sda"; fit for publishing
  std::string vendor;
  std::string model;
  std::string revision;
  std::string serial;
  std::string world_wide_name;
  std::string connection;                    // drive_connection.h
  std::string state;                         // the kernel's word: running, live, offline, ...
  std::optional<ScsiAddress> address;        // only when it is to be published
  std::optional<std::uint64_t> bytes;        // capacity; 0 for an empty bay
  std::optional<std::uint64_t> block_bytes;  // of a logical block
  bool removable = false;                    // the medium is
  bool read_only = false;
};

// Every whole disk in natural order: the entries of /sys/block with a device behind them that are
// neither hidden paths, nor floppies, nor SCSI devices of a type other than disk (0) and
// simplified disk (14). USB and RAID drives are among them. Left out is what has no name fit for
// publishing. Takes time in proportion to the number of drives.
std::vector<Disk> read_disks(const Sysfs& sysfs);

}  // namespace inventory
