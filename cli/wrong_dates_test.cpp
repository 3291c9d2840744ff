#include "cli/wrong_dates.h"

#include <gtest/gtest.h>

namespace cli {
namespace {

using drivetest::TestRow;
using drivetest::Time;
using std::chrono::days;
using std::chrono::seconds;

constexpr Time kNow{seconds(1'800'000'000)};
constexpr Time kAhead = kNow + days(1) + seconds(1);

TEST(WrongDates, AreThoseThatLieMoreThanADayAhead) {
  EXPECT_FALSE(lies_ahead(kNow + days(1), kNow));
  EXPECT_TRUE(lies_ahead(kAhead, kNow));
  EXPECT_FALSE(lies_ahead(Time{}, kNow));
}

TEST(WrongDates, AreTakenOutOfATest) {
  TestRow row;
  row.started = row.ended = row.looked = row.progressed = row.recorded = kAhead;
  EXPECT_TRUE(drop_dates_ahead(row, kNow));
  EXPECT_FALSE(row.started || row.ended || row.looked || row.progressed);
  EXPECT_EQ(row.recorded, Time{});
}

TEST(WrongDates, LeaveTheOthersAlone) {
  TestRow row;
  row.started = kNow - days(2);
  row.ended = kNow - days(1);
  row.recorded = kNow - days(2);
  const TestRow before = row;
  EXPECT_FALSE(drop_dates_ahead(row, kNow));
  EXPECT_EQ(row, before);
  // A test before it was recorded by the clock that was ahead.
  row.recorded = kAhead;
  EXPECT_FALSE(drop_dates_ahead(row, kNow));
  EXPECT_EQ(row.recorded, row.ended);
}

}  // namespace
}  // namespace cli
