#include "platform/cmpi/clean_text.h"

#include <gtest/gtest.h>

namespace ovk_cimple {
namespace {

using namespace std::string_view_literals;

struct Case {
  std::string_view what, from, to;
};

// U+FFFD
#define R "\xEF\xBF\xBD"

TEST(CleanText, ReplacesExactlyWhatCannotLeave) {
  const Case cases[] = {
      {"empty", ""sv, ""sv},
      {"plain", "EXAMPLE DISK"sv, "EXAMPLE DISK"sv},
      {"allowed control characters", "a\tb\nc\r"sv, "a\tb\nc\r"sv},
      {"other control characters", "\x01z\x1F"sv, R "z" R ""sv},
      {"NUL inside", "a\0b"sv, "a" R "b"sv},
      {"delete and C1", "\x7F\xC2\x85\xC2\x9F"sv, R R R ""sv},
      {"first after C1", "\xC2\xA0"sv, "\xC2\xA0"sv},
      {"two, three and four bytes", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x92\xBE"sv,
       "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x92\xBE"sv},
      {"continuation alone", "\x80z"sv, R "z"sv},
      {"never a lead", "\xFFz\xC0z\xF5z"sv, R "z" R "z" R "z"sv},
      {"overlong", "\xC0\xAF\xE0\x80\xAF"sv, R R R R R ""sv},
      {"surrogate", "\xED\xA0\x80"sv, R R R ""sv},
      {"last before surrogates", "\xED\x9F\xBF"sv, "\xED\x9F\xBF"sv},
      {"beyond Unicode", "\xF4\x90\x80\x80"sv, R R R R ""sv},
      {"last of Unicode", "\xF4\x8F\xBF\xBD"sv, "\xF4\x8F\xBF\xBD"sv},
      {"no characters", "\xEF\xBF\xBE\xEF\xBF\xBF"sv, R R ""sv},
      {"last character of the plane", "\xEF\xBF\xBD"sv, "\xEF\xBF\xBD"sv},
      {"cut short at the end", "a\xE2\x82"sv, "a" R ""sv},
      {"cut short inside", "\xE2\x82z\xF0\x9F\x92z"sv, R "z" R "z"sv},
  };
  for (const Case& entry : cases) {
    EXPECT_EQ(clean_text(entry.from), entry.to) << entry.what;
    EXPECT_EQ(clean_text(clean_text(entry.from)), entry.to) << entry.what;
  }
}

TEST(CleanText, KeepsWhatStandsAroundABadByte) {
  for (int byte = 0x80; byte < 0x100; ++byte) {
    const std::string text = {'<', static_cast<char>(byte), '>'};
    EXPECT_EQ(clean_text(text), "<" R ">") << byte;
  }
}

TEST(CleanText, FindsABadByteWhereverItStandsInALongText) {
  for (std::size_t place = 0; place < 50; ++place) {
    std::string text(50, 'a'), expected = text;
    text[40] = expected[40] = '\n';
    text[place] = '\x01';
    expected.replace(place, 1, R);
    EXPECT_EQ(clean_text(text), expected) << place;
    EXPECT_EQ(CleanText(text).c_str(), expected) << place;
  }
}

TEST(CleanText, IsNotCopiedWhenItMayLeaveAsItIs) {
  const std::string plain = "tab\tand a line\nof more than sixteen characters";
  EXPECT_EQ(CleanText(plain).c_str(), plain.c_str());
  const std::string accent = "caf\xC3\xA9";
  EXPECT_EQ(CleanText(accent).c_str(), accent);
}

}  // namespace
}  // namespace ovk_cimple
