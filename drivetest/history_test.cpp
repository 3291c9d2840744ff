#include "drivetest/history.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "drivetest/history_case.h"

namespace drivetest {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class HistoryTest : public HistoryCase {
 protected:
  static std::vector<std::int64_t> numbers_of(const std::vector<KeptTest>& tests) {
    std::vector<std::int64_t> numbers;
    for (const KeptTest& test : tests) numbers.push_back(test.row.number);
    return numbers;
  }
};

mode_t mode_of(const std::filesystem::path& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0);
  return status.st_mode & 07777;
}

TEST_F(HistoryTest, IsForItsOwnerAlone) {
  History history(options());
  tested(history, 1);
  EXPECT_EQ(mode_of(folder()), 0700U);
  for (const auto& one : std::filesystem::directory_iterator(folder()))
    EXPECT_EQ(mode_of(one.path()), 0600U) << one.path();
  EXPECT_EQ(count_files("history.sqlite"), 3U);
}

TEST_F(HistoryTest, IsWrittenAheadAndToTheDisk) {
  History history(options());
  EXPECT_EQ(text_of(history.database(), "PRAGMA journal_mode"), "wal");
  EXPECT_EQ(number_of(history.database(), "PRAGMA synchronous"), 2);
  EXPECT_EQ(number_of(history.database(), "PRAGMA foreign_keys"), 1);
  EXPECT_EQ(number_of(history.database(), "PRAGMA busy_timeout"), 10'000);
  EXPECT_EQ(number_of(history.database(), "PRAGMA user_version"), 1);
}

TEST_F(HistoryTest, KeepsARowWithAllThatItSays) {
  TestRow row = begun_row();
  row.source = Source::Module;
  std::int64_t number = 0;
  {
    History history(options());
    number = history.begin(drive(1), row).number;
  }
  History history(options());
  std::optional<KeptTest> kept = history.find(number);
  ASSERT_TRUE(kept);
  EXPECT_EQ(kept->row.id.size(), 32U);
  row.number = number;
  row.id = kept->row.id;
  row.drive = "Example Disk\nS1";
  row.machine_id = std::string(32, 'a');
  row.host_name = "host-a";
  row.recorded = now;
  EXPECT_EQ(kept->row, row);
  EXPECT_EQ(kept->drive.place, drive(1).place);
  EXPECT_EQ(kept->drive.model, "Example Disk");
  EXPECT_EQ(kept->drive.size, 1'000'000'000'000U);
  EXPECT_FALSE(kept->drive.is_rotational);

  TestRow end = row;
  end.ended = now + 5min;
  end.outcome = Outcome::Failed;
  end.cause = "read failure";
  end.result_code = 7;
  end.first_bad_block = std::uint64_t{1} << 63;
  end.segment = 4;
  end.hours = 65535;
  EXPECT_TRUE(history.update(end));
  EXPECT_EQ(history.find(number)->row, end);
  EXPECT_EQ(history.find(number)->row.duration(), 5min);
}

TEST_F(HistoryTest, HasOneRunningTestOfADriveAndMachine) {
  History history(options());
  const std::int64_t first = history.begin(drive(1), begun_row()).number;
  History other(options());
  const History::Begun refused = other.begin(drive(1), begun_row());
  EXPECT_EQ(refused.number, 0);
  ASSERT_TRUE(refused.running);
  EXPECT_EQ(refused.running->row.number, first);
  EXPECT_NE(other.begin(drive(2), begun_row()).number, 0);
  History elsewhere(options("b"));
  EXPECT_NE(elsewhere.begin(drive(1), begun_row()).number, 0);
  EXPECT_TRUE(history.update(ended_row(first)));
  EXPECT_NE(other.begin(drive(1), begun_row()).number, 0);
}

// The tables themselves refuse it, no matter who writes.
TEST_F(HistoryTest, HasTablesThatRefuseASecondRunningTest) {
  History history(options());
  history.begin(drive(1), begun_row());
  constexpr std::string_view kCopy =
      "INSERT INTO tests (id, drive, host_name, device, device_type, source, test_code, recorded,"
      " cause) SELECT 'x', drive, '', '', '', 'hddtest', 1, recorded, '' FROM tests";
  EXPECT_THROW(history.database().run(kCopy), DatabaseError);
  EXPECT_EQ(history.running().size(), 1U);
}

TEST_F(HistoryTest, EndsATestOnce) {
  History history(options());
  const std::int64_t number = history.begin(drive(1), begun_row()).number;
  EXPECT_TRUE(history.update(ended_row(number, Outcome::Failed)));
  EXPECT_FALSE(history.update(ended_row(number, Outcome::Passed)));
  TestRow running = begun_row();
  running.number = number;
  EXPECT_FALSE(history.update(running));
  EXPECT_FALSE(history.withdraw(number));
  EXPECT_FALSE(history.update(ended_row(number + 1)));
  EXPECT_EQ(history.find(number)->row.outcome, Outcome::Failed);
}

TEST_F(HistoryTest, TakesBackWhatTheDriveHasNotBegun) {
  History history(options());
  const std::int64_t number = history.begin(drive(1), begun_row()).number;
  EXPECT_TRUE(history.withdraw(number));
  EXPECT_FALSE(history.find(number));
  EXPECT_GT(history.begin(drive(1), begun_row()).number, number);  // no number twice
}

TEST_F(HistoryTest, TakesBackATestThatWasSeenOnlyWhereItIsToAndNoneThatHasEnded) {
  History history(options());
  TestRow row = begun_row();
  row.number = history.begin(drive(1), row).number;
  row.looked = now;
  EXPECT_TRUE(history.update(row));
  EXPECT_FALSE(history.withdraw(row.number));
  EXPECT_TRUE(history.withdraw(row.number, true));
  EXPECT_FALSE(history.find(row.number));
  const std::int64_t ended = history.begin(drive(1), begun_row()).number;
  EXPECT_TRUE(history.update(ended_row(ended)));
  EXPECT_FALSE(history.withdraw(ended, true));
}

TEST_F(HistoryTest, ExplainsTheEndOfATestAndNothingElse) {
  History history(options());
  TestRow row = ended_row(history.begin(drive(1), begun_row()).number);
  row.cause = "another cause";
  history.explain(row);
  EXPECT_EQ(history.find(row.number)->row.cause, "") << "it runs";
  EXPECT_TRUE(history.update(ended_row(row.number)));
  history.explain(row);
  row = ended_row(row.number);
  EXPECT_EQ(history.find(row.number)->row.cause, "another cause");
  EXPECT_EQ(history.find(row.number)->row.outcome, row.outcome);
}

TEST_F(HistoryTest, BringsARunningTestUpToDate) {
  History history(options());
  const std::int64_t number = history.begin(drive(1), begun_row()).number;
  TestRow row = history.find(number)->row;
  row.looked = now + 2min;
  row.progressed = now + 1min;
  row.remaining_percent = 90;
  row.kind = TestKind::Long;
  EXPECT_TRUE(history.update(row));
  EXPECT_EQ(history.find(number)->row, row);
  row.remaining_percent.reset();
  EXPECT_TRUE(history.update(row));
  EXPECT_EQ(history.running(drive(1).identity())->row, row);
}

TEST_F(HistoryTest, TakesOverWhatALogShowsOnce) {
  History history(options());
  const std::string identity = drive(1).identity();
  TestRow found;
  found.source = Source::Other;
  found.outcome = Outcome::Passed;
  DriveChange change;
  change.log = {entry(50), entry(50), entry(40)};
  change.added = {found, found, found};
  const DriveState unknown = history.state(identity);
  EXPECT_FALSE(unknown.log);
  EXPECT_TRUE(history.change(drive(1), unknown, change));
  EXPECT_FALSE(history.change(drive(1), unknown, change));
  EXPECT_EQ(history.of_drive(identity, 10).size(), 3U);
  const DriveState known = history.state(identity);
  EXPECT_EQ(known.log, change.log);
  // After a look that was kept, one more equal entry is a new test.
  change.log->push_back(entry(40));
  change.added = {found};
  EXPECT_TRUE(history.change(drive(1), known, change));
  EXPECT_FALSE(history.change(drive(1), known, change));
  EXPECT_EQ(history.of_drive(identity, 10).size(), 4U);
  EXPECT_FALSE(history.state(drive(2).identity()).log);
}

TEST_F(HistoryTest, KnowsAnEmptyLogFromOneThatWasNotSeen) {
  History history(options());
  DriveChange change;
  change.log.emplace();
  EXPECT_TRUE(history.change(drive(1), {}, change));
  EXPECT_EQ(history.state(drive(1).identity()).log, std::vector<LogEntry>());
}

TEST_F(HistoryTest, ChangesNothingOfADriveThatSomebodyElseHasChanged) {
  History history(options());
  history.begin(drive(1), begun_row());
  const DriveState before = history.state(drive(1).identity());
  DriveChange change;
  change.running = before.running;
  change.running->remaining_percent = 50;
  EXPECT_TRUE(History(options()).change(drive(1), before, change));
  change.running = ended_row(before.running->number);
  change.log.emplace();
  EXPECT_FALSE(history.change(drive(1), before, change));
  EXPECT_EQ(history.running(drive(1).identity())->row.remaining_percent, 50U);
  EXPECT_TRUE(history.change(drive(1), history.state(drive(1).identity()), change));
  EXPECT_FALSE(history.running(drive(1).identity()));
}

TEST_F(HistoryTest, ShowsTheNewestFirst) {
  History history(options());
  const std::int64_t one = tested(history, 1);
  const std::int64_t other = tested(history, 2);
  const std::int64_t two = tested(history, 1);
  const std::int64_t running = history.begin(drive(1), begun_row()).number;
  EXPECT_THAT(numbers_of(history.of_drive(drive(1).identity(), 10)),
              ElementsAre(running, two, one));
  EXPECT_THAT(numbers_of(history.of_drive(drive(1).identity(), 2)), ElementsAre(running, two));
  EXPECT_THAT(numbers_of(history.of_drive(drive(3).identity(), 2)), ElementsAre());
  EXPECT_THAT(numbers_of(history.last_of_each_drive()), ElementsAre(running, other));
  EXPECT_THAT(numbers_of(history.running()), ElementsAre(running));
  EXPECT_EQ(history.running(drive(1).identity())->row.number, running);
  EXPECT_FALSE(history.running(drive(2).identity()));
  std::vector<KeptTest> all;
  history.each([&](const KeptTest& test) { all.push_back(test); });
  EXPECT_THAT(numbers_of(all), ElementsAre(one, other, two, running));
}

TEST_F(HistoryTest, ShowsTestsByWhatTheirDriveIsCalled) {
  History history(options());
  const std::int64_t one = tested(history, 1);
  const std::int64_t two = tested(history, 1);
  tested(history, 2);
  History elsewhere(options("b"));
  const std::int64_t three = tested(elsewhere, 1);
  EXPECT_THAT(numbers_of(history.of_drives_named("S1", 10)), ElementsAre(two, one, three));
  EXPECT_THAT(numbers_of(history.of_drives_named("S1", 1)), ElementsAre(two, three));
  EXPECT_THAT(numbers_of(history.at_device("/dev/sdb")), ElementsAre(one, two, three));
  EXPECT_TRUE(history.of_drives_named("/dev/sdb", 10).empty());
  EXPECT_TRUE(history.of_drives_named("", 10).empty()) << "not all that have no world wide name";
}

TEST_F(HistoryTest, KeepsTheOrderWhenTheClockGoesBack) {
  History history(options());
  const std::int64_t before = history.begin(drive(1), begun_row()).number;
  TestRow row = ended_row(before);
  now -= 24h * 365;
  row.ended = now;
  EXPECT_TRUE(history.update(row));
  const std::int64_t after = tested(history, 1);
  EXPECT_THAT(numbers_of(history.of_drive(drive(1).identity(), 9)), ElementsAre(after, before));
  EXPECT_EQ(history.last_of_each_drive().front().row.number, after);
  const TestRow kept = history.find(before)->row;
  EXPECT_LT(kept.ended, kept.started);
  EXPECT_FALSE(kept.duration());
  EXPECT_EQ(number_of(history.database(),
                      "SELECT count(*) FROM history WHERE minutes IS NULL OR minutes < 0"),
            1);
}

TEST_F(HistoryTest, TakesAnyClockForATimeOfItsYears) {
  History history(options());
  now = Time(std::chrono::seconds(-5));
  TestRow row = begun_row();
  const std::int64_t early = history.begin(drive(1), row).number;
  EXPECT_EQ(history.find(early)->row.started, Time{});
  row = history.find(early)->row;
  row.looked = Time::max();
  EXPECT_TRUE(history.update(row));
  EXPECT_EQ(text_of(history.database(), "SELECT looked FROM tests"), "9999-12-31T23:59:59Z");
}

TEST_F(HistoryTest, ForgetsWhatEndedBeforeADate) {
  History history(options());
  const std::int64_t old = tested(history, 1);
  const std::int64_t running = history.begin(drive(1), begun_row()).number;
  TestRow found;
  found.outcome = Outcome::Passed;
  DriveChange change;
  change.log = {entry(1)};
  change.added = {found};
  EXPECT_TRUE(history.change(drive(2), {}, change));
  now += 24h;
  const std::int64_t recent = tested(history, 2);
  EXPECT_EQ(history.forget_before(now), 2U);
  EXPECT_FALSE(history.find(old));
  EXPECT_TRUE(history.find(running));
  EXPECT_THAT(numbers_of(history.of_drive(drive(2).identity(), 9)), ElementsAre(recent));
  EXPECT_EQ(history.forget_before(now), 0U);
  // What was forgotten is not taken over again.
  EXPECT_FALSE(history.change(drive(2), {}, change));
  EXPECT_EQ(history.state(drive(2).identity()).log, change.log);
}

TEST_F(HistoryTest, KnowsTheDrivesOfThisMachineTestedOrNot) {
  History history(options());
  History(options("b")).begin(drive(3), begun_row(3));
  tested(history, 2);
  DriveChange change;
  change.log.emplace();
  EXPECT_TRUE(history.change(drive(1), {}, change));
  const std::vector<KnownDrive> known = history.drives();
  ASSERT_EQ(known.size(), 2U);
  EXPECT_EQ(known[0].identity, drive(2).identity());
  EXPECT_EQ(known[1].identity, drive(1).identity());
  EXPECT_EQ(known[1].drive.firmware, "F1");
  EXPECT_EQ(known[1].drive.size, drive(1).size);
  EXPECT_FALSE(known[0].looked);
  EXPECT_EQ(known[1].looked, now);
}

TEST_F(HistoryTest, ShowsWhatADriveSaidLast) {
  History history(options());
  tested(history, 1);
  Drive quiet = drive(1);
  quiet.firmware = "F2";
  quiet.size.reset();
  quiet.protocol = Protocol::Unknown;
  const std::int64_t number = history.begin(quiet, begun_row()).number;
  const Drive kept = history.find(number)->drive;
  EXPECT_EQ(kept.firmware, "F2");
  EXPECT_EQ(kept.size, drive(1).size);
  EXPECT_EQ(kept.protocol, Protocol::Ata);
}

TEST_F(HistoryTest, KnowsADriveWithoutIdentityByItsPlace) {
  History history(options());
  Drive silent;
  silent.place = {"/dev/sda", "megaraid,3"};
  const std::int64_t number = history.begin(silent, begun_row()).number;
  EXPECT_EQ(history.find(number)->row.drive, "\nat /dev/sda -d megaraid,3");
  silent.place.type = "megaraid,4";
  EXPECT_NE(history.begin(silent, begun_row()).number, 0);
}

TEST_F(HistoryTest, KeepsTextsOfDrivesAsTexts) {
  History history(options());
  Drive hostile = drive(1);
  hostile.model = "'); DROP TABLE tests; --";
  hostile.serial_number = std::string("a\0b", 3) + "\xFF\xED\xA0\x80\n\x1B[2J";
  TestRow row = begun_row();
  row.drive = hostile.identity();
  const std::int64_t number = history.begin(hostile, row).number;
  const KeptTest kept = *history.find(number);
  EXPECT_EQ(kept.drive.model, hostile.model);
  EXPECT_EQ(kept.drive.serial_number, "a\uFFFDb\uFFFD\uFFFD\uFFFD\uFFFD\n\x1B[2J");
  EXPECT_TRUE(history.running(hostile.identity()));  // found by what the drive says
}

TEST_F(HistoryTest, KeepsAllOfAWorkOrNothing) {
  History history(options());
  EXPECT_THROW(history.together([&] {
    history.begin(drive(1), begun_row());
    history.begin(drive(2), begun_row());
    throw std::runtime_error("in between");
  }),
               std::runtime_error);
  EXPECT_TRUE(history.running().empty());
  history.together([&] {
    history.begin(drive(1), begun_row());
    EXPECT_EQ(history.running().size(), 1U);
    history.begin(drive(2), begun_row());
  });
  EXPECT_EQ(History(options()).running().size(), 2U);
}

TEST_F(HistoryTest, IsWhereTheEnvironmentSays) {
  unsetenv("HVX_STATE_DIR");
  EXPECT_EQ(state_folder(), "/var/lib/hvx");
  setenv("HVX_STATE_DIR", "", 1);
  EXPECT_EQ(state_folder(), "/var/lib/hvx");
  setenv("HVX_STATE_DIR", "state", 1);
  EXPECT_EQ(state_folder(), std::filesystem::current_path() / "state");
  unsetenv("HVX_STATE_DIR");
}

}  // namespace
}  // namespace drivetest
