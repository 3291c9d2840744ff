#include "platform/words.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(SameName, IsBlindToTheCaseOfAsciiAlone) {
  EXPECT_TRUE(same_name("DeviceID", "DEVICEid"));
  EXPECT_TRUE(same_name("", ""));
  EXPECT_FALSE(same_name("DeviceID", "DeviceI"));
  EXPECT_FALSE(same_name("@", "`"));  // as far apart as letters of the two cases
  EXPECT_FALSE(same_name("[", "{"));
  EXPECT_FALSE(same_name("\xC3\x84", "\xC3\xA4"));  // the letter A with dots, in both cases
}

TEST(Case, IsThatOfAsciiAlone) {
  EXPECT_EQ(lower("aZ@[\xC3\x84"), "az@[\xC3\x84");
  EXPECT_EQ(upper("zA`{\xC3\xA4"), "ZA`{\xC3\xA4");
}

TEST(OnlyDigits, AreDecimal) {
  EXPECT_TRUE(only_digits("0123456789"));
  EXPECT_TRUE(only_digits(""));
  for (const char* const text : {"1 ", "-1", "1.5", "0x1", "/", ":", "\xD9\xA1"})
    EXPECT_FALSE(only_digits(text)) << text;
}

TEST(HexadecimalValue, IsThatOfDigitsInBothCases) {
  for (int value = 0; value < 16; ++value) {
    EXPECT_EQ(hexadecimal_value("0123456789abcdef"[value]), value);
    EXPECT_EQ(hexadecimal_value("0123456789ABCDEF"[value]), value);
  }
  for (const char other : {'/', ':', '@', 'G', '`', 'g', ' ', '\0', '\xB1'})
    EXPECT_EQ(hexadecimal_value(other), -1) << other;
}

TEST(Trim, TakesBlanksFromBothEnds) {
  EXPECT_EQ(trim(" \ta b\r\n"), "a b");
  EXPECT_EQ(trim("a"), "a");
  EXPECT_EQ(trim(" \r\n "), "");
  EXPECT_EQ(trim(""), "");
  EXPECT_EQ(trim("\t a ", " "), "\t a");
}

TEST(TrimBegin, LeavesTheBlanksAtTheEnd) {
  EXPECT_EQ(trim_begin("\t\r\n a b "), "a b ");
  EXPECT_EQ(trim_begin("--a-", "-"), "a-");
  EXPECT_EQ(trim_begin(" \n"), "");
  EXPECT_EQ(trim_begin(""), "");
}

TEST(TrimEnd, LeavesTheBlanksInFront) {
  EXPECT_EQ(trim_end(" a b\r\n"), " a b");
  EXPECT_EQ(trim_end("a??", "?"), "a");
  EXPECT_EQ(trim_end(" \n"), "");
  EXPECT_EQ(trim_end(""), "");
}

TEST(TakeTo, TakesTheSeparatorToo) {
  std::string_view text = "a,,b";
  EXPECT_EQ(take_to(text, ','), "a");
  EXPECT_EQ(take_to(text, ','), "");
  EXPECT_EQ(text, "b");
  EXPECT_EQ(take_to(text, ','), "b");
  EXPECT_EQ(text, "");
  EXPECT_EQ(take_to(text, ','), "");
}

TEST(TakeWord, TakesTheBlanksOnBothSides) {
  std::string_view text = " one\t two ";
  EXPECT_EQ(take_word(text), "one");
  EXPECT_EQ(text, "two ");
  EXPECT_EQ(take_word(text), "two");
  EXPECT_EQ(text, "");
  EXPECT_EQ(take_word(text), "");
  EXPECT_EQ(text, "");
}

}  // namespace
}  // namespace platform
