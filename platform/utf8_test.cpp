#include "platform/utf8.h"

#include <gtest/gtest.h>

#include <vector>

namespace platform {
namespace {

// The characters of a text, and in place of each part that is none its length, negative.
std::vector<long> read(std::string_view text) {
  std::vector<long> result;
  while (!text.empty()) {
    const auto [character, length] = first_utf8(text);
    const bool is_one = character != Utf8Sequence::kNone;
    result.push_back(is_one ? static_cast<long>(character) : -static_cast<long>(length));
    text.remove_prefix(length);
  }
  return result;
}

TEST(Utf8, EveryCharacterIsReadAsItIsWritten) {
  for (char32_t character = 0; character <= 0x10FFFF; ++character) {
    if (character == 0xD800) character = 0xE000;
    std::string text;
    append_utf8(text, character);
    const auto [read, length] = first_utf8(text);
    ASSERT_EQ(read, character);
    ASSERT_EQ(length, text.size());
  }
}

TEST(Utf8, IsWrittenAsTheStandardHasIt) {
  std::string text;
  for (const char32_t character : {U'a', U'\u00E4', U'\u20AC', U'\U0001F600'})
    append_utf8(text, character);
  EXPECT_EQ(text, "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(Utf8, SurrogatesAreWrittenAndNotRead) {
  std::string text;
  append_utf8(text, 0xD800);
  EXPECT_EQ(text, "\xED\xA0\x80");
  EXPECT_EQ(read(text), (std::vector<long>{-1, -1, -1}));
}

TEST(Utf8, WhatIsNoCharacterIsTakenInItsLongestParts) {
  using Parts = std::vector<long>;
  EXPECT_EQ(read("\x80z"), (Parts{-1, 'z'}));
  EXPECT_EQ(read("\xC1\xA1"), (Parts{-1, -1}));                  // 'a' in a longer form
  EXPECT_EQ(read("\xE0\x9F\xBF"), (Parts{-1, -1, -1}));          // likewise
  EXPECT_EQ(read("\xF4\x90\x80\x80"), (Parts{-1, -1, -1, -1}));  // beyond U+10FFFF
  EXPECT_EQ(read("\xE2\x82"), (Parts{-2}));                      // cut off
  EXPECT_EQ(read("\xF0\x9F\x98z"), (Parts{-3, 'z'}));
}

}  // namespace
}  // namespace platform
