#include "platform/framework/datetime.h"

#include <gtest/gtest.h>

#include <ctime>
#include <limits>

namespace ovk_cimple {
namespace {

TEST(Datetime, ZeroIsTheEmptyInterval) {
  EXPECT_EQ(Datetime(0).to_string(), "00000000000000.000000:000");
  EXPECT_EQ(Datetime(), Datetime(0));
  EXPECT_TRUE(Datetime(0).is_interval());
}

TEST(Datetime, OneUnsignedNumberIsAnIntervalOfMicroseconds) {
  EXPECT_EQ(Datetime(((3 * 24 + 12) * 3600 + 34 * 60 + 56) * 1000000ull + 789).to_string(),
            "00000003123456.000789:000");
}

TEST(Datetime, AnIntervalTooLongForTheTextIsTheLongestThatFits) {
  EXPECT_EQ(Datetime(std::numeric_limits<uint64>::max()).to_string(), "99999999235959.999999:000");
}

TEST(Datetime, TimeStampIsLocalTimeWithItsOffset) {
  EXPECT_EQ(Datetime::time_stamp(0, 0).to_string(), "19700101000000.000000+000");
  EXPECT_EQ(Datetime::time_stamp(0, 60).to_string(), "19700101010000.000000+060");
  EXPECT_EQ(Datetime::time_stamp(0, -300).to_string(), "19691231190000.000000-300");
  EXPECT_EQ(Datetime::time_stamp(-1, 0).to_string(), "19691231235959.999999+000");
  EXPECT_EQ(Datetime::time_stamp(951825600000000, 0).to_string(), "20000229120000.000000+000");
}

TEST(Datetime, YearsThatDoNotFitAreBroughtToTheNearestEnd) {
  EXPECT_EQ(Datetime::time_stamp(std::numeric_limits<sint64>::max(), 120).to_string(),
            "99991231235959.999999+120");
  EXPECT_EQ(Datetime::time_stamp(std::numeric_limits<sint64>::min(), -120).to_string(),
            "00000101000000.000000-120");
}

TEST(Datetime, TextSurvivesReadingAndWriting) {
  for (const char* text :
       {"20240131120000.000000+060", "19991231235959.999999-720", "00000101000000.000000+000",
        "99991231235959.999999+999", "00000003120000.000000:000", "99999999235959.999999:000"})
    EXPECT_EQ(Datetime::parse(text).value().to_string(), text);
}

TEST(Datetime, ReadsThePointInTimeWhateverTheOffset) {
  EXPECT_EQ(Datetime::parse("20240131120000.000000+060")->microseconds(),
            Datetime::parse("20240131110000.000000+000")->microseconds());
}

TEST(Datetime, RefusesWhatIsNoDateTime) {
  for (const char* text : {"",
                           "now",
                           "20240131120000.000000+06",
                           "20240131120000.000000+0600",
                           "20240131120000,000000+060",
                           "20240131120000.000000*060",
                           "20241331120000.000000+060",
                           "20240100120000.000000+060",
                           "20230229120000.000000+060",
                           "20240231120000.000000+060",
                           "20240131240000.000000+060",
                           "20240131126000.000000+060",
                           "20240131120060.000000+060",
                           "19991231235960.000000+000",
                           "2024013112000x.000000+060",
                           "20240131120000.00000*+060",
                           "****0131120000.000000+060",
                           "00000003120000.000000:060",
                           "-0000003120000.000000:000",
                           "00000003240000.000000:000",
                           " 20240131120000.00000+060"})
    EXPECT_FALSE(Datetime::parse(text)) << text;
  EXPECT_FALSE(Datetime::parse(std::string_view("20240131120000.000000+06\0", 25)));
}

TEST(Datetime, NowIsNow) {
  const Datetime now = Datetime::now();
  EXPECT_FALSE(now.is_interval());
  EXPECT_NEAR(static_cast<double>(now.microseconds()) / 1e6, static_cast<double>(time(nullptr)),
              60);
  EXPECT_EQ(Datetime::parse(now.to_string()), now);
}

}  // namespace
}  // namespace ovk_cimple
