#include "broker/http/quoted_name.h"

#include <gtest/gtest.h>

namespace broker::http {
namespace {

TEST(QuotedName, OrdinaryOnesStayAsTheyAre) {
  for (const char* const name : {"", "operator", "a b", "J\u00f6rg \u786c\u76d8 \"x\" \\"})
    EXPECT_EQ(quoted_name(name), "'" + std::string(name) + "'");
}

TEST(QuotedName, HasNoOtherEndThanItsOwn) {
  EXPECT_EQ(quoted_name("root' from 10.0.0.1"), "'root%27 from 10.0.0.1'");
  EXPECT_EQ(quoted_name("root%27"), "'root%2527'");
}

TEST(QuotedName, ShowsWhatWouldMislead) {
  EXPECT_EQ(quoted_name("a\nb\r\x1b[2J\x7f"), "'a%0Ab%0D%1B[2J%7F'");
  EXPECT_EQ(quoted_name(std::string_view("\0", 1)), "'%00'");
  EXPECT_EQ(quoted_name("\u0085\u2028\u202e\u200f"), "'%C2%85%E2%80%A8%E2%80%AE%E2%80%8F'");
  EXPECT_EQ(quoted_name("\xff\xc3("), "'%FF%C3('");
}

TEST(QuotedName, IsCut) {
  EXPECT_EQ(quoted_name(std::string(300, 'n')), "'" + std::string(255, 'n') + "'");
  EXPECT_EQ(quoted_name(std::string(254, 'n') + "\u00e4"), "'" + std::string(254, 'n') + "%C3'");
}

}  // namespace
}  // namespace broker::http
