// The machine type from recorded SMBIOS tables, against the product name that the kernel of the
// same machine gave: a folder per machine holds DMI.bin and smbios_entry_point.bin, the kernel's
// files, and dmi-id.out with "product_name=[...]".
//
// The machines are those beside this file; a program without HDDTEST_MACHINES takes them from the
// directory that HDDTEST_RECORDS names.
#include <gtest/gtest.h>

#include <cstdlib>

#include "discovery/machinetype.h"
#include "inventory/recorded_machine.h"
#include "platform/smbios/test_table.h"

namespace {

// Read by hand: behind the first hyphen and one more character, else the front of a bare number.
std::string machine_type_of(const std::string& product_name) {
  std::size_t hyphens = 0;
  std::string type;
  for (const char c : product_name) {
    if (hyphens > 1 && type.size() < 4) type += c;
    if (hyphens > 0 || c == '-') ++hyphens;
  }
  return hyphens == 0 && product_name.size() == 7 ? product_name.substr(0, 4) : type;
}

smbios::Table bytes(const std::filesystem::path& file) {
  const std::string text = inventory::read(file);
  return {text.begin(), text.end()};
}

TEST(RecordedTables, GiveTheMachineTypeOfTheKernelsProductName) {
#ifdef HDDTEST_MACHINES
  const std::filesystem::path machines = HDDTEST_MACHINES;
#else
  const std::filesystem::path machines = std::getenv("HDDTEST_RECORDS");
#endif
  int tables = 0, found = 0;
  for (const auto& folder : std::filesystem::directory_iterator(machines)) {
    if (!exists(folder.path() / "DMI.bin")) continue;
    SCOPED_TRACE(folder.path().filename());
    ++tables;
    const smbios::TestRoot root;
    root.write(bytes(folder.path() / "smbios_entry_point.bin"), bytes(folder.path() / "DMI.bin"));
    const std::string name = inventory::between(inventory::read(folder.path() / "dmi-id.out"),
                                                "\nproduct_name=[", "]\n");
    std::string type = "before";
    EXPECT_EQ(GetMachineType(&type).fCode, 3);
    EXPECT_EQ(type, machine_type_of(name)) << name;
    found += type.size() == 4;
  }
#ifdef HDDTEST_MACHINES
  EXPECT_EQ(tables, 2);
  EXPECT_EQ(found, 2);
#else
  EXPECT_GE(tables, 4);
#endif
}

}  // namespace
