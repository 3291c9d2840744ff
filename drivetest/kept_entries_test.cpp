#include "drivetest/kept_entries.h"

#include <gmock/gmock.h>

namespace drivetest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Log = std::vector<LogEntry>;
using Rows = std::vector<TestRow>;

LogEntry entry(int code, std::uint64_t hours, TestKind kind = TestKind::Short) {
  LogEntry entry;
  entry.test_code = static_cast<int>(kind) + 1;
  entry.kind = kind;
  entry.result_code = code;
  entry.hours = hours;
  return entry;
}

TestRow row(const LogEntry& entry) {
  TestRow row;
  row.test_code = entry.test_code;
  row.kind = entry.kind;
  row.result_code = entry.result_code;
  row.hours = entry.hours;
  row.first_bad_block = entry.first_bad_block;
  return row;
}

// As a history keeps a log, of which the newest entry is the first.
Rows rows(const Log& log) {
  Rows rows;
  for (auto entry = log.rbegin(); entry != log.rend(); ++entry) rows.push_back(row(*entry));
  return rows;
}

LogGrowth beyond(const Rows& kept, const Log& log) {
  LogGrowth growth = growth_from_unknown(log);
  leave_out_kept(growth, kept);
  return growth;
}

TEST(KeptEntries, AreNotNew) {
  const Log log = {entry(0, 80), entry(7, 70), entry(0, 60, TestKind::Long)};
  EXPECT_THAT(beyond(rows(log), log).added, IsEmpty());
  EXPECT_THAT(beyond({}, log).added, ElementsAre(log[0], log[1], log[2]));
  EXPECT_FALSE(beyond({}, log).is_before_known);
}

TEST(KeptEntries, StandBelowWhatIsNew) {
  const Log before = {entry(0, 80), entry(7, 70)};
  const LogGrowth growth = beyond(rows(before), {entry(0, 90), before[0], before[1]});
  EXPECT_THAT(growth.added, ElementsAre(entry(0, 90)));
  EXPECT_TRUE(growth.is_before_known);
}

TEST(KeptEntries, AreThoseOfTheSameTestAlone) {
  const Log log = {entry(0, 80)};
  EXPECT_THAT(beyond(rows({entry(7, 80)}), log).added, ElementsAre(log[0]));
  EXPECT_THAT(beyond(rows({entry(0, 81)}), log).added, ElementsAre(log[0]));
  EXPECT_THAT(beyond(rows({entry(0, 80, TestKind::Long)}), log).added, ElementsAre(log[0]));
}

TEST(KeptEntries, AreAsManyAsTheTests) {
  const LogEntry same = entry(0, 80);
  EXPECT_THAT(beyond({row(same)}, {same, same}).added, ElementsAre(same));
  EXPECT_TRUE(beyond({row(same)}, {same, same}).is_before_known);
  EXPECT_THAT(beyond({row(same), row(same)}, {same, same}).added, IsEmpty());
  EXPECT_THAT(beyond({row(same), row(same)}, {same}).added, IsEmpty());
}

// The clock of such a log stands still.
TEST(KeptEntries, AreInTheOrderOfTheTests) {
  const LogEntry passed = entry(0, 0);
  const LogEntry failed = entry(7, 0);
  const Rows kept = rows({passed, passed, failed, passed});
  EXPECT_THAT(beyond(kept, {passed, passed, passed, failed}).added, ElementsAre(passed));
}

TEST(KeptEntries, LeaveOneThatLacksAsNew) {
  const Log log = {entry(0, 80), entry(7, 70), entry(0, 60)};
  const LogGrowth growth = beyond(rows({log[0], log[2]}), log);
  EXPECT_THAT(growth.added, ElementsAre(log[1]));
  EXPECT_FALSE(growth.is_before_known);
}

// A history keeps tests that the drive has forgotten.
TEST(KeptEntries, MayBeFewerThanTheTests) {
  const Log log = {entry(0, 80), entry(7, 70)};
  const Rows kept = rows({log[0], log[1], entry(0, 60), log[1]});
  EXPECT_THAT(beyond(kept, log).added, IsEmpty());
  const LogGrowth growth = beyond(kept, {entry(0, 90), log[0]});
  EXPECT_THAT(growth.added, ElementsAre(entry(0, 90)));
  EXPECT_TRUE(growth.is_before_known);
}

// A row that was told by the drive's status alone has no hours.
TEST(KeptEntries, NeedHours) {
  LogEntry without = entry(0, 80);
  without.hours.reset();
  EXPECT_THAT(beyond({row(without)}, {without}).added, ElementsAre(without));
}

TEST(KeptEntries, MayBeOfTheOtherLogOfAnAtaDrive) {
  LogEntry extended = entry(7, 80);
  extended.first_bad_block = 0x1'0000'0005;
  LogEntry standard = extended;
  standard.first_bad_block = 5;
  EXPECT_THAT(beyond({row(extended)}, {standard}).added, IsEmpty());
}

}  // namespace
}  // namespace drivetest
