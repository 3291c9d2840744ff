#include "platform/support/cimdatetime.h"

#include <gmock/gmock.h>

#include <ctime>
#include <limits>

#include "platform/support/osspecific.h"
#include "platform/support/support_test.h"

namespace NKVRHVX20 {
namespace {

std::string text_of(std::int64_t microseconds, int offset) {
  return TCIMDateTime(microseconds, offset).ToString();
}

TEST(CimDateTime, IsLocalTimeWithItsOffset) {
  EXPECT_EQ(text_of(0, 0), "19700101000000.000000+000");
  EXPECT_EQ(text_of(0, 60), "19700101010000.000000+060");
  EXPECT_EQ(text_of(0, -300), "19691231190000.000000-300");
  EXPECT_EQ(text_of(0, -1), "19691231235900.000000-001");
  EXPECT_EQ(text_of(0, 345), "19700101054500.000000+345");
  EXPECT_EQ(text_of(-1, 0), "19691231235959.999999+000");
  EXPECT_EQ(text_of(1706698800123456, 60), "20240131120000.123456+060");
}

TEST(CimDateTime, LeapDays) {
  EXPECT_EQ(text_of(951825600000000, 0), "20000229120000.000000+000");
  EXPECT_EQ(text_of(1709251199000000, 0), "20240229235959.000000+000");
  EXPECT_EQ(text_of(4107542400000000, 0), "21000301000000.000000+000");
}

TEST(CimDateTime, WhatHasNoTextIsBroughtToTheNearestEnd) {
  constexpr auto kLeast = std::numeric_limits<std::int64_t>::min();
  constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(text_of(kMost, 120), "99991231235959.999999+120");
  EXPECT_EQ(text_of(kLeast, -120), "00000101000000.000000-120");
  EXPECT_EQ(text_of(0, std::numeric_limits<int>::max()), "19700101163900.000000+999");
  EXPECT_EQ(text_of(0, std::numeric_limits<int>::min()), "19691231072100.000000-999");
}

// time() may be a moment late.
std::time_t exact_seconds() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now.tv_sec;
}

TEST(CimDateTime, LocalTimeLiesBetweenTheClockBeforeAndAfter) {
  const auto seconds = [](const char* zone, std::time_t time) {
    char text[32];
    std::strftime(text, sizeof text, "%Y%m%d%H%M%S", std::gmtime(&time));
    return text + std::string(zone);
  };
  const std::time_t before = std::time(nullptr);
  const std::string text = shell(std::string("TZ=UTC0 ") + SUPPORT_CLIENT + " time");
  const std::time_t after = exact_seconds();
  ASSERT_EQ(text.size(), 25u);
  EXPECT_EQ(text.substr(21), "+000");
  EXPECT_LE(seconds("", before), text.substr(0, 14));
  EXPECT_GE(seconds("", after), text.substr(0, 14));
}

TEST(CimDateTime, LocalTimeHasTheOffsetOfTheZoneInForce) {
  const auto offset_of = [](const std::string& zone) {
    return shell("TZ='" + zone + "' " + SUPPORT_CLIENT + " time").substr(21);
  };
  EXPECT_EQ(offset_of("EST5"), "-300");
  EXPECT_EQ(offset_of("NPT-5:45"), "+345");
  EXPECT_EQ(offset_of("NST3:30"), "-210");
  EXPECT_EQ(offset_of("CET-1"), "+060");
  // Daylight saving all the year round.
  EXPECT_EQ(offset_of("EST5EDT,0/0,J365/72"), "-240");
}

TEST(CimDateTime, AZoneThatTheProcessChangesToShowsAtOnce) {
  const std::string offset = in_child([] {
    TOSSpecific::GetLocalTime();
    setenv("TZ", "NPT-5:45", 1);
    tzset();
    return TOSSpecific::GetLocalTime().ToString().substr(21);
  });
  EXPECT_EQ(offset, "+345");
}

}  // namespace
}  // namespace NKVRHVX20
