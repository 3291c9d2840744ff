// Which drives there are, and where. The kernel is asked, and smartctl for the drives that the
// kernel shows only as a RAID controller's; neither wakes a drive.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/drive.h"
#include "drivetest/drive_access.h"
#include "drivetest/tool_output.h"

namespace drivetest {

struct FoundDrive {
  // As far as the kernel tells, which is all that a drive in standby lets one know. The model is
  // set only where the kernel has it whole, as of NVMe drives.
  Drive drive;
  // Of an NVMe drive: the name of its only namespace, which drives of one name are found by. It is
  // the drive's own where no second one may come, and only the drive tells that.
  std::string kernel_name;
  std::vector<Place> paths;        // other ways to the same drive
  std::vector<std::string> names;  // its nodes, and the links to them in /dev/disk/by-id
};

// Every drive once, in the natural order of their nodes: an NVMe drive by its controller, however
// many namespaces it has, and a drive on several host adapters by the first of its nodes. The tree
// below HVX_SYSFS_ROOT is read where that is set. `scan` is what smartctl --scan-open has printed
// as JSON. Without it no place has a -d type, and drives behind RAID controllers are missing.
std::vector<FoundDrive> find_drives(const ToolOutput& scan);

// The path that a user's name for a drive is, from the root on, without doubled slashes and such:
// one with a '/' may be relative to the folder. Empty: it is none. A serial number may have a '/',
// too, so that only what is there or begins with a '.' is a relative path.
std::string path_named(const std::string& name, const std::filesystem::path& folder);

// The place of what a user has named: a node or a link to one, the name of such a link, or a serial
// number; with a -d type, which may be one that the scan does not know. Relative paths begin in the
// working directory. A path that was not found is taken as it is, since only the type may make a
// drive of it. Not set: no drive has that name or number, or several have that number.
std::optional<Place> place_named(const std::vector<FoundDrive>& drives, const std::string& name,
                                 const std::string& type);

// Looks at all drives, several at once; in their order. What the kernel tells takes the place of
// what a drive in standby does not say of itself.
std::vector<Look> look_at(DriveAccess& access, const std::vector<FoundDrive>& drives, bool wake,
                          unsigned most_at_once = 8);

// Drives that must be asked who they are, because the kernel tells nothing of them (USB bridges,
// RAID controllers) or the same of two, or gives no name to one of several NVMe drives: it takes
// the name from the second drive that has it. One drive alone need not be asked. `looks` has the
// looks taken so far: what a drive said may be what the kernel tells of another.
std::vector<std::size_t> drives_in_doubt(const std::vector<FoundDrive>& drives,
                                         const std::vector<std::optional<Look>>& looks);

// Compares drives that claim one identity. If world wide name, serial number and size agree (of SAS
// drives without a serial number: a registered name and all that they say of themselves), they are
// paths to one drive: the better path, else the first, stays, and the other is removed from
// both lists. The others are returned; only their places tell them apart. Drives without a look are
// left alone.
std::vector<Drive> join_paths(std::vector<FoundDrive>& drives,
                              std::vector<std::optional<Look>>& looks);

}  // namespace drivetest
