#include "discovery/machinetype.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "platform/smbios/test_table.h"

namespace {

using smbios::entry_point_2;
using smbios::joined;
using smbios::structure;
using smbios::system_information;
using smbios::Table;

const Table kEndMark = structure(127, "", std::string(2, '\0'));

std::vector<std::string> split(std::string text, char separator = '\0') {
  return MultiStringTok(text.data(), text.size(), separator);
}

TEST(MultiStringTok, DeliversOnlyTokensThatEndBeforeTheEndMark) {
  // The length counts up to the double NUL: the last string's terminator lies at the mark.
  EXPECT_EQ(split(std::string("one\0two\0three\0\0", 15)),
            (std::vector<std::string>{"one", "two"}));
  EXPECT_EQ(split(std::string("one\0two\0three\0\0\0", 16)),
            (std::vector<std::string>{"one", "two", "three"}));
}

TEST(MultiStringTok, AnEmptyStringInsideTheSetKeepsTheNumbering) {
  EXPECT_EQ(split(std::string("one\0\0three\0four\0\0", 17)),
            (std::vector<std::string>{"one", "", "three"}));
}

TEST(MultiStringTok, TheSeparatorCountsForTheFirstTokenOnly) {
  EXPECT_EQ(split(std::string("a,b,c\0d,e\0\0\0", 12), ','),
            (std::vector<std::string>{"a", "b,c", "d,e"}));
}

TEST(MultiStringTok, TextsWithoutRoomForATokenGiveNone) {
  for (const std::size_t length : {0u, 1u, 2u, 3u})
    EXPECT_TRUE(split(std::string(length, 'x')).empty()) << length;
  EXPECT_TRUE(split(std::string(2, '\0')).empty());
  EXPECT_EQ(split(std::string(3, '\0')), std::vector<std::string>{""});
}

class MachineType : public testing::Test {
 protected:
  std::string of(const Table& table, std::size_t structures = 2) {
    root_.write(entry_point_2(table.size(), structures), table);
    std::string type = "before";
    EXPECT_EQ(GetMachineType(&type).fCode, 3);
    return type;
  }
  std::string of_product(const std::string& name) {
    // A string behind it, since the last of the set is never delivered.
    return of(joined({system_information(2, {"Maker", name, "Version"}), kEndMark}));
  }
  smbios::TestRoot root_;
};

TEST_F(MachineType, FourCharactersBehindTheHyphenAndTheBracket) {
  EXPECT_EQ(of_product("System Model -[AAAAB2C]-"), "AAAA");
  EXPECT_EQ(of_product("AB-[1234XYZ]-"), "1234");
  EXPECT_EQ(of_product("AB-[12"), "12");
  EXPECT_EQ(of_product("AB-["), "");
}

TEST_F(MachineType, FirstFourOfSevenCharacters) {
  EXPECT_EQ(of_product("1234XYZ"), "1234");
  EXPECT_EQ(of_product("ABCDEFGH"), "");
  EXPECT_EQ(of_product("ABCDEF"), "");
}

TEST_F(MachineType, AHyphenAtTheVeryEndIsOutOfRange) {
  EXPECT_THROW(of_product("ABC-"), std::out_of_range);
}

TEST_F(MachineType, NoProductNameGivesZeros) {
  EXPECT_EQ(of(joined({system_information(0, {"Maker", "1234XYZ", "V"}), kEndMark})), "0000");
  EXPECT_EQ(of(joined({system_information(9, {"Maker", "1234XYZ", "V"}), kEndMark})), "0000");
  // The last string of the set.
  EXPECT_EQ(of(joined({system_information(2, {"Maker", "1234XYZ"}), kEndMark})), "0000");
}

TEST_F(MachineType, UnreadableStructureGivesZeros) {
  EXPECT_EQ(of(joined({kEndMark}), 1), "0000");
  EXPECT_EQ(of(joined({system_information(1, {std::string(2000, 'x'), "V"}), kEndMark})), "0000");
}

TEST_F(MachineType, WithoutSmBiosTheStringIsLeftAlone) {
  std::string type = "before";
  EXPECT_EQ(GetMachineType(&type).fCode, 3);
  EXPECT_EQ(type, "before");
}

TEST_F(MachineType, AStructureShorterThanTheHeaderIsReadWithinTheBuffer) {
  // 8 formatted bytes: product name number 1.
  const Table small = structure(1, std::string("\0\1\0\0", 4), std::string("1234XYZ\0V\0\0", 11));
  EXPECT_EQ(of(joined({small, kEndMark})), "1234");
}

}  // namespace
