// The firmware's SMBIOS tables: as bytes, then as the files that the kernel offers, through to the
// machine type. The input's first byte says how long the entry point is, which follows; the rest is
// the table.
#include "fuzz/target.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <stdexcept>

#include "discovery/machinetype.h"
#include "platform/smbios/smbios_table.h"
#include "tests/scratch_folder.h"

namespace {

namespace fs = std::filesystem;

smbios::Bytes bytes_of(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// Where the kernel's files are below a root of our own.
const fs::path& tables() {
  static const ScratchFolder scratch;
  static const fs::path folder = [] {
    setenv("HVX_SYSFS_ROOT", scratch.path().c_str(), 1);
    fs::path place = scratch.path() / "sys/firmware/dmi/tables";
    fs::create_directories(place);
    return place;
  }();
  return folder;
}

void write(const char* name, std::string_view text) {
  std::ofstream(tables() / name, std::ios::binary)
      .write(text.data(), static_cast<std::streamsize>(text.size()));
}

void find_in(std::string_view table, std::size_t structures) {
  for (const std::uint8_t type : {0, 1, 2, 4, 17, 127}) {
    const smbios::Found found = smbios::find_structure(bytes_of(table), structures, type);
    fuzz::require(found.error == SmbiosOk || found.structure.empty(), "what fails gives nothing");
    if (found.error != SmbiosOk) continue;
    const auto* const begin = bytes_of(table).data();
    const auto& structure = found.structure;
    fuzz::require(
        structure.data() >= begin && structure.data() + structure.size() <= begin + table.size(),
        "a structure lies in the table");
    fuzz::require(structure.size() >= 6 && structure[0] == type &&
                      structure[1] <= structure.size() - 2 &&
                      structure[structure.size() - 1] == 0 && structure[structure.size() - 2] == 0,
                  "a structure has type, length and both final NULs");
  }
}

// The system information as the files hold it; empty when there is none.
std::string system_information() {
  SmBiosHandle handle = nullptr;
  std::string structure;
  if (smBiosLoad(nullptr, &handle).fCode == SmbiosOk) {
    std::array<char, 1024> buffer{};
    std::int32_t size = buffer.size();
    if (smBiosGetFirst(handle, 1, buffer.data(), &size).fCode == SmbiosOk)
      structure.assign(buffer.data(), static_cast<std::size_t>(size));
  }
  fuzz::require(smBiosClose(&handle).fCode == SmbiosOk && !handle, "a table can be closed");
  return structure;
}

}  // namespace

void fuzz::read_input(std::string_view input) {
  if (input.empty()) return;
  const std::size_t length =
      std::min<std::size_t>(static_cast<unsigned char>(input.front()), input.size() - 1);
  const std::string_view entry_point = input.substr(1, length);
  const std::string_view table = input.substr(1 + length);
  const auto extent = smbios::read_entry_point(bytes_of(entry_point));
  find_in(table, 0);
  if (!extent) return;
  find_in(table.substr(0, extent->bytes), extent->structures);

  write("smbios_entry_point", entry_point);
  write("DMI", table);
  const std::string structure = system_information();
  // No finding, since it is kept on purpose: without system information the buffer is not released.
  if (structure.empty()) return;
  require(structure[0] == 1, "the system information was asked for");
  std::string type;
  try {
    GetMachineType(&type);
    require(type.size() <= 4, "a machine type has four characters");
  } catch (const std::out_of_range&) {
    // No finding, since it is kept on purpose: a product name whose only hyphen is its last
    // character makes the reading throw.
    require(structure.find(std::string("-") + '\0') != std::string::npos, "at a hyphen alone");
  }
}
