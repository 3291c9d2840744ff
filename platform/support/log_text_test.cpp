#include "platform/support/log_text.h"

#include <gtest/gtest.h>

namespace NKVRHVX20 {
namespace {

using namespace std::string_view_literals;

std::string escaped(std::string_view text) {
  std::string line;
  append_escaped(line, text);
  return line;
}

TEST(LogText, OrdinaryTextStaysAsItIs) {
  for (const char* text : {"", "a line, with = signs: \"quoted\" 100% ~", "äöü €", "𝄞 \u00a0"})
    EXPECT_EQ(escaped(text), text);
}

TEST(LogText, WhatWouldLeaveTheLineIsEscaped) {
  EXPECT_EQ(escaped("a\\b\nc\rd\te"), "a\\\\b\\nc\\rd\\te");
  EXPECT_EQ(escaped("\0\x01\x1b[31m\x7f"sv), "\\x00\\x01\\x1b[31m\\x7f");
  EXPECT_EQ(escaped("next\u0085line\u2028separator\u2029"),
            "next\\xc2\\x85line\\xe2\\x80\\xa8separator\\xe2\\x80\\xa9");
}

TEST(LogText, WhatChangesTheDirectionOfWritingIsEscaped) {
  const struct {
    const char* mark;
    const char* text;
  } marks[] = {{"\u061c", "\\xd8\\x9c"},      {"\u200e", "\\xe2\\x80\\x8e"},
               {"\u200f", "\\xe2\\x80\\x8f"}, {"\u202a", "\\xe2\\x80\\xaa"},
               {"\u202e", "\\xe2\\x80\\xae"}, {"\u2066", "\\xe2\\x81\\xa6"},
               {"\u2069", "\\xe2\\x81\\xa9"}};
  for (const auto& [mark, text] : marks) EXPECT_EQ(escaped(mark), text);
  for (const char* beside :
       {"\u061b", "\u061d", "\u200d", "\u2010", "\u2027", "\u202f", "\u2065", "\u206a"})
    EXPECT_EQ(escaped(beside), beside);
}

TEST(LogText, WhatIsNoUtf8IsEscapedByteByByte) {
  const struct {
    const char* bytes;
    const char* text;
  } cases[] = {
      {"\x80", "\\x80"},                             // continuation without a start
      {"\xc3", "\\xc3"},                             // cut short
      {"\xc3(", "\\xc3("},                           //
      {"\xe2\x82", "\\xe2\\x82"},                    //
      {"\xf0\x9d\x84z", "\\xf0\\x9d\\x84z"},         //
      {"\xc0\x8a", "\\xc0\\x8a"},                    // a line feed in two bytes
      {"\xe0\x80\x8a", "\\xe0\\x80\\x8a"},           // and in three
      {"\xf0\x80\x80\x8a", "\\xf0\\x80\\x80\\x8a"},  // and in four
      {"\xed\xa0\x80", "\\xed\\xa0\\x80"},           // a surrogate
      {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},  // past U+10FFFF
      {"\xfe\xff\xc3\xa4", "\\xfe\\xff\xc3\xa4"},    //
  };
  for (const auto& [bytes, text] : cases) EXPECT_EQ(escaped(bytes), text);
}

TEST(LogText, NoByteCanBreakALine) {
  for (int first = 0; first < 256; ++first)
    for (int second = 0; second < 256; ++second) {
      const char bytes[] = {static_cast<char>(first), static_cast<char>(second)};
      for (const char c : escaped({bytes, 2}))
        ASSERT_TRUE(static_cast<unsigned char>(c) >= 0x20 && c != 0x7f) << first << ' ' << second;
    }
}

TEST(LogText, ALineHoldsTimeSeverityProcessAndText) {
  EXPECT_EQ(format_log_line(1706702400000000, 3, 4711, "Entering ..."),
            "2024-01-31T12:00:00.000000Z 3 4711 Entering ...\n");
  EXPECT_EQ(format_log_line(1709251199000042, 0, 1, "a\nb"),
            "2024-02-29T23:59:59.000042Z 0 1 a\\nb\n");
  EXPECT_EQ(format_log_line(-1, -5, 2, ""), "1969-12-31T23:59:59.999999Z -5 2 \n");
}

TEST(LogText, ALongTextIsCutAndItsLengthTold) {
  const auto cut = [](std::string_view text, std::size_t most) {
    std::string line = "head ";
    append_escaped(line, text, most);
    EXPECT_LE(line.size(), 5 + most);
    return line.substr(5);
  };
  EXPECT_EQ(cut(std::string(50, 'a'), 50), std::string(50, 'a'));
  EXPECT_EQ(cut(std::string(51, 'a'), 50), std::string(36, 'a') + "... (51 bytes)");
  EXPECT_EQ(cut(std::string(12345, 'a'), 50), std::string(33, 'a') + "... (12345 bytes)");
  EXPECT_EQ(cut("", 50), "");
}

TEST(LogText, WhatIsEscapedCountsAsLongAsItIsWritten) {
  std::string line;
  append_escaped(line, std::string(25, '\n'), 50);
  EXPECT_EQ(line.size(), 50u);
  line.clear();
  append_escaped(line, std::string(26, '\n'), 50);
  EXPECT_EQ(line.substr(line.size() - 16), "\\n... (26 bytes)");
}

TEST(LogText, IsCutBetweenCharacters) {
  const struct {
    const char* character;
    std::size_t written;  // bytes that must stay together
  } cases[] = {{"\x01", 4},   {"\\", 2},     {"\n", 2},         {"\xff", 4},
               {"\u00e4", 2}, {"\u20ac", 3}, {"\U0001d11e", 4}, {"\u2028", 4}};
  for (const auto& [character, written] : cases)
    for (std::size_t before = 0; before < 5; ++before) {
      std::string text(before, 'a');
      for (int count = 0; count < 51; ++count) text += character;
      std::string line;
      append_escaped(line, text, 50);
      const std::string tail = "... (" + std::to_string(text.size()) + " bytes)";
      ASSERT_TRUE(line.ends_with(tail)) << line;
      const std::size_t cut = line.size() - tail.size();
      EXPECT_EQ(line.substr(0, cut), escaped(text).substr(0, cut));
      EXPECT_EQ((cut - before) % written, 0u) << line;
      EXPECT_GT(line.size() + written, 50u) << "more would have fitted";
      EXPECT_LE(line.size(), 50u);
    }
}

TEST(LogText, ALineIsCutAtItsLimit) {
  const std::string head = format_log_line(0, 3, 4711, "");
  const std::size_t most = kLogLineLimit - head.size();
  const std::string fits = format_log_line(0, 3, 4711, std::string(most, 'a'));
  EXPECT_EQ(fits.size(), kLogLineLimit);
  EXPECT_TRUE(fits.ends_with("aaaa\n"));
  const std::string text(most + 1, 'a');
  const std::string cut = format_log_line(0, 3, 4711, text);
  EXPECT_EQ(cut.size(), kLogLineLimit);
  EXPECT_TRUE(cut.ends_with("aaa... (" + std::to_string(text.size()) + " bytes)\n")) << cut;
}

}  // namespace
}  // namespace NKVRHVX20
