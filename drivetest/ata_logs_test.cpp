#include "drivetest/ata_logs.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "drivetest/log_growth.h"
#include "drivetest/outcome.h"

namespace drivetest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Log = std::vector<LogEntry>;

constexpr std::uint64_t kBlock = 5'000'000'000;

LogEntry row(std::uint64_t hours, std::optional<std::uint64_t> block = kBlock, int result = 7) {
  LogEntry entry;
  entry.test_code = 2;
  entry.kind = TestKind::Long;
  entry.result_code = result;
  entry.hours = hours;
  entry.first_bad_block = block;
  return entry;
}

LogEntry in_standard(std::uint64_t hours) { return row(hours, std::nullopt); }

LogEntry running(std::uint64_t hours) { return row(hours, std::nullopt, kRunningCode); }

// So many tests that failed at such a block, one in each hour.
Log extended(std::uint64_t newest, std::uint64_t rows) {
  Log log;
  for (std::uint64_t i = 0; i < rows; ++i) log.push_back(row(newest - i));
  return log;
}

Log standard(std::uint64_t newest, std::uint64_t rows) {
  Log log;
  for (std::uint64_t i = 0; i < rows; ++i) log.push_back(in_standard(newest - i));
  return log;
}

Log under(const LogEntry& first, Log log) {
  log.insert(log.begin(), first);
  return log;
}

TEST(SameTest, IsOneOfWhichTheStandardLogCannotTellTheBlock) {
  EXPECT_TRUE(is_same_test(row(9), row(9)));
  EXPECT_TRUE(is_same_test(row(9), in_standard(9)));
  EXPECT_TRUE(is_same_test(in_standard(9), row(9)));
  EXPECT_TRUE(is_same_test(row(9), row(9, kBlock & 0xFFFFFFFF)));
  EXPECT_TRUE(is_same_test(row(9, 0xFFFFFFFF), in_standard(9)));
  EXPECT_FALSE(is_same_test(row(9, 0xFFFFFFFE), in_standard(9)));
  EXPECT_FALSE(is_same_test(row(9, 42), row(9)));
  EXPECT_FALSE(is_same_test(row(9, 43), row(9, 42)));
  EXPECT_FALSE(is_same_test(row(9), row(9, kBlock + 1)));
  EXPECT_FALSE(is_same_test(row(9), row(8)));
  EXPECT_FALSE(is_same_test(row(9), row(9, std::nullopt, 0)));
}

TEST(JoinedLogs, AreTheExtendedOneAndWhatOnlyTheStandardOneHas) {
  const Log joined = joined_logs(extended(900, 19), standard(900, 21));
  ASSERT_EQ(joined.size(), 21U);
  EXPECT_EQ(joined.at(18), row(882));
  EXPECT_EQ(joined.at(19), in_standard(881));
  EXPECT_EQ(joined_logs(extended(900, 25), standard(900, 21)), extended(900, 25));
  EXPECT_EQ(joined_logs(extended(900, 3), {}), extended(900, 3));
  EXPECT_EQ(joined_logs({}, standard(900, 3)), standard(900, 3));
  EXPECT_THAT(joined_logs({}, {}), IsEmpty());
}

// Each test pushes one out of the extended log, of which the standard one does not tell the block.
TEST(JoinedLogs, GoOnAsOneLog) {
  for (const std::uint64_t rows : {19, 20, 21}) {
    const Log before = joined_logs(extended(900, 19), standard(900, rows));
    const LogGrowth growth = growth_of(
        before,
        joined_logs(extended(901, 19), standard(901, std::min<std::uint64_t>(rows + 1, 21))));
    EXPECT_THAT(growth.added, ElementsAre(row(901))) << rows;
    EXPECT_TRUE(growth.is_certain) << rows;
    const LogGrowth none = growth_of(before, standard(900, rows));
    EXPECT_THAT(none.added, IsEmpty()) << rows << ", where the extended one cannot be read";
    EXPECT_TRUE(none.is_certain) << rows;
    EXPECT_THAT(growth_of(standard(900, rows), before).added, IsEmpty()) << rows;
    EXPECT_TRUE(growth_of(standard(900, rows), before).is_certain) << rows;
  }
}

TEST(JoinedLogs, NeedNotBothHaveTheRowOfTheRunningTest) {
  const Log ended = joined_logs(extended(900, 19), standard(900, 20));
  EXPECT_EQ(joined_logs(under(running(901), extended(900, 19)), standard(900, 20)),
            under(running(901), ended));
  EXPECT_EQ(joined_logs(extended(900, 19), under(running(901), standard(900, 20))),
            under(running(901), ended));
  EXPECT_EQ(
      joined_logs(under(running(901), extended(900, 18)), under(running(901), standard(900, 20))),
      under(running(901), joined_logs(extended(900, 18), standard(900, 20))));
}

TEST(JoinedLogs, MayBeReadBeforeAndAfterTheEndOfATest) {
  EXPECT_EQ(joined_logs(extended(900, 19), standard(901, 21)),
            under(in_standard(901), joined_logs(extended(900, 19), standard(900, 20))));
  EXPECT_EQ(joined_logs(under(running(901), extended(900, 18)), standard(901, 21)),
            under(in_standard(901), joined_logs(extended(900, 18), standard(900, 20))));
  EXPECT_EQ(joined_logs(extended(901, 19), standard(900, 20)),
            joined_logs(extended(901, 19), standard(901, 21)));
  EXPECT_EQ(joined_logs(extended(901, 19), under(running(901), standard(900, 20))),
            joined_logs(extended(901, 19), standard(901, 21)));
  // And another one runs already.
  EXPECT_EQ(joined_logs(extended(900, 19), under(running(902), standard(901, 20))),
            under(running(902),
                  under(in_standard(901), joined_logs(extended(900, 19), standard(900, 19)))));
}

TEST(JoinedLogs, ThatTellOfDifferentTestsAreTheOneWithTheLaterTest) {
  EXPECT_EQ(joined_logs(extended(900, 5), standard(905, 5)), standard(905, 5));
  EXPECT_EQ(joined_logs(extended(905, 5), standard(900, 5)), extended(905, 5));
  EXPECT_EQ(joined_logs(extended(900, 19), standard(905, 1)), standard(905, 1));
  EXPECT_EQ(joined_logs(extended(905, 1), standard(900, 21)), extended(905, 1));
  EXPECT_EQ(joined_logs({row(65530)}, {in_standard(4)}), Log{in_standard(4)}) << "hours wrap";
  EXPECT_EQ(joined_logs({row(4)}, {in_standard(65530)}), Log{row(4)});
}

TEST(JoinedLogs, OfDifferentTestsOfOneHourAreTheLongerOneOrElseTheExtendedOne) {
  const Log passed = {row(900, std::nullopt, 0)};
  EXPECT_EQ(joined_logs(extended(900, 1), passed), extended(900, 1));
  EXPECT_EQ(joined_logs(passed, standard(900, 2)), standard(900, 2));
}

}  // namespace
}  // namespace drivetest
