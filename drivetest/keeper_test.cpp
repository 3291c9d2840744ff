#include "drivetest/keeper.h"

#include <filesystem>
#include <fstream>

#include "drivetest/keeper_case.h"

namespace drivetest {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;

class KeeperTest : public KeeperCase {};

INSTANTIATE_TEST_SUITE_P(Protocols, KeeperTest, every_protocol(), protocol_name);

TEST_P(KeeperTest, TellsAFailureByTheDrivesOwnEntry) {
  drive_.result_code = 7;
  start();
  time_.wait(minutes(3));
  EXPECT_EQ(look().ended.front().outcome, Outcome::Failed);
}

TEST_P(KeeperTest, WithoutEntryKnowsTheResultByAtasStatusAlone) {
  drive_.writes_entries = false;
  start();
  time_.wait(minutes(3));
  EXPECT_EQ(look().ended.front().outcome,
            GetParam() == Protocol::Ata ? Outcome::Passed : Outcome::Unknown);
}

TEST_P(KeeperTest, BelievesNoStatusAfterALossOfPower) {
  drive_.writes_entries = false;
  for (const std::optional<std::uint64_t> later : {std::optional(21U), std::optional<unsigned>()}) {
    start();
    time_.wait(minutes(3));
    drive_.power_cycles = later;
    EXPECT_EQ(look().ended.front().outcome, Outcome::Unknown);
    drive_.power_cycles = 20U;
  }
}

// A wrong type, or a command that failed, may show the drive without the log that it has.
TEST_P(KeeperTest, ALookThatDoesNotReachTheLogEndsNothing) {
  start();
  time_.wait(minutes(3));
  drive_.shows_log = false;
  EXPECT_TRUE(look().ended.empty());
  EXPECT_TRUE(look().running) << "as far as anybody knows";
  drive_.shows_log = true;
  EXPECT_EQ(look().ended.front().outcome, Outcome::Passed);
}

TEST_P(KeeperTest, TakesOverWhatOthersHaveTestedOnce) {
  drive_.result_code = 7;
  drive_.begin(TestKind::Short);
  time_.wait(minutes(3));
  EXPECT_TRUE(look().ended.empty()) << "nobody waited for it";
  drive_.begin(TestKind::Long);
  time_.wait(minutes(200));
  look();
  look();
  EXPECT_EQ(outcomes(), "failed failed ");
  for (const TestRow& row : rows()) EXPECT_EQ(row.source, Source::Other);
}

TEST_P(KeeperTest, DoesNotTakeTheTestOfAnotherForItsOwn) {
  start();
  drive_.end(1);
  drive_.result_code = 0;
  drive_.begin(TestKind::Long);
  time_.wait(minutes(3));
  EXPECT_EQ(look().ended.front().outcome, Outcome::Aborted);
  EXPECT_EQ(outcomes(), "aborted passed ");
}

TEST_P(KeeperTest, DoesNotUndoWhatALaterLookHasTold) {
  start();
  const SeenLook old = keeper_.see(place_, false);
  Keeper other(drive_, time_, [this] { return history_.get(); });
  EXPECT_EQ(other.stop(place_, false).result, StopResult::Stopped);
  EXPECT_FALSE(keeper_.settle(old, false).running);
  EXPECT_EQ(outcomes(), "aborted ");
  start();
  const SeenLook running = keeper_.see(place_, false);
  time_.wait(minutes(3));
  other.look(place_, false);
  keeper_.settle(running, false);
  EXPECT_EQ(outcomes(), "aborted passed ");
}

TEST_P(KeeperTest, DoesNotUndoWhatOthersTellWhoAreQuickerEachTime) {
  start();
  Keeper other(drive_, time_, [this] { return history_.get(); });
  int looks = 0;
  const std::function<void()> meanwhile = [&] {
    constexpr int kManyLooks = 5;
    if (++looks == kManyLooks) {
      other.stop(place_, false);
      return;
    }
    other.look(place_, false);
    drive_.during_look = meanwhile;
  };
  drive_.during_look = meanwhile;
  EXPECT_FALSE(look().running);
  EXPECT_EQ(outcomes(), "aborted ");
}

TEST_P(KeeperTest, TakesATestThatEndsDuringALookForOne) {
  start();
  SeenLook torn = keeper_.see(place_, false);
  drive_.end(1);
  torn.look.log = keeper_.see(place_, false).look.log;
  const DriveStatus status = keeper_.settle(torn, false);
  EXPECT_FALSE(status.running);
  ASSERT_EQ(status.ended.size(), 1);
  EXPECT_EQ(status.ended.front().outcome, Outcome::Aborted);
  EXPECT_EQ(outcomes(), "aborted ");
}

TEST_P(KeeperTest, LooksOnceMoreWhereAnotherTestEndsDuringTheSecondLook) {
  start();
  drive_.during_look = [&] {
    drive_.end(1);
    drive_.begin(TestKind::Long);
    drive_.during_look = [&] { drive_.end(7); };
  };
  EXPECT_FALSE(look().running);
  EXPECT_EQ(outcomes(), "aborted failed ");
}

TEST_P(KeeperTest, KeepsATestThatEndsDuringTheFirstLookOnce) {
  drive_.begin(TestKind::Short);
  drive_.during_look = [&] { drive_.end(7); };
  EXPECT_FALSE(look().running);
  EXPECT_EQ(outcomes(), "failed ");
}

// Another process sees it between the two looks of this one, and moves what is kept of the drive.
TEST_P(KeeperTest, KeepsATestOnceOfADriveThatAnotherOneClaimsToBeMeanwhile) {
  start();
  drive_.during_look = [&] {
    drive_.share_identity();
    History other({.folder = folder_ / "hvx", .host = {"aa", "host"}});
    Keeper(drive_, time_, [&] { return &other; }).look(place_, false);
    drive_.end(7);
  };
  EXPECT_FALSE(look().running);
  EXPECT_EQ(outcomes(), "failed ");
  EXPECT_EQ(rows().front().source, Source::Library);
}

// An earlier version could not read the NGUID.
TEST_P(KeeperTest, KnowsADriveOfNvmeAgainThatTellsItsNguid) {
  if (GetParam() != Protocol::Nvme) return;
  drive_.rename("");
  start();
  drive_.rename("nguid-0025385b71b0a7c10025385b71b0a7c1");
  time_.wait(minutes(3));
  EXPECT_EQ(look().ended.size(), 1);
  EXPECT_EQ(outcomes(), "passed ");
  EXPECT_EQ(rows().front().drive, "nguid-0025385b71b0a7c10025385b71b0a7c1");
  EXPECT_EQ(rows().front().source, Source::Library);
}

// What docs/history.md advises, since an import would add the test a second time.
TEST_P(KeeperTest, HasATestOnceWhereACopyIsPutBackInThePlaceOfADamagedHistory) {
  const std::filesystem::path file = folder_ / "hvx/history.sqlite";
  const auto look_anew = [&] {
    history_ = std::make_unique<History>(
        HistoryOptions{.folder = folder_ / "hvx", .host = {"aa", "host"}});
    Keeper(drive_, time_, [this] { return history_.get(); }).look(place_, false);
  };
  start();
  time_.wait(minutes(3));
  look();
  history_.reset();
  std::filesystem::copy_file(file, folder_ / "copy");
  std::ofstream(file) << "no history";
  look_anew();
  ASSERT_EQ(rows().size(), 1);
  EXPECT_EQ(rows().front().source, Source::Other) << "the log does not tell more";
  history_.reset();
  std::filesystem::rename(folder_ / "copy", file);
  drive_.begin(TestKind::Long);
  time_.wait(minutes(3));
  look_anew();
  ASSERT_EQ(rows().size(), 2);
  EXPECT_EQ(rows()[0].source, Source::Library);
  EXPECT_EQ(rows()[1].source, Source::Other) << "the test since";
}

}  // namespace
}  // namespace drivetest
