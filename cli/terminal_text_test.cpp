#include "cli/terminal_text.h"

#include <gtest/gtest.h>

namespace cli {
namespace {

using namespace std::chrono_literals;

TEST(Escape, LeavesOrdinaryTextAlone) {
  EXPECT_EQ(escape(""), "");
  EXPECT_EQ(escape("/dev/sda: 50% \\ \"quoted\" Gerät 硬盘 😀"),
            "/dev/sda: 50% \\ \"quoted\" Gerät 硬盘 😀");
}

TEST(Escape, TakesTheEffectFromControlCharacters) {
  EXPECT_EQ(escape("a\nb\rc\td"), "a\\nb\\rc\\td");
  EXPECT_EQ(escape("\x1b[2J\a\b\x7f"), "\\x1b[2J\\x07\\x08\\x7f");
  EXPECT_EQ(escape(std::string("\0", 1)), "\\x00");
  EXPECT_EQ(escape("\xc2\x9b"
                   "31m"),
            "\\xc2\\x9b31m");
  EXPECT_EQ(escape("\xc2\xa0"), "\xc2\xa0");
}

TEST(Escape, TakesTheEffectFromLineEndsAndWritingDirections) {
  EXPECT_EQ(escape("a\u2028b\u2029c"), "a\\xe2\\x80\\xa8b\\xe2\\x80\\xa9c");
  EXPECT_EQ(escape("\u202e\u2066"), "\\xe2\\x80\\xae\\xe2\\x81\\xa6");
  EXPECT_EQ(escape("\u061c\u200e\u200f"), "\\xd8\\x9c\\xe2\\x80\\x8e\\xe2\\x80\\x8f");
}

TEST(Escape, WritesWhatIsNoUtf8AsBytes) {
  EXPECT_EQ(escape("\xff\xfe"), "\\xff\\xfe");
  EXPECT_EQ(escape("\xc3"), "\\xc3");                    // cut off
  EXPECT_EQ(escape("\xc0\xaf"), "\\xc0\\xaf");           // longer than needed
  EXPECT_EQ(escape("\xed\xa0\x80"), "\\xed\\xa0\\x80");  // half of a pair
  EXPECT_EQ(escape("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");
}

TEST(Elide, CutsTheMiddle) {
  EXPECT_EQ(elide("0123456789", 10), "0123456789");
  EXPECT_EQ(elide("0123456789", 9), "012...789");
  EXPECT_EQ(elide("0123456789", 8), "012...89");
  EXPECT_EQ(elide("0123456789", 3), "012");
  EXPECT_EQ(elide("0123456789", 0), "");
}

TEST(Elide, CountsCharactersNotBytes) {
  EXPECT_EQ(elide("ääääääääää", 10), "ääääääääää");
  EXPECT_EQ(elide("ääääääääää", 9), "äää...äää");
}

TEST(Labelled, PutsLinesBehindTheLabel) {
  EXPECT_EQ(labelled("Record: ", "one\ntwo\n", 0), "Record: one\n        two\n");
  EXPECT_EQ(labelled("Job: ", "", 0), "Job:\n");
}

TEST(Labelled, BreaksAtBlanksToTheWidth) {
  EXPECT_EQ(labelled("A: ", "the quick brown fox", 13), "A: the quick\n   brown fox\n");
  EXPECT_EQ(labelled("A: ", "0123456789abcdef", 13), "A: 0123456789\n   abcdef\n");
}

TEST(Labelled, EscapesEachLine) {
  EXPECT_EQ(labelled("A: ", "x\x1b[m\ry\nz", 0), "A: x\\x1b[m\\ry\n   z\n");
}

TEST(Duration, ReadsLikeAClock) {
  EXPECT_EQ(duration_text(7s), "0:07");
  EXPECT_EQ(duration_text(750s), "12:30");
  EXPECT_EQ(duration_text(3605s), "1:00:05");
}

TEST(SizeText, HasThreeDigits) {
  EXPECT_EQ(size_text(0), "0 B");
  EXPECT_EQ(size_text(999), "999 B");
  EXPECT_EQ(size_text(1000), "1.00 kB");
  EXPECT_EQ(size_text(9'994), "9.99 kB");
  EXPECT_EQ(size_text(9'995), "10.0 kB");
  EXPECT_EQ(size_text(67'108'864), "67.1 MB");
  EXPECT_EQ(size_text(500'107'862'016), "500 GB");
  EXPECT_EQ(size_text(999'499'999'999), "999 GB");
  EXPECT_EQ(size_text(999'500'000'000), "1.00 TB");
  EXPECT_EQ(size_text(UINT64_MAX), "18.4 EB");
}

}  // namespace
}  // namespace cli
