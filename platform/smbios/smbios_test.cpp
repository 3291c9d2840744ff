#include "platform/smbios/smbios.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <utility>

#include "platform/smbios/smbios_table.h"
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

const Table kBios = structure(0, std::string(14, '\1'), std::string("Maker\0V1\0\0", 10));
const Table kEndMark = structure(127, "", std::string(2, '\0'));

class SmBios : public testing::Test {
 protected:
  // Loads what the root holds and asks for a type; the code of the step that failed.
  std::int32_t read(std::uint8_t type, std::size_t room = 1024) {
    SmBiosHandle handle = nullptr;
    const std::int32_t loaded = smBiosLoad(nullptr, &handle).fCode;
    EXPECT_EQ(handle == nullptr, loaded != 0);
    if (loaded) return loaded;
    delivered_.assign(room, 0xee);
    auto size = static_cast<std::int32_t>(room);
    const std::int32_t code = smBiosGetFirst(handle, type, delivered_.data(), &size).fCode;
    if (code == 0) delivered_.resize(static_cast<std::size_t>(size));
    EXPECT_EQ(smBiosClose(&handle).fCode, 0);
    EXPECT_EQ(handle, nullptr);
    return code;
  }
  void write_version_2(const Table& table, std::size_t structures) {
    root_.write(entry_point_2(table.size(), structures), table);
  }
  TestRoot root_;
  Table delivered_;
};

TEST_F(SmBios, DeliversTheFirstStructureOfATypeWithItsStringSetAndBothNuls) {
  const Table first = system_information(1, {"First"}), second = system_information(1, {"Second"});
  const Table table = joined({kBios, first, second, kEndMark});
  write_version_2(table, 4);
  EXPECT_EQ(read(1), SmbiosOk);
  EXPECT_EQ(delivered_, first);
  root_.write(entry_point_3(4096), table);
  EXPECT_EQ(read(1), SmbiosOk);
  EXPECT_EQ(delivered_, first);
}

TEST_F(SmBios, AStructureWithoutStringsEndsWithTwoNuls) {
  write_version_2(joined({kBios, system_information(0, {}), kEndMark}), 3);
  EXPECT_EQ(read(1), SmbiosOk);
  EXPECT_EQ(delivered_.size(), 27u + 2);
  EXPECT_LE(delivered_[1], delivered_.size() - 2);
}

TEST_F(SmBios, NoTableAtAll) { EXPECT_EQ(read(1), SmbiosUnreadable); }

TEST_F(SmBios, TypeThatIsNotThere) {
  write_version_2(joined({kBios, kEndMark}), 2);
  EXPECT_EQ(read(1), SmbiosNotFound);
  root_.write(entry_point_3(4096), kBios);  // without an end mark: the bytes end it
  EXPECT_EQ(read(1), SmbiosNotFound);
}

TEST_F(SmBios, NothingBehindTheEndMarkOrTheCountIsLookedAt) {
  const Table table = joined({kBios, kEndMark, system_information(1, {"Ghost"})});
  root_.write(entry_point_3(4096), table);
  EXPECT_EQ(read(1), SmbiosNotFound);
  write_version_2(joined({kBios, system_information(1, {"Ghost"})}), 1);
  EXPECT_EQ(read(1), SmbiosNotFound);
}

TEST_F(SmBios, BufferOfExactlyTheSizeAndOneByteLess) {
  const Table wanted = system_information(1, {"Model"});
  write_version_2(joined({wanted, kEndMark}), 2);
  EXPECT_EQ(read(1, wanted.size()), SmbiosOk);
  EXPECT_EQ(read(1, wanted.size() - 1), SmbiosTooLarge);
  EXPECT_EQ(delivered_, Table(wanted.size() - 1, 0xee));
}

TEST_F(SmBios, EveryCutOfTheTableIsRefusedOrEndsBeforeTheStructure) {
  const Table table = joined({kBios, system_information(1, {"Model"})});
  for (std::size_t size = 1; size < table.size(); ++size) {
    const Table cut(table.begin(), table.begin() + static_cast<std::ptrdiff_t>(size));
    root_.write(entry_point_2(table.size(), 2), cut);
    EXPECT_EQ(read(1), SmbiosBadTable) << size;
    write_version_2(cut, 2);
    EXPECT_EQ(read(1), SmbiosBadTable) << size;
    root_.write(entry_point_3(4096), cut);
    EXPECT_EQ(read(1), size == kBios.size() ? SmbiosNotFound : SmbiosBadTable) << size;
  }
}

TEST_F(SmBios, ATableThatDoesNotSayHowManyStructuresItHasIsReadToItsEndAndNoFurther) {
  const Table wanted = system_information(1, {"Model"});
  const Table table = joined({kBios, wanted});
  root_.write(entry_point_2(table.size(), 0),
              joined({table, structure(2, "", std::string(2, '\0'))}));
  EXPECT_EQ(read(1), SmbiosOk);
  EXPECT_EQ(delivered_, wanted);
  EXPECT_EQ(read(2), SmbiosNotFound);
  for (std::size_t size = 1; size < table.size(); ++size) {
    root_.write(entry_point_2(table.size(), 0),
                Table(table.begin(), table.begin() + static_cast<std::ptrdiff_t>(size)));
    EXPECT_EQ(read(0), SmbiosBadTable) << size;
  }
}

TEST_F(SmBios, ATableIsNotReadPastTheMostThatItMayBe) {
  const Table wanted = system_information(1, {"Model"});
  const Table table = joined({kBios, wanted});
  const std::size_t longest = table.size();
  for (const auto& [most, code] : {std::pair{longest + 1, SmbiosOk},
                                   {longest, SmbiosOk},
                                   {longest - 1, SmbiosBadTable},
                                   {kBios.size(), SmbiosNotFound},
                                   {std::size_t{0}, SmbiosNotFound}}) {
    root_.write(entry_point_3(most), table);
    EXPECT_EQ(read(1), code) << most;
  }
}

TEST_F(SmBios, FilesOfMoreThanSixteenMegabytesAreNotRead) {
  constexpr std::size_t kMost = std::size_t{16} << 20;
  Table table = joined({system_information(1, {"Model"}), kEndMark});
  for (const auto& [size, code] : {std::pair{kMost, SmbiosOk}, {kMost + 1, SmbiosUnreadable}}) {
    table.resize(size);
    root_.write(entry_point_3(kMost), table);
    EXPECT_EQ(read(1), code) << size;
  }
}

TEST_F(SmBios, WithoutMemoryNothingIsLoaded) {
  write_version_2(joined({system_information(1, {"Model"}), kEndMark}), 2);
  missing_size = 65536;  // the first piece of a file
  SmBiosHandle handle = nullptr;
  const std::int32_t code = smBiosLoad(nullptr, &handle).fCode;
  missing_size = 0;
  EXPECT_EQ(code, SmbiosNoMemory);
  EXPECT_EQ(handle, nullptr);
  EXPECT_EQ(read(1), SmbiosOk);
}

TEST_F(SmBios, LengthByteThatLies) {
  for (const int length : {0, 3, 200, 255}) {
    Table lying = system_information(1, {"Model"});
    lying[1] = static_cast<std::uint8_t>(length);
    write_version_2(lying, 1);
    EXPECT_EQ(read(1), SmbiosBadTable) << length;
  }
}

TEST_F(SmBios, EntryPointWithEachByteChangedIsRefusedWhereItIsChecked) {
  const Table table = joined({system_information(1, {"Model"}), kEndMark});
  for (const Table& good : {entry_point_2(table.size(), 2), entry_point_3(table.size())}) {
    for (std::size_t i = 0; i < good.size(); ++i) {
      Table bad = good;
      bad[i] ^= 0x40;
      root_.write(bad, table);
      EXPECT_EQ(read(1), SmbiosBadEntryPoint) << i;
    }
    for (std::size_t size = 1; size < good.size(); ++size) {
      root_.write(Table(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)), table);
      EXPECT_EQ(read(1), SmbiosBadEntryPoint) << size;
    }
  }
}

TEST_F(SmBios, LengthOfTheFirstEditionIsAccepted) {
  const Table table = joined({system_information(1, {"Model"}), kEndMark});
  Table entry = entry_point_2(table.size(), 2);
  entry[5] = 0x1e;
  set_checksum(entry, 0, 0x1e, 0x04);
  root_.write(entry, table);
  EXPECT_EQ(read(1), SmbiosOk);
}

// The kernel shows as many bytes as the entry point says that it has. Its inner checksum covers one
// more, which holds the revision or 0.
TEST_F(SmBios, AnEntryPointOfThirtyBytesIsRead) {
  const Table table = joined({system_information(1, {"Model"}), kEndMark});
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
    root_.write(good, table);
    EXPECT_EQ(read(1), SmbiosOk) << revision;
    for (std::size_t i = 0; i < good.size(); ++i) {
      Table bad = good;
      bad[i] ^= 0x40;
      root_.write(bad, table);
      EXPECT_EQ(read(1), SmbiosBadEntryPoint) << i;
    }
  }
  root_.write(entry_with(0x33), table);
  EXPECT_EQ(read(1), SmbiosBadEntryPoint);
  Table longer = entry_with(0);
  longer[5] = 0x1f;  // which it has not
  set_checksum(longer, 0, 0x1e, 0x04);
  root_.write(longer, table);
  EXPECT_EQ(read(1), SmbiosBadEntryPoint);
}

TEST_F(SmBios, TheInnerPartOfAnEntryPointHasAChecksumOfItsOwn) {
  const Table table = joined({system_information(1, {"Model"}), kEndMark});
  for (const std::size_t size : {0x1e, 0x1f}) {
    Table entry = entry_point_2(table.size(), 2);
    entry[5] = static_cast<std::uint8_t>(size);
    entry[0x15] ^= 0x40;
    set_checksum(entry, 0, size, 0x04);
    entry.resize(size);
    root_.write(entry, table);
    EXPECT_EQ(read(1), SmbiosBadEntryPoint) << size;
  }
}

TEST_F(SmBios, MissingArgumentsAreRefused) {
  write_version_2(joined({kBios, kEndMark}), 2);
  SmBiosHandle handle = nullptr;
  char buffer[64];
  std::int32_t size = sizeof buffer;
  EXPECT_EQ(smBiosLoad(nullptr, nullptr).fCode, SmbiosBadArgument);
  EXPECT_EQ(smBiosGetFirst(nullptr, 0, buffer, &size).fCode, SmbiosBadArgument);
  ASSERT_EQ(smBiosLoad(nullptr, &handle).fCode, SmbiosOk);
  EXPECT_EQ(smBiosGetFirst(handle, 0, nullptr, &size).fCode, SmbiosBadArgument);
  EXPECT_EQ(smBiosGetFirst(handle, 0, buffer, nullptr).fCode, SmbiosBadArgument);
  size = -1;
  EXPECT_EQ(smBiosGetFirst(handle, 0, buffer, &size).fCode, SmbiosTooLarge);
  EXPECT_EQ(smBiosClose(nullptr).fCode, SmbiosBadArgument);
  EXPECT_EQ(smBiosClose(&handle).fCode, SmbiosOk);
  EXPECT_EQ(smBiosClose(&handle).fCode, SmbiosOk);
}

}  // namespace
}  // namespace smbios
