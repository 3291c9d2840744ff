#include "drivetest/log_growth.h"

#include <gmock/gmock.h>

namespace drivetest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Log = std::vector<LogEntry>;

LogEntry row(int code, std::uint64_t hours, TestKind kind = TestKind::Short) {
  LogEntry entry;
  entry.test_code = static_cast<int>(kind) + 1;
  entry.kind = kind;
  entry.result_code = code;
  entry.hours = hours;
  return entry;
}

LogEntry running(unsigned remaining, std::uint64_t hours = 100) {
  LogEntry entry = row(kRunningCode, hours);
  entry.remaining_percent = remaining;
  return entry;
}

Log under(const LogEntry& first, Log log, std::size_t most = 21) {
  log.insert(log.begin(), first);
  if (log.size() > most) log.pop_back();
  return log;
}

// A full log of rows that are all different, or all equal.
Log full(bool equal = false, std::uint64_t newest = 90) {
  Log log;
  for (std::uint64_t i = 0; i < 21; ++i) log.push_back(row(0, equal ? newest : newest - i));
  return log;
}

OwnEntry own(const Log& before, const Log& now, std::uint64_t start = 100,
             Protocol protocol = Protocol::Ata) {
  return own_entry({protocol, TestKind::Short, start, 10}, growth_of(before, now));
}

TEST(LogGrowth, IsWhatStandsAboveTheRowsOfBefore) {
  const Log before = {row(0, 80), row(7, 70)};
  EXPECT_THAT(growth_of(before, before).added, IsEmpty());
  const LogGrowth growth = growth_of(before, under(row(1, 100), before));
  EXPECT_THAT(growth.added, ElementsAre(row(1, 100)));
  EXPECT_TRUE(growth.is_certain);
  EXPECT_THAT(growth_of({}, before).added, ElementsAre(row(0, 80), row(7, 70)));
  EXPECT_TRUE(growth_of({}, before).is_certain);
}

TEST(OwnEntry, IsNoneWhereItWasLeftAsThatOfARunningTest) {
  const Log before = {row(0, 80)};
  const auto own_of = [&](const Log& added, bool may_be_lost) {
    Log now = added;
    now.push_back(before.front());
    return own_entry({Protocol::Ata, TestKind::Short, 100, 10, {}, 0, may_be_lost},
                     growth_of(under(running(90), before), now));
  };
  const OwnEntry left = own_of({row(0, 100), running(90)}, true);
  EXPECT_FALSE(left.entry);
  EXPECT_TRUE(left.is_over);
  EXPECT_EQ(left.reason, "the drive has left its entry as that of a running test");
  EXPECT_EQ(own_of({row(0, 100), running(90)}, false).entry, row(0, 100));
  EXPECT_EQ(own_of({row(7, 102), running(90), row(0, 100)}, true).entry, row(0, 100));
  LogEntry other = running(90);
  other.kind = TestKind::Long;
  EXPECT_EQ(own_of({row(0, 100), other}, true).entry, row(0, 100));
}

// Rows of a clock that stands still are all equal.
TEST(OwnEntry, IsNoneWhereItWasLeftInALogThatDoesNotTellWhatIsNew) {
  const Log before = full(true, 0);
  const Log now = under(row(0, 0), under(running(90, 0), before));
  const LogGrowth growth = growth_of(under(running(90, 0), before), now);
  ASSERT_FALSE(growth.is_certain);
  const auto own_of = [&](bool may_be_lost) {
    return own_entry({Protocol::Ata, TestKind::Short, 100, 10, {}, 0, may_be_lost}, growth);
  };
  EXPECT_FALSE(own_of(true).entry);
  EXPECT_EQ(own_of(false).entry, row(0, 0));
}

TEST(OwnEntry, IsNoneOfALaterHourInALogThatIsAnother) {
  const LogGrowth growth = growth_of({row(0, 80), row(0, 70)}, {row(0, 120), row(0, 60)});
  ASSERT_FALSE(growth.is_certain);
  const auto own_of = [&](std::uint64_t usual_hours) {
    return own_entry({Protocol::Ata, TestKind::Short, 100, 48, 130, usual_hours}, growth);
  };
  EXPECT_EQ(own_of(24).entry, row(0, 120));
  EXPECT_FALSE(own_of(2).entry);
}

TEST(LogGrowth, OfAFullLogLosesTheOldestRow) {
  const LogGrowth growth = growth_of(full(), under(row(0, 100), full()));
  EXPECT_THAT(growth.added, ElementsAre(row(0, 100)));
  EXPECT_TRUE(growth.is_certain);
  EXPECT_TRUE(growth_of(full(), full()).is_certain);
}

TEST(LogGrowth, OfAFullLogOfEqualRowsIsNotCertain) {
  EXPECT_FALSE(growth_of(full(true), full(true)).is_certain);
  const LogGrowth growth = growth_of(full(true), under(row(7, 100), full(true)));
  EXPECT_THAT(growth.added, ElementsAre(row(7, 100)));
  EXPECT_FALSE(growth.is_certain) << "one of the equal rows may be new, too";
  EXPECT_EQ(own(full(true), under(row(7, 100), full(true))).entry, row(7, 100));
}

TEST(LogGrowth, OfALogOfEqualRowsThatIsNotFullIsToldByItsLength) {
  const Log before = {row(0, 80), row(0, 80)};
  const LogGrowth growth = growth_of(before, under(row(0, 80), before));
  EXPECT_THAT(growth.added, ElementsAre(row(0, 80)));
  EXPECT_TRUE(growth.is_certain);
}

TEST(LogGrowth, HasNoRunningTest) {
  const Log before = {row(0, 80)};
  EXPECT_THAT(growth_of(before, under(running(90), before)).added, IsEmpty());
  EXPECT_THAT(growth_of(under(running(90), before), under(running(10), before)).added, IsEmpty());
  const LogGrowth ended = growth_of(under(running(10), before), under(row(0, 100), before));
  EXPECT_THAT(ended.added, ElementsAre(row(0, 100)));
  EXPECT_TRUE(ended.is_certain);
  EXPECT_TRUE(growth_of(full(), under(running(90), full())).is_certain);
  EXPECT_THAT(growth_of(under(running(10), full()), under(row(0, 100), full())).added,
              ElementsAre(row(0, 100)));
}

TEST(LogGrowth, LeavesARowAloneThatALossOfPowerLeftBehind) {
  const Log before = {running(60, 50), row(0, 40)};
  EXPECT_THAT(growth_of(before, before).added, IsEmpty());
  const LogGrowth growth = growth_of(before, under(row(7, 100), before));
  EXPECT_THAT(growth.added, ElementsAre(row(7, 100)));
  EXPECT_TRUE(growth.is_certain);
  EXPECT_THAT(growth_of(before, under(running(60, 50), before)).added, IsEmpty());
}

TEST(LogGrowth, OfALogWithoutAnyRowOfBeforeIsNotCertain) {
  const Log later = {row(0, 500), row(0, 400)};
  EXPECT_FALSE(growth_of({row(0, 80), row(0, 70)}, later).is_certain);
  EXPECT_FALSE(growth_of({row(0, 80), row(0, 70), row(0, 60)}, later).is_certain);
  EXPECT_FALSE(growth_of({row(0, 80), row(0, 70)}, {row(0, 80)}).is_certain);
}

TEST(LogGrowth, OfALogThatBecameFullMeanwhileLosesRowsToo) {
  Log before = full();
  before.pop_back();
  Log now = under(row(0, 110), under(row(7, 100), before));
  ASSERT_EQ(now.size(), 21U);
  EXPECT_THAT(growth_of(before, now).added, ElementsAre(row(0, 110), row(7, 100)));
  EXPECT_TRUE(growth_of(before, now).is_certain);
}

// As where the extended log could be read before, and the standard one, which is shorter, now.
TEST(LogGrowth, HasNoRowThatStoodThereBefore) {
  Log before = full();
  for (std::uint64_t hours = 60; hours > 56; --hours) before.push_back(row(0, hours));
  EXPECT_THAT(growth_of(before, full()).added, IsEmpty());
  EXPECT_FALSE(growth_of(before, full()).is_certain);
  EXPECT_THAT(growth_of(before, under(row(7, 100), full())).added, ElementsAre(row(7, 100)));
  // And the other way round.
  EXPECT_THAT(growth_of(full(), before).added, IsEmpty());
  EXPECT_THAT(growth_of(full(), under(row(7, 100), before)).added, ElementsAre(row(7, 100)));
}

TEST(LogGrowth, TakesNoOldRowForNewThatARunningTestHadPushedOut) {
  EXPECT_THAT(growth_of(under(running(90), full()), full()).added, IsEmpty());
  const LogGrowth growth = growth_of(under(running(90), full(true)), full(true));
  EXPECT_THAT(growth.added, IsEmpty());
  EXPECT_TRUE(growth.is_result_in_doubt);
}

TEST(LogGrowth, TakesNoOldRowForNewWhereARowThatWasLeftBehindIsTheFirstAgain) {
  const Log left_behind = under(running(60, 50), full());
  const LogGrowth growth = growth_of(under(running(90), left_behind), left_behind);
  EXPECT_THAT(growth.added, IsEmpty());
  EXPECT_TRUE(growth.is_certain);
}

TEST(LogGrowth, TellsTheEndOfATestThoughAnotherRunsAlready) {
  const Log before = {running(90), row(0, 80)};
  EXPECT_THAT(growth_of(before, {running(90), row(7, 100), row(0, 80)}).added,
              ElementsAre(row(7, 100)));
}

TEST(LogGrowth, TellsTheEndOfATestWhereARowOfTheSameIsLeftBehind) {
  const Log before = {running(90), row(1, 90), running(90)};
  EXPECT_THAT(growth_of(before, {row(7, 100), row(1, 90), running(90)}).added,
              ElementsAre(row(7, 100)));
}

TEST(LogGrowth, WithoutALogOfBeforeIsNotCertain) {
  const LogGrowth growth = growth_from_unknown({running(90), row(0, 80)});
  EXPECT_THAT(growth.added, ElementsAre(row(0, 80)));
  EXPECT_FALSE(growth.is_certain);
  EXPECT_FALSE(own_entry({Protocol::Ata, TestKind::Short, 100, 10}, growth).entry)
      << "a test of old is not taken for one's own";
}

TEST(OwnEntry, IsTheOnlyNewOneOfItsKindWhateverItsHours) {
  const Log before = {row(0, 80)};
  EXPECT_EQ(own(before, under(row(7, 4660), before)).entry, row(7, 4660));
  EXPECT_FALSE(own(before, before).entry);
  EXPECT_EQ(own(before, before).reason, "the drive has written no entry in its log");
}

TEST(OwnEntry, IsNoneOfAnHourAtWhichTheTestWasLongOver) {
  const auto told = [](std::uint64_t hours, std::uint64_t now, Protocol protocol = Protocol::Ata) {
    const LogGrowth growth = growth_of({}, {row(0, hours)});
    return own_entry({protocol, TestKind::Short, 100, 48, now, 6}, growth);
  };
  EXPECT_TRUE(told(106, 130).entry);
  EXPECT_FALSE(told(107, 130).entry);
  EXPECT_EQ(told(107, 130).reason, "the drive has written entries of later tests only");
  EXPECT_TRUE(told(107, 130).is_over);
  EXPECT_FALSE(told(1100, 1100, Protocol::Nvme).entry);
  // Of another clock.
  EXPECT_TRUE(told(4660, 130).entry);
  EXPECT_TRUE(told(0, 130).entry);
}

TEST(OwnEntry, IsNoneOfNvmeThatIsOfAnHourBeforeTheTest) {
  const auto own = [](const Log& now) {
    return own_entry({Protocol::Nvme, TestKind::Short, 100, 48, 130, 6}, growth_of({}, now));
  };
  EXPECT_TRUE(own({row(0, 100)}).entry);
  EXPECT_FALSE(own({row(0, 99)}).entry);
  EXPECT_FALSE(own({row(0, 99)}).is_over) << "the test may go on";
  EXPECT_EQ(own({row(0, 99)}).reason,
            "the drive has written entries of hours before the test began");
  EXPECT_EQ(own({row(7, 100), row(0, 99)}).entry, row(7, 100)) << "not the oldest of its kind";
  LogEntry without_hours = row(0, 99);
  without_hours.hours.reset();
  EXPECT_TRUE(own({without_hours}).entry);
}

TEST(OwnEntry, IsTheOldestOfItsKindAmongSeveral) {
  const Log before = {row(0, 80)};
  const Log now = under(row(0, 101), under(row(1, 100), before));
  EXPECT_EQ(own(before, now).entry, row(1, 100));
  const Log other = under(row(0, 101, TestKind::Long), before);
  EXPECT_FALSE(own(before, other).entry);
  EXPECT_EQ(own(before, other).reason, "the drive has written entries of other tests only");
  EXPECT_EQ(own(before, under(row(7, 102), other)).entry, row(7, 102));
}

TEST(OwnEntry, IsToldByItsHoursWhereAllRowsAreNew) {
  Log later;
  for (std::uint64_t i = 0; i < 21; ++i) later.push_back(row(0, 500 - i * 20));
  EXPECT_EQ(own(full(), later, 95).entry, row(0, 100));
  EXPECT_FALSE(own(full(), later, 70).entry);
  later.back().result_code = 7;
  EXPECT_EQ(own(full(), later, 95).entry->result_code, 7);
  later[19] = row(0, 101);
  EXPECT_FALSE(own(full(), later, 95).entry) << "two of unlike results fit";
}

TEST(OwnEntry, IsFoundWhereHoursWrapOrStandStill) {
  Log later;
  for (std::uint64_t i = 0; i < 20; ++i) later.push_back(row(0, 1000 - i * 20));
  later.push_back(row(7, 4));
  EXPECT_EQ(own(full(), later, 65530).entry, row(7, 4));
  EXPECT_EQ(own(full(), later, 65530 + 65536).entry, row(7, 4));
  EXPECT_FALSE(own(full(), later, 65530, Protocol::Nvme).entry);
  later.back() = row(7, 65535);
  EXPECT_EQ(own(full(), later, 70000, Protocol::Scsi).entry, row(7, 65535));
  EXPECT_FALSE(own(full(), later, 300, Protocol::Scsi).entry);
}

TEST(OwnEntry, OfUnknownBeforeIsNoneThatEndedInTheHourOfTheStart) {
  const OwnTest test{Protocol::Ata, TestKind::Short, 100, 10};
  EXPECT_FALSE(own_entry(test, growth_from_unknown({row(0, 100)})).entry);
  EXPECT_EQ(own_entry(test, growth_from_unknown({row(0, 101)})).entry, row(0, 101));
}

// Of a full log of equal rows any number may have been added, but the new one is new in any case.
TEST(OwnEntry, IsTheNewOneAboveEqualRowsThatCannotBeIt) {
  const Log before = full(true);
  const Log aborted = under(row(1, 90), before);
  EXPECT_FALSE(own(before, aborted, 90).entry) << "one that passed may have been added below";
  EXPECT_EQ(own(before, under(row(1, 95), before), 95).entry, row(1, 95));
  EXPECT_EQ(own(before, under(row(0, 4660), before), 95).entry, row(0, 4660));
  EXPECT_FALSE(own(before, under(row(1, 4660), before), 95).entry) << "of another clock";
}

TEST(OwnEntry, TellsThatTheTestIsOverWhereItDoesNotTellWhichItIs) {
  EXPECT_TRUE(own(full(true), under(row(1, 4660), full(true)), 95).is_over);
  EXPECT_FALSE(own(full(true), full(true)).is_over);
  EXPECT_FALSE(own({}, {row(0, 100, TestKind::Long)}).is_over);
}

TEST(OwnEntry, OfAFullLogOfEqualRowsIsNone) {
  EXPECT_FALSE(own(full(true, 100), full(true, 100)).entry);
  EXPECT_EQ(own(full(true, 100), full(true, 100)).reason,
            "the drive's log does not tell which entry is this test's");
}

}  // namespace
}  // namespace drivetest
