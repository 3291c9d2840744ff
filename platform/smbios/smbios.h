// SMBIOS structures as the firmware left them, read from the kernel's copy of the table under
// /sys/firmware/dmi/tables (DSP0134; entry points of versions 2.1 and 3.x). The files are
// readable by root only. HVX_SYSFS_ROOT, when set, is put before that path.
//
// A handle may be used by one thread at a time; different handles are independent.
#pragma once

#include <cstdint>

#define HVX_SMBIOS_EXPORT __attribute__((visibility("default")))

namespace NKVRHVX20 {

struct TStatus {
  std::int32_t fCode;  // 0 is success
};

}  // namespace NKVRHVX20

enum SmBiosError : std::int32_t {
  SmbiosOk = 0,
  SmbiosUnreadable = 1,     // there is no table, or it may not be read
  SmbiosBadEntryPoint = 2,  // neither version's anchor, or a wrong length or checksum
  SmbiosBadTable = 3,       // truncated, or a structure runs past the table's end
  SmbiosNotFound = 4,       // no structure of that type
  SmbiosTooLarge = 5,       // the structure does not fit into the buffer
  SmbiosBadArgument = 6,    // no handle, no buffer, no size
  SmbiosNoMemory = 7,
};

struct SmBiosTable;
using SmBiosHandle = SmBiosTable*;

// Reads the table into memory; the caller closes the handle. pluginManager is not used and may
// be null. On failure the handle is null.
HVX_SMBIOS_EXPORT NKVRHVX20::TStatus smBiosLoad(void* plugin_manager, SmBiosHandle* handle);

// Copies the first structure of that type into the buffer: the formatted area followed by the
// string set with both final NULs. size holds the buffer's size in bytes and, afterwards, the
// bytes delivered. The structure's length byte (offset 1) is at most the delivered size - 2.
HVX_SMBIOS_EXPORT NKVRHVX20::TStatus smBiosGetFirst(SmBiosHandle handle, std::uint8_t type,
                                                    void* buffer, std::int32_t* size);

// Releases the table and sets the handle to null; a null handle is allowed.
HVX_SMBIOS_EXPORT NKVRHVX20::TStatus smBiosClose(SmBiosHandle* handle);
