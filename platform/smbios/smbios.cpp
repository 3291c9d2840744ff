#include "platform/smbios/smbios.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "platform/descriptor.h"
#include "platform/smbios/smbios_table.h"

struct SmBiosTable {
  std::vector<std::uint8_t> bytes;
  std::size_t structures;
};

namespace {

using NKVRHVX20::TStatus;

// Far more than any machine has; the kernel's files say nothing of their size beforehand.
constexpr std::size_t kLargestFile = std::size_t{16} * 1024 * 1024;

// Empty when the file cannot be read or is larger than that.
std::vector<std::uint8_t> read_file(const char* name) {
  const char* root = std::getenv("HVX_SYSFS_ROOT");
  const std::string path = std::string(root ? root : "") + "/sys/firmware/dmi/tables/" + name;
  const platform::Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) return {};
  std::vector<std::uint8_t> bytes;
  std::size_t used = 0;
  ssize_t count = 1;
  while (count != 0 && used <= kLargestFile) {
    bytes.resize(used + 65536);
    count = read(file.get(), bytes.data() + used, bytes.size() - used);
    if (count < 0 && errno != EINTR) break;
    if (count > 0) used += static_cast<std::size_t>(count);
    if (count < 0) count = 1;  // interrupted: once more
  }
  bytes.resize(count == 0 ? used : 0);
  return bytes;
}

SmBiosError load(SmBiosHandle& handle) {
  const std::vector<std::uint8_t> entry_point = read_file("smbios_entry_point");
  std::vector<std::uint8_t> bytes = read_file("DMI");
  if (entry_point.empty() || bytes.empty()) return SmbiosUnreadable;
  const std::optional<smbios::Extent> extent = smbios::read_entry_point(entry_point);
  if (!extent) return SmbiosBadEntryPoint;
  if (extent->exact && bytes.size() < extent->bytes) return SmbiosBadTable;
  if (bytes.size() > extent->bytes) bytes.resize(extent->bytes);
  handle = new SmBiosTable{std::move(bytes), extent->structures};
  return SmbiosOk;
}

}  // namespace

TStatus smBiosLoad(void*, SmBiosHandle* handle) {
  if (!handle) return {SmbiosBadArgument};
  *handle = nullptr;
  try {
    return {load(*handle)};
  } catch (const std::bad_alloc&) {
    return {SmbiosNoMemory};
  }
}

TStatus smBiosGetFirst(SmBiosHandle handle, std::uint8_t type, void* buffer, std::int32_t* size) {
  if (!handle || !buffer || !size) return {SmbiosBadArgument};
  const smbios::Found found = smbios::find_structure(handle->bytes, handle->structures, type);
  if (found.error != SmbiosOk) return {found.error};
  if (*size < 0 || found.structure.size() > static_cast<std::size_t>(*size))
    return {SmbiosTooLarge};
  std::memcpy(buffer, found.structure.data(), found.structure.size());
  *size = static_cast<std::int32_t>(found.structure.size());
  return {SmbiosOk};
}

TStatus smBiosClose(SmBiosHandle* handle) {
  if (!handle) return {SmbiosBadArgument};
  delete *handle;
  *handle = nullptr;
  return {SmbiosOk};
}
