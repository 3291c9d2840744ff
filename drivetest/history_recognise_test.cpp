#include <gmock/gmock.h>

#include <sstream>

#include "drivetest/history.h"
#include "drivetest/history_case.h"
#include "drivetest/history_transfer.h"

namespace drivetest {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

// A drive of NVMe whose name space has an NGUID.
class RecognisedDrive : public HistoryCase {
 protected:
  static Drive unnamed() {
    Drive unnamed = drive(1);
    unnamed.protocol = Protocol::Nvme;
    return unnamed;
  }
  static Drive named() {
    Drive named = unnamed();
    named.world_wide_name = "nguid-0025385b71b0a7c10025385b71b0a7c1";
    return named;
  }
  static std::size_t count(History& history, const Drive& drive) {
    return history.of_drive(drive.identity(), 100).size();
  }
  // A look at the drive that has shown a log of tests by others, of which so many are new.
  static void look_at(History& history, const Drive& drive, const std::vector<LogEntry>& log,
                      std::size_t added) {
    DriveChange change;
    change.log = log;
    for (std::size_t i = added; i-- > 0;) {
      TestRow row = ended_row(0);
      row.source = Source::Other;
      row.started.reset();
      row.hours = log[i].hours;
      change.added.push_back(row);
    }
    ASSERT_TRUE(history.change(drive, history.state(drive.identity()), change));
  }
  static TestRow running_row(Source source) {
    TestRow row = begun_row();
    row.source = source;
    return row;
  }
  // The hours of its tests, the newest first.
  static std::vector<std::uint64_t> hours_of(History& history, const Drive& drive) {
    std::vector<std::uint64_t> hours;
    for (const KeptTest& test : history.of_drive(drive.identity(), 100))
      hours.push_back(test.row.hours.value_or(0));
    return hours;
  }
  static std::string exported(History& history) {
    std::string lines;
    export_history(history, [&](std::string_view line) { lines += line; });
    return lines;
  }
  static ImportCounts imported(History& history, const std::string& lines) {
    std::istringstream file(lines);
    return import_history(history, file);
  }
  // One test has ended and one runs, under the former name.
  static void history_of_two(History& history) {
    history.update(ended_row(history.begin(unnamed(), begun_row()).number));
    history.begin(unnamed(), begun_row());
  }
  HistoryOptions other_options() const {
    HistoryOptions other = options();
    other.folder = root() / "other";
    return other;
  }
};

TEST_F(RecognisedDrive, HasItsTestsOfBeforeAndTheOneThatRuns) {
  History history(options());
  tested(history, 2);
  history.update(ended_row(history.begin(unnamed(), begun_row()).number));
  const std::int64_t running = history.begin(unnamed(), begun_row()).number;
  for (int time = 0; time < 2; ++time) {
    history.recognise(named());
    EXPECT_EQ(count(history, named()), 2);
    EXPECT_EQ(count(history, unnamed()), 0);
    EXPECT_EQ(count(history, drive(2)), 1) << "another drive";
  }
  EXPECT_EQ(history.running(named().identity())->row.number, running);
  EXPECT_EQ(history.drives().size(), 2);
}

TEST_F(RecognisedDrive, GetsTheTestsOfBeforeBesideThoseOfItsName) {
  History history(options());
  history.update(ended_row(history.begin(unnamed(), begun_row()).number));
  const std::int64_t running = history.begin(named(), begun_row()).number;
  history.recognise(named());
  EXPECT_EQ(count(history, named()), 2);
  EXPECT_EQ(history.running(named().identity())->row.number, running);
  EXPECT_EQ(history.drives().size(), 1);
}

TEST_F(RecognisedDrive, IsOfThisMachineAndHasTheNameOfItsNamespace) {
  {
    History other(options("b"));
    other.update(ended_row(other.begin(unnamed(), begun_row()).number));
  }
  History history(options());
  history.update(ended_row(history.begin(unnamed(), begun_row()).number));
  Drive other_name = unnamed();
  other_name.world_wide_name = "wwn-0x5000c500a1b2c3d4";
  history.recognise(other_name);
  EXPECT_EQ(count(history, unnamed()), 1);
  history.recognise(named());
  EXPECT_EQ(count(history, named()), 1);
  EXPECT_EQ(count(*std::make_unique<History>(options("b")), unnamed()), 1);
}

// The EUI-64 can be read no more where the name space is gone.
TEST_F(RecognisedDrive, HasItsTestsOfBeforeByItsEui64) {
  History history(options());
  Drive drive = unnamed();
  drive.world_wide_name = "eui-0025385b71b0a7c1";
  history.update(ended_row(history.begin(drive, begun_row()).number));
  EXPECT_EQ(history.name_of(unnamed()), drive.world_wide_name);
  history.begin(unnamed(), begun_row());
  history.recognise(drive);
  EXPECT_EQ(count(history, drive), 2);
  EXPECT_EQ(count(history, unnamed()), 0);
}

// The NGUID could not be read for a time, in which a test was started.
TEST_F(RecognisedDrive, HasTheTestThatRunsBesideTheTestsOfItsName) {
  History history(options());
  history.update(ended_row(history.begin(named(), begun_row()).number));
  look_at(history, named(), {entry(100)}, 0);
  now += 1h;
  look_at(history, unnamed(), {entry(200), entry(100)}, 2);
  const std::int64_t running = history.begin(unnamed(), begun_row()).number;
  history.recognise(named());
  ASSERT_TRUE(history.running(named().identity()));
  EXPECT_EQ(history.running(named().identity())->row.number, running);
  EXPECT_THAT(hours_of(history, named()), ElementsAre(0, 200, 100));
  EXPECT_THAT(history.state(named().identity()).log, testing::Optional(testing::SizeIs(2)))
      << "the log as it was when the test began";
  EXPECT_EQ(history.drives().size(), 1);
}

TEST_F(RecognisedDrive, EndsTheEarlierOfTwoTestsThatRun) {
  for (const bool is_named_first : {true, false}) {
    HistoryOptions other = options();
    other.folder = root() / (is_named_first ? "named" : "unnamed");
    History history(other);
    const std::int64_t first =
        history.begin(is_named_first ? named() : unnamed(), begun_row()).number;
    now += 1h;
    const std::int64_t second =
        history.begin(is_named_first ? unnamed() : named(), begun_row()).number;
    history.recognise(named());
    EXPECT_EQ(history.running(named().identity())->row.number, second);
    const TestRow row = history.find(first)->row;
    EXPECT_EQ(row.outcome, Outcome::Unknown);
    EXPECT_EQ(row.ended, now);
    EXPECT_EQ(row.cause,
              "the drive was known by another name meanwhile, and nobody saw how the test ended");
    EXPECT_EQ(history.drives().size(), 1);
  }
}

TEST_F(RecognisedDrive, HasATestOnceThatAnotherNameWasSeenRunning) {
  for (const bool is_named_first : {true, false}) {
    HistoryOptions other = options();
    other.folder = root() / (is_named_first ? "named" : "unnamed");
    History history(other);
    const std::int64_t own =
        history.begin(is_named_first ? named() : unnamed(), begun_row()).number;
    now += 1h;
    history.begin(is_named_first ? unnamed() : named(), running_row(Source::Other));
    history.recognise(named());
    EXPECT_EQ(history.running(named().identity())->row.number, own);
    EXPECT_EQ(count(history, named()), 1);
  }
}

TEST_F(RecognisedDrive, EndsATestWhereAnotherWasBegunSince) {
  History history(options());
  const std::int64_t first = history.begin(named(), begun_row()).number;
  now += 1h;
  history.update(ended_row(history.begin(unnamed(), begun_row()).number));
  history.recognise(named());
  EXPECT_EQ(history.find(first)->row.outcome, Outcome::Unknown);
  EXPECT_TRUE(history.running().empty());
}

// Its end is still to be told from the log as it was when it began.
TEST_F(RecognisedDrive, LeavesItsEntryToTheTestThatRuns) {
  History history(options());
  look_at(history, named(), {entry(90)}, 1);
  history.begin(named(), begun_row());
  now += 1h;
  look_at(history, unnamed(), {entry(100), entry(90)}, 2);
  history.recognise(named());
  EXPECT_THAT(hours_of(history, named()), ElementsAre(0, 90));
  EXPECT_THAT(history.state(named().identity()).log, testing::Optional(ElementsAre(entry(90))));
  EXPECT_TRUE(history.running(named().identity()));
}

TEST_F(RecognisedDrive, HasATestOnceThatBothNamesTookFromTheLog) {
  History history(options());
  look_at(history, named(), {entry(100), entry(100), entry(90)}, 3);
  now += 1h;
  look_at(history, unnamed(), {entry(100), entry(100), entry(100), entry(90)}, 4);
  history.recognise(named());
  EXPECT_THAT(hours_of(history, named()), ElementsAre(100, 100, 100, 90));
  EXPECT_THAT(history.state(named().identity()).log, testing::Optional(testing::SizeIs(4)));
  EXPECT_EQ(history.drives().size(), 1);
}

TEST_F(RecognisedDrive, HasATestOfOursOnceThatItsOtherNameTookFromTheLog) {
  for (const bool is_own_named : {true, false}) {
    HistoryOptions other = options();
    other.folder = root() / (is_own_named ? "named" : "unnamed");
    History history(other);
    const std::int64_t own = history.begin(is_own_named ? named() : unnamed(), begun_row()).number;
    history.update(ended_row(own));
    look_at(history, is_own_named ? unnamed() : named(), {entry(100)}, 1);
    history.recognise(named());
    EXPECT_EQ(count(history, named()), 1);
    EXPECT_TRUE(history.find(own));
  }
}

TEST_F(RecognisedDrive, GetsNoTestBackThatWasForgotten) {
  History history(options());
  look_at(history, named(), {entry(100), entry(90)}, 2);
  history.forget_before(now + 24h);
  now += 1h;
  look_at(history, unnamed(), {entry(110), entry(100), entry(90)}, 3);
  history.recognise(named());
  EXPECT_THAT(hours_of(history, named()), ElementsAre(110));
}

TEST_F(RecognisedDrive, IsKnownByItsFormerNameWhereNothingCanBeWritten) {
  History history(options());
  tested(history, 2);
  history.update(ended_row(history.begin(unnamed(), begun_row()).number));
  history.database().run("PRAGMA query_only = ON");
  EXPECT_THROW(history.recognise(named()), HistoryError);
  EXPECT_EQ(history.identity_of(named()), unnamed().identity());
  EXPECT_EQ(history.identity_of(drive(2)), drive(2).identity());
  history.database().run("PRAGMA query_only = OFF");
  EXPECT_EQ(history.identity_of(named()), named().identity());
  EXPECT_EQ(count(history, named()), 1);
  history.update(ended_row(history.begin(unnamed(), begun_row()).number));
  history.database().run("PRAGMA query_only = ON");
  EXPECT_EQ(history.identity_of(named()), named().identity());
}

TEST_F(RecognisedDrive, IsTheSameInFilesFromBeforeAndAfter) {
  std::string before;
  std::string after;
  {
    History from(options());
    history_of_two(from);
    before = exported(from);
    from.recognise(named());
    after = exported(from);
  }
  ASSERT_NE(before, after);
  for (const bool is_older_first : {true, false}) {
    HistoryOptions other = options("b");
    other.folder = root() / (is_older_first ? "older" : "newer");
    History to(other);
    EXPECT_EQ(imported(to, is_older_first ? before : after).added, 2);
    EXPECT_EQ(imported(to, is_older_first ? after : before).unchanged, 2);
    EXPECT_EQ(exported(to), after);
    EXPECT_EQ(imported(to, before).unchanged, 2);
  }
}

TEST_F(RecognisedDrive, HasTestsOfAFileFromBefore) {
  History from(options());
  history_of_two(from);
  History to(other_options());
  to.update(ended_row(to.begin(named(), begun_row()).number));
  EXPECT_EQ(imported(to, exported(from)).added, 2);
  EXPECT_EQ(count(to, named()), 3);
  EXPECT_EQ(to.drives().size(), 1);
}

// A name space that was made anew: nobody knows which of the two drives it was.
TEST_F(RecognisedDrive, IsNotGuessedForAFileFromBefore) {
  History from(options());
  history_of_two(from);
  History to(other_options());
  to.begin(named(), begun_row());
  Drive anew = named();
  anew.world_wide_name.back() = '2';
  to.begin(anew, begun_row());
  EXPECT_EQ(imported(to, exported(from)).added, 2);
  EXPECT_EQ(count(to, unnamed()), 2);
}

// What the earlier log has beyond the kept one was pushed out of it and is not found again.
TEST_F(RecognisedDrive, KeepsTestsThatTheLaterLogHasNoMore) {
  History history(options());
  const auto log = [](std::uint64_t newest, std::uint64_t oldest) {
    std::vector<LogEntry> rows;
    for (std::uint64_t hours = newest; hours >= oldest; --hours) rows.push_back(entry(hours));
    return rows;
  };
  look_at(history, named(), log(20, 1), 20);
  now += 1h;
  look_at(history, unnamed(), log(25, 6), 20);
  history.begin(unnamed(), begun_row());
  history.recognise(named());
  EXPECT_EQ(count(history, named()), 26);
}

TEST_F(RecognisedDrive, LendsItsNameToTheSameDriveWithoutOne) {
  History history(options());
  EXPECT_EQ(history.name_of(unnamed()), "");
  look_at(history, named(), {entry(1)}, 1);
  EXPECT_EQ(history.name_of(unnamed()), named().world_wide_name);
  Drive other = unnamed();
  other.serial_number = "EX9999";
  EXPECT_EQ(history.name_of(other), "");
  // Which of several it is nobody knows.
  Drive twin = named();
  twin.world_wide_name = "nguid-0025385b71b0a7c10025385b71b0a7c2";
  look_at(history, twin, {entry(1)}, 1);
  EXPECT_EQ(history.name_of(unnamed()), "");
}

}  // namespace
}  // namespace drivetest
