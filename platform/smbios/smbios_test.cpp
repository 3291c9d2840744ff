#include "platform/smbios/smbios.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/smbios/table.h"
#include "platform/smbios/test_table.h"
#include "tests/replaced_memory.h"

// A piece of some size may be missing.
namespace {
std::size_t missing_size = 0;  // 0: none
}
static void* allocate(std::size_t size) {
  return size == missing_size ? nullptr : std::malloc(size);
}

namespace smbios {
namespace {

const Table bios = structure(0, std::string(14, '\1'), std::string("Maker\0V1\0\0", 10));
const Table end_mark = structure(127, "", std::string(2, '\0'));

class SmBios : public testing::Test {
 protected:
  // Loads what the root holds and asks for a type; the code of the step that failed.
  std::int32_t read(std::uint8_t type, std::size_t room = 1024) {
    SmBiosHandle handle = nullptr;
    const std::int32_t loaded = smBiosLoad(nullptr, &handle).fCode;
    EXPECT_EQ(handle == nullptr, loaded != 0);
    if (loaded) return loaded;
    delivered.assign(room, 0xee);
    auto size = static_cast<std::int32_t>(room);
    const std::int32_t code = smBiosGetFirst(handle, type, delivered.data(), &size).fCode;
    if (code == 0) delivered.resize(static_cast<std::size_t>(size));
    EXPECT_EQ(smBiosClose(&handle).fCode, 0);
    EXPECT_EQ(handle, nullptr);
    return code;
  }
  void write_version_2(const Table& table, std::size_t structures) {
    root.write(entry_point_2(table.size(), structures), table);
  }
  TestRoot root;
  Table delivered;
};

TEST_F(SmBios, DeliversTheFirstStructureOfATypeWithItsStringSetAndBothNuls) {
  const Table first = system_information(1, {"First"}), second = system_information(1, {"Second"});
  const Table table = joined({bios, first, second, end_mark});
  write_version_2(table, 4);
  EXPECT_EQ(read(1), SMBIOS_OK);
  EXPECT_EQ(delivered, first);
  root.write(entry_point_3(4096), table);
  EXPECT_EQ(read(1), SMBIOS_OK);
  EXPECT_EQ(delivered, first);
}

TEST_F(SmBios, AStructureWithoutStringsEndsWithTwoNuls) {
  write_version_2(joined({bios, system_information(0, {}), end_mark}), 3);
  EXPECT_EQ(read(1), SMBIOS_OK);
  EXPECT_EQ(delivered.size(), 27u + 2);
  EXPECT_LE(delivered[1], delivered.size() - 2);
}

TEST_F(SmBios, NoTableAtAll) { EXPECT_EQ(read(1), SMBIOS_UNREADABLE); }

TEST_F(SmBios, TypeThatIsNotThere) {
  write_version_2(joined({bios, end_mark}), 2);
  EXPECT_EQ(read(1), SMBIOS_NOT_FOUND);
  root.write(entry_point_3(4096), bios);  // without an end mark: the bytes end it
  EXPECT_EQ(read(1), SMBIOS_NOT_FOUND);
}

TEST_F(SmBios, NothingBehindTheEndMarkOrTheCountIsLookedAt) {
  const Table table = joined({bios, end_mark, system_information(1, {"Ghost"})});
  root.write(entry_point_3(4096), table);
  EXPECT_EQ(read(1), SMBIOS_NOT_FOUND);
  write_version_2(joined({bios, system_information(1, {"Ghost"})}), 1);
  EXPECT_EQ(read(1), SMBIOS_NOT_FOUND);
}

TEST_F(SmBios, BufferOfExactlyTheSizeAndOneByteLess) {
  const Table wanted = system_information(1, {"Model"});
  write_version_2(joined({wanted, end_mark}), 2);
  EXPECT_EQ(read(1, wanted.size()), SMBIOS_OK);
  EXPECT_EQ(read(1, wanted.size() - 1), SMBIOS_TOO_LARGE);
  EXPECT_EQ(delivered, Table(wanted.size() - 1, 0xee));
}

TEST_F(SmBios, EveryCutOfTheTableIsRefusedOrEndsBeforeTheStructure) {
  const Table table = joined({bios, system_information(1, {"Model"})});
  for (std::size_t size = 1; size < table.size(); ++size) {
    const Table cut(table.begin(), table.begin() + static_cast<std::ptrdiff_t>(size));
    root.write(entry_point_2(table.size(), 2), cut);
    EXPECT_EQ(read(1), SMBIOS_BAD_TABLE) << size;
    write_version_2(cut, 2);
    EXPECT_EQ(read(1), SMBIOS_BAD_TABLE) << size;
    root.write(entry_point_3(4096), cut);
    EXPECT_EQ(read(1), size == bios.size() ? SMBIOS_NOT_FOUND : SMBIOS_BAD_TABLE) << size;
  }
}

TEST_F(SmBios, ATableThatDoesNotSayHowManyStructuresItHasIsReadToItsEndAndNoFurther) {
  const Table wanted = system_information(1, {"Model"});
  const Table table = joined({bios, wanted});
  root.write(entry_point_2(table.size(), 0),
             joined({table, structure(2, "", std::string(2, '\0'))}));
  EXPECT_EQ(read(1), SMBIOS_OK);
  EXPECT_EQ(delivered, wanted);
  EXPECT_EQ(read(2), SMBIOS_NOT_FOUND);
  for (std::size_t size = 1; size < table.size(); ++size) {
    root.write(entry_point_2(table.size(), 0),
               Table(table.begin(), table.begin() + static_cast<std::ptrdiff_t>(size)));
    EXPECT_EQ(read(0), SMBIOS_BAD_TABLE) << size;
  }
}

TEST_F(SmBios, ATableIsNotReadPastTheMostThatItMayBe) {
  const Table wanted = system_information(1, {"Model"});
  const Table table = joined({bios, wanted});
  const std::size_t longest = table.size();
  for (const auto& [most, code] : {std::pair{longest + 1, SMBIOS_OK},
                                   {longest, SMBIOS_OK},
                                   {longest - 1, SMBIOS_BAD_TABLE},
                                   {bios.size(), SMBIOS_NOT_FOUND},
                                   {std::size_t{0}, SMBIOS_NOT_FOUND}}) {
    root.write(entry_point_3(most), table);
    EXPECT_EQ(read(1), code) << most;
  }
}

TEST_F(SmBios, FilesOfMoreThanSixteenMegabytesAreNotRead) {
  constexpr std::size_t most = std::size_t{16} << 20;
  Table table = joined({system_information(1, {"Model"}), end_mark});
  for (const auto& [size, code] : {std::pair{most, SMBIOS_OK}, {most + 1, SMBIOS_UNREADABLE}}) {
    table.resize(size);
    root.write(entry_point_3(most), table);
    EXPECT_EQ(read(1), code) << size;
  }
}

TEST_F(SmBios, WithoutMemoryNothingIsLoaded) {
  write_version_2(joined({system_information(1, {"Model"}), end_mark}), 2);
  missing_size = 65536;  // the first piece of a file
  SmBiosHandle handle = nullptr;
  const std::int32_t code = smBiosLoad(nullptr, &handle).fCode;
  missing_size = 0;
  EXPECT_EQ(code, SMBIOS_NO_MEMORY);
  EXPECT_EQ(handle, nullptr);
  EXPECT_EQ(read(1), SMBIOS_OK);
}

TEST_F(SmBios, LengthByteThatLies) {
  for (const int length : {0, 3, 200, 255}) {
    Table lying = system_information(1, {"Model"});
    lying[1] = static_cast<std::uint8_t>(length);
    write_version_2(lying, 1);
    EXPECT_EQ(read(1), SMBIOS_BAD_TABLE) << length;
  }
}

TEST_F(SmBios, EntryPointWithEachByteChangedIsRefusedWhereItIsChecked) {
  const Table table = joined({system_information(1, {"Model"}), end_mark});
  for (const Table& good : {entry_point_2(table.size(), 2), entry_point_3(table.size())}) {
    for (std::size_t i = 0; i < good.size(); ++i) {
      Table bad = good;
      bad[i] ^= 0x40;
      root.write(bad, table);
      EXPECT_EQ(read(1), SMBIOS_BAD_ENTRY_POINT) << i;
    }
    for (std::size_t size = 1; size < good.size(); ++size) {
      root.write(Table(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)), table);
      EXPECT_EQ(read(1), SMBIOS_BAD_ENTRY_POINT) << size;
    }
  }
}

TEST_F(SmBios, LengthOfTheFirstEditionIsAccepted) {
  const Table table = joined({system_information(1, {"Model"}), end_mark});
  Table entry = entry_point_2(table.size(), 2);
  entry[5] = 0x1e;
  set_checksum(entry, 0, 0x1e, 0x04);
  root.write(entry, table);
  EXPECT_EQ(read(1), SMBIOS_OK);
}

// The kernel shows as many bytes as the entry point says that it has. Its inner checksum covers one
// more, which holds the revision or 0.
TEST_F(SmBios, AnEntryPointOfThirtyBytesIsRead) {
  const Table table = joined({system_information(1, {"Model"}), end_mark});
  const auto entry_with = [&](std::uint8_t revision) {
    Table entry = entry_point_2(table.size(), 2);
    entry[5] = 0x1e;
    entry[6] = 2;
    entry[7] = 1;
    entry[0x1e] = revision;
    set_checksum(entry, 0x10, 0x0f, 0x15);
    set_checksum(entry, 0, 0x1e, 0x04);
    entry.resize(0x1e);
    return entry;
  };
  for (const int revision : {0, 0x21}) {
    const Table good = entry_with(static_cast<std::uint8_t>(revision));
    root.write(good, table);
    EXPECT_EQ(read(1), SMBIOS_OK) << revision;
    for (std::size_t i = 0; i < good.size(); ++i) {
      Table bad = good;
      bad[i] ^= 0x40;
      root.write(bad, table);
      EXPECT_EQ(read(1), SMBIOS_BAD_ENTRY_POINT) << i;
    }
  }
  root.write(entry_with(0x33), table);
  EXPECT_EQ(read(1), SMBIOS_BAD_ENTRY_POINT);
  Table longer = entry_with(0);
  longer[5] = 0x1f;  // which it has not
  set_checksum(longer, 0, 0x1e, 0x04);
  root.write(longer, table);
  EXPECT_EQ(read(1), SMBIOS_BAD_ENTRY_POINT);
}

TEST_F(SmBios, TheInnerPartOfAnEntryPointHasAChecksumOfItsOwn) {
  const Table table = joined({system_information(1, {"Model"}), end_mark});
  for (const std::size_t size : {0x1e, 0x1f}) {
    Table entry = entry_point_2(table.size(), 2);
    entry[5] = static_cast<std::uint8_t>(size);
    entry[0x15] ^= 0x40;
    set_checksum(entry, 0, size, 0x04);
    entry.resize(size);
    root.write(entry, table);
    EXPECT_EQ(read(1), SMBIOS_BAD_ENTRY_POINT) << size;
  }
}

TEST_F(SmBios, MissingArgumentsAreRefused) {
  write_version_2(joined({bios, end_mark}), 2);
  SmBiosHandle handle = nullptr;
  char buffer[64];
  std::int32_t size = sizeof buffer;
  EXPECT_EQ(smBiosLoad(nullptr, nullptr).fCode, SMBIOS_BAD_ARGUMENT);
  EXPECT_EQ(smBiosGetFirst(nullptr, 0, buffer, &size).fCode, SMBIOS_BAD_ARGUMENT);
  ASSERT_EQ(smBiosLoad(nullptr, &handle).fCode, SMBIOS_OK);
  EXPECT_EQ(smBiosGetFirst(handle, 0, nullptr, &size).fCode, SMBIOS_BAD_ARGUMENT);
  EXPECT_EQ(smBiosGetFirst(handle, 0, buffer, nullptr).fCode, SMBIOS_BAD_ARGUMENT);
  size = -1;
  EXPECT_EQ(smBiosGetFirst(handle, 0, buffer, &size).fCode, SMBIOS_TOO_LARGE);
  EXPECT_EQ(smBiosClose(nullptr).fCode, SMBIOS_BAD_ARGUMENT);
  EXPECT_EQ(smBiosClose(&handle).fCode, SMBIOS_OK);
  EXPECT_EQ(smBiosClose(&handle).fCode, SMBIOS_OK);
}

}  // namespace
}  // namespace smbios
