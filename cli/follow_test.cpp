#include "cli/follow.h"

#include <gmock/gmock.h>

#include "drivetest/database.h"
#include "drivetest/fake_drive.h"
#include "drivetest/history.h"
#include "platform/support/support_test.h"

namespace cli {
namespace {

using drivetest::FakeDrive;
using drivetest::FakeTime;
using drivetest::Keeper;
using drivetest::LookFault;
using drivetest::Place;
using drivetest::Source;
using drivetest::StartOutcome;
using drivetest::TestKind;
using std::chrono::minutes;
using std::chrono::seconds;
using testing::ElementsAre;

drivetest::Abilities announced(unsigned minutes) {
  drivetest::Abilities abilities;
  abilities.fill({true, minutes});
  return abilities;
}

TEST(TimeToNextLook, IsAHundredthOfTheAnnouncedTimeWithinBounds) {
  EXPECT_EQ(time_to_next_look(TestKind::Long, announced(30)), seconds(18));
  EXPECT_EQ(time_to_next_look(TestKind::Long, announced(1)), seconds(5));
  EXPECT_EQ(time_to_next_look(TestKind::Long, announced(1804)), seconds(60));
  EXPECT_EQ(time_to_next_look(TestKind::Short, announced(255)), seconds(5));
  EXPECT_EQ(time_to_next_look(TestKind::Long, {}), seconds(15));
  EXPECT_EQ(time_to_next_look({}, announced(84)), seconds(15)) << "of which test it is not known";
}

TEST(RemainingText, TellsPercentAndMinutes) {
  drivetest::TestRow row;
  row.kind = TestKind::Long;
  EXPECT_EQ(remaining_text(test_progress(row, announced(84), false)), "");
  row.remaining_percent = 50;
  EXPECT_EQ(remaining_text(test_progress(row, announced(84), false)),
            ", 50% remaining, 42 minutes or more");
  EXPECT_EQ(remaining_text(test_progress(row, {}, false)), ", 50% remaining");
  row.remaining_percent = 1;
  EXPECT_EQ(remaining_text(test_progress(row, announced(84), false)),
            ", 1% remaining, 1 minute or more");
  row.remaining_percent = 0;
  EXPECT_EQ(remaining_text(test_progress(row, announced(84), false)), ", 0% remaining");
  EXPECT_EQ(remaining_text(test_progress(row, announced(84), true)),
            ", 0% remaining, stalled: it may still end, and 'hddtest stop' ends it");
  row.kind.reset();
  row.remaining_percent = 50;
  EXPECT_EQ(remaining_text(test_progress(row, announced(84), false)), ", 50% remaining");
}

TEST(IsWorthALine, TakesStepsOfTenPercent) {
  const auto at = [](std::optional<unsigned> percent, bool is_stalled = false) {
    return TestProgress{.percent = percent, .is_stalled = is_stalled};
  };
  EXPECT_TRUE(is_worth_a_line({}, at(99)));
  EXPECT_FALSE(is_worth_a_line(at(99), at(98)));
  EXPECT_TRUE(is_worth_a_line(at(90), at(89)));
  EXPECT_TRUE(is_worth_a_line(at({}), at(100))) << "it tells a percentage now";
  EXPECT_TRUE(is_worth_a_line(at(40), at(40, true)));
}

class Follow : public testing::Test {
 protected:
  StartOutcome start() { return keeper_.start(place_, TestKind::Short, false, false); }

  Followed follow(const StartOutcome& outcome, const FollowOptions& options = {}) {
    return cli::follow(keeper_, time_, *outcome.row, outcome.status, options,
                       [&](const TestProgress& progress) {
                         told_.push_back(progress);
                         if (told_.size() == 3 && meanwhile_) meanwhile_();
                       });
  }

  std::vector<unsigned> percents() const {
    std::vector<unsigned> percents;
    for (const TestProgress& one : told_) percents.push_back(one.percent.value_or(0));
    return percents;
  }

  const Place place_{"/dev/sda", ""};
  FakeTime time_;
  FakeDrive drive_{time_};
  Keeper keeper_{drive_, time_, [] { return nullptr; }};
  std::vector<TestProgress> told_;
  std::function<void()> meanwhile_;  // when the third progress is told
};

TEST_F(Follow, TellsEachChangeOnceAndThenTheEnd) {
  const auto begin = time_.now();
  const Followed followed = follow(start());
  EXPECT_EQ(followed.end, Followed::End::Ended);
  EXPECT_EQ(followed.row.outcome, drivetest::Outcome::Passed);
  EXPECT_THAT(percents(), ElementsAre(100, 90, 80, 70, 60, 50, 40, 30, 20, 10, 0));
  EXPECT_EQ(told_.front().source, Source::Library);
  EXPECT_EQ(told_.front().minutes, 2U);
  EXPECT_LT(time_.now() - begin, FakeDrive::kDuration + seconds(10));
}

TEST_F(Follow, TellsTheAbortOfATestThatSomebodyElseReplaces) {
  meanwhile_ = [&] { drive_.begin(TestKind::Long); };
  const Followed followed = follow(start());
  EXPECT_EQ(followed.end, Followed::End::Ended);
  EXPECT_EQ(followed.row.outcome, drivetest::Outcome::Aborted);
  EXPECT_EQ(followed.row.kind, TestKind::Short);
}

TEST_F(Follow, OutlastsAFewLooksThatFail) {
  int looks = 0;
  meanwhile_ = [&] {
    drive_.fault = LookFault::CannotBeReached;
    looks = drive_.looks;
  };
  drive_.mend_after = 3;
  EXPECT_EQ(follow(start()).row.outcome, drivetest::Outcome::Passed);
  EXPECT_GT(drive_.looks, looks + 3);
}

TEST_F(Follow, EndsWithADriveThatCannotBeAskedAnyMore) {
  meanwhile_ = [&] { drive_.fault = LookFault::CannotBeReached; };
  EXPECT_EQ(follow(start()).end, Followed::End::NotTold);
  drive_.fault = LookFault::None;
}

TEST_F(Follow, EndsWithADriveThatIsGone) {
  meanwhile_ = [&] { drive_.fault = LookFault::NoSuchDrive; };
  EXPECT_EQ(follow(start()).end, Followed::End::Gone);
}

TEST_F(Follow, TakesAnotherDriveInThePlaceForNone) {
  meanwhile_ = [&] { drive_.rename("wwn-0x5000000000000002"); };
  EXPECT_EQ(follow(start()).end, Followed::End::Gone);
}

TEST_F(Follow, TakesADriveThatSaysLessForNoOther) {
  meanwhile_ = [&] { drive_.rename(""); };
  const Followed followed = follow(start());
  EXPECT_EQ(followed.end, Followed::End::NotTold);
  EXPECT_EQ(followed.look.reason, "it does not say any more who it is");
}

TEST_F(Follow, WakesADriveThatRestsOnceAndOnlyIfItMay) {
  meanwhile_ = [&] {
    drive_.end(1);
    drive_.rests = true;
  };
  const Followed left = follow(start());
  EXPECT_EQ(left.end, Followed::End::NotTold);
  EXPECT_EQ(drive_.woken, 0);
  drive_.rests = false;
  told_.clear();
  const Followed woken = follow(start(), {.wakes = true});
  EXPECT_EQ(woken.end, Followed::End::Ended);
  EXPECT_EQ(woken.row.outcome, drivetest::Outcome::Aborted);
  EXPECT_EQ(drive_.woken, 1);
}

TEST_F(Follow, GivesUpATestWithoutProgressOnlyIfAsked) {
  drive_.stands_still = true;
  const auto begin = time_.now();
  const Followed followed = follow(start(), {.gives_up_stalled = true});
  EXPECT_EQ(followed.end, Followed::End::Stalled);
  EXPECT_TRUE(told_.back().is_stalled);
  EXPECT_GE(time_.now() - begin, std::chrono::hours(1));
  EXPECT_LT(time_.now() - begin, minutes(62));
}

TEST_F(Follow, GoesOnWithATestWithoutProgress) {
  drive_.stands_still = true;
  const StartOutcome started = start();
  const Followed followed =
      cli::follow(keeper_, time_, *started.row, started.status, {}, [&](const TestProgress& told) {
        if (told.is_stalled) drive_.stands_still = false;
      });
  EXPECT_EQ(followed.end, Followed::End::Ended);
}

// Other programs, and a second process of hddtest, use the history meanwhile.
class FollowWithHistory : public Follow {
 protected:
  Followed followed() {
    const StartOutcome started = keeper_.start(place_, TestKind::Short, false, false);
    number_ = started.row->number;
    return cli::follow(keeper_, time_, *started.row, started.status, {},
                       [&](const TestProgress& progress) {
                         told_.push_back(progress);
                         if (told_.size() == 3) meanwhile_();
                       });
  }

  const NKVRHVX20::TemporaryFolder folder_;
  drivetest::History history_{
      {.folder = folder_ / "hvx", .host = {"aa", "host"}, .patience = std::chrono::milliseconds()}};
  drivetest::History other_{{.folder = folder_ / "hvx", .host = {"aa", "host"}}};
  Keeper keeper_{drive_, time_, [this] { return &history_; }};
  std::int64_t number_ = 0;
};

TEST_F(FollowWithHistory, TellsTheEndOfATestWhoseHistoryOthersKeepBusy) {
  std::optional<drivetest::Transaction> busy;
  meanwhile_ = [&] { busy.emplace(other_.database()); };
  const Followed told = followed();
  EXPECT_EQ(told.end, Followed::End::Ended);
  EXPECT_EQ(told.row.outcome, drivetest::Outcome::Passed) << told.row.cause;
  EXPECT_EQ(told.row.number, number_);
  EXPECT_EQ(told.row.source, Source::Library);
  EXPECT_THAT(keeper_.history_fault(), testing::HasSubstr("busy"));
  EXPECT_TRUE(keeper_.had_history());
  busy.reset();
  EXPECT_FALSE(other_.find(number_)->row.outcome) << "a later look ends it";
  Keeper later(drive_, time_, [this] { return &other_; });
  later.look(place_, false);
  EXPECT_EQ(other_.find(number_)->row.outcome, drivetest::Outcome::Passed);
}

TEST_F(FollowWithHistory, GoesOnWithADriveThatIsKnownByItsPlaceSinceAnotherOneClaimsToBeIt) {
  meanwhile_ = [&] { drive_.share_identity(); };
  const Followed told = followed();
  EXPECT_EQ(told.end, Followed::End::Ended);
  EXPECT_EQ(told.row.outcome, drivetest::Outcome::Passed) << told.row.cause;
  EXPECT_EQ(told.row.number, number_);
}

TEST_F(FollowWithHistory, SaysWhoHasLostTheTest) {
  meanwhile_ = [&] { other_.database().run("DELETE FROM tests"); };
  const Followed told = followed();
  EXPECT_EQ(told.row.outcome, drivetest::Outcome::Unknown);
  EXPECT_EQ(told.row.cause, "somebody has removed the test from the history");
}

}  // namespace
}  // namespace cli
