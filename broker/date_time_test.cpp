#include "broker/date_time.h"

#include <gtest/gtest.h>

namespace broker {
namespace {

TEST(DateTime, TellsRightTextsFromWrongOnes) {
  for (const char* right :
       {"20240131120000.000000+060", "00010101000000.000000-720", "00000003120000.000000:000",
        "99999999235959.999999:000", "20240131120000.123***+000", "2024**********.******+000",
        "19991231235960.000000+000", "20240231120000.000000+060"}) {
    EXPECT_TRUE(is_datetime(right)) << right;
  }
  for (const char* wrong :
       {"", "20240131120000.000000+06", "20240131120000.000000+0600", "20240131120000,000000+060",
        "20241331120000.000000+060", "20240131240000.000000+060", "20240131120000.000000*060",
        "00000003120000.000000:001", "00000003240000.000000:000", "2024**31120000.000000+000",
        "20240131120000.0*0000+000", "202401311200x0.000000+000"}) {
    EXPECT_FALSE(is_datetime(wrong)) << wrong;
  }
}

TEST(DateTime, CountsMicrosecondsOfBothKinds) {
  EXPECT_EQ(datetime_microseconds("19700101000000.000000+000"), 0);
  EXPECT_EQ(datetime_microseconds("20240131120000.000001+060"), 1706698800000001);
  EXPECT_EQ(datetime_microseconds("20240131120000.000000-060"), 1706706000000000);
  EXPECT_EQ(datetime_microseconds("19691231235959.000000+000"), -1000000);
  EXPECT_EQ(datetime_microseconds("00000001000000.000005:000"), 86400000005);
}

// The framework refuses both (datetime_test.cpp).
TEST(DateTime, CountsWhatOverflowsAsWhatFollows) {
  EXPECT_EQ(datetime_microseconds("20240231120000.000000+060"),
            datetime_microseconds("20240302120000.000000+060"));
  EXPECT_EQ(datetime_microseconds("19991231235960.000000+000"),
            datetime_microseconds("20000101000000.000000+000"));
}

TEST(DateTime, WritesWhatItReads) {
  EXPECT_EQ(time_stamp_text(1706698800000001, 60), "20240131120000.000001+060");
  EXPECT_EQ(time_stamp_text(1706706000000000, -60), "20240131120000.000000-060");
  EXPECT_EQ(interval_text(86400000005), "00000001000000.000005:000");
  const std::string now = now_text();
  EXPECT_TRUE(is_datetime(now)) << now;
  EXPECT_GT(datetime_microseconds(now), 1706698800000001);
}

}  // namespace
}  // namespace broker
