#include "inventory/device_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace inventory {
namespace {

TEST(Cleaned, TakesThePaddingAway) {
  EXPECT_EQ(cleaned("  EXAMPLE DISK-75N  \n"), "EXAMPLE DISK-75N");
  EXPECT_EQ(cleaned(""), "");
  EXPECT_EQ(cleaned(" \n\t "), "");
}

TEST(Cleaned, TurnsControlCharactersIntoBlanks) {
  EXPECT_EQ(cleaned(std::string_view("a\nb\x1b[31mc\x7f"
                                     "d\0e\xc2\x85"
                                     "f",
                                     16)),
            "a b [31mc d e f");
}

TEST(Cleaned, KeepsValidUtf8) {
  for (const char* text : {"M\u00fcller", "\u0800", "\ud7ff", "\uffff", "\U0010ffff", "\u00a0x"})
    EXPECT_EQ(cleaned(text), text);
}

TEST(Cleaned, ReplacesEveryByteThatIsNoUtf8) {
  EXPECT_EQ(cleaned("a\xff"
                    "b"),
            "a\ufffdb");
  EXPECT_EQ(cleaned("\xc0\xaf"), "\ufffd\ufffd") << "overlong";
  EXPECT_EQ(cleaned("\xe0\x9f\xbf"), "\ufffd\ufffd\ufffd") << "overlong";
  EXPECT_EQ(cleaned("\xed\xa0\x80"), "\ufffd\ufffd\ufffd") << "surrogate";
  EXPECT_EQ(cleaned("\xf4\x90\x80\x80"), "\ufffd\ufffd\ufffd\ufffd") << "past U+10FFFF";
  EXPECT_EQ(cleaned("\xe2\x82"), "\ufffd\ufffd") << "ends in the middle";
}

TEST(Cut, CountsCharactersAndNeverEndsInTheMiddleOfOne) {
  std::string umlauts;
  for (int i = 0; i < 100; ++i) umlauts += "\u00fc";
  EXPECT_EQ(cut(umlauts, 64), umlauts.substr(0, 128));
  EXPECT_EQ(cut(umlauts, 100), umlauts);
  EXPECT_EQ(cut(std::string(64, 'x'), 64), std::string(64, 'x'));
  EXPECT_EQ(cut(std::string(65, 'x'), 64), std::string(64, 'x'));
  EXPECT_EQ(cut("abc def", 4), "abc") << "no blank at the end";
  EXPECT_EQ(cut("", 64), "");
}

TEST(Joined, LeavesEmptyTextsOut) {
  EXPECT_EQ(joined({"a", "b", "c"}), "a b c");
  EXPECT_EQ(joined({"", "b", ""}), "b");
  EXPECT_EQ(joined({"", ""}), "");
}

TEST(DeviceName, HoldsNothingThatAShellWouldRead) {
  for (const char* name : {"/dev/sda", "/dev/cciss/c0d0", "/dev/nvme0n1", "/dev/a_b.c-d"})
    EXPECT_TRUE(is_device_name(name)) << name;
  for (const char* name : {"", "/dev/sd a", "/dev/sda;reboot", "/dev/$(id)", "/dev/`id`",
                           "/dev/sda\n", "/dev/s\u00fc", "/dev/a|b", "/dev/a&b", "/dev/a>b"})
    EXPECT_FALSE(is_device_name(name)) << name;
  EXPECT_TRUE(is_device_name("/dev/" + std::string(59, 'x')));
  EXPECT_FALSE(is_device_name("/dev/" + std::string(60, 'x'))) << "longer than an identifier";
}

TEST(NaturalOrder, IsThatOfPeople) {
  const std::vector<std::string> expected = {
      "mmcblk0", "mmcblk1", "nvme0n1", "nvme0n2", "nvme0n10", "nvme2n1", "nvme10n1", "sda", "sdb",
      "sdz",     "sdaa",    "sdab",    "sdzz",    "sdaaa",    "vda",     "vdz",      "vdaa"};
  std::vector<std::string> names = expected;
  std::sort(names.begin(), names.end());
  ASSERT_NE(names, expected);
  std::sort(names.begin(), names.end(), [](const std::string& left, const std::string& right) {
    return natural_key(left) < natural_key(right);
  });
  EXPECT_EQ(names, expected);
}

TEST(NaturalOrder, TakesTheLongestAndTheOddestNames) {
  EXPECT_LT(natural_key(std::string(254, 'a')), natural_key(std::string(255, 'a')));
  EXPECT_LT(natural_key("x" + std::string(200, '9')), natural_key("x1" + std::string(200, '0')));
  EXPECT_LT(natural_key("c0d2"), natural_key("c0d10"));
  EXPECT_EQ(natural_key(""), "");
  EXPECT_LT(natural_key("a000"), natural_key("a1"));
}

}  // namespace
}  // namespace inventory
