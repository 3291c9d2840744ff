// Drives that claim to be one and the same, and are known by their places.
#include <gmock/gmock.h>

#include <sstream>

#include "drivetest/history.h"
#include "drivetest/history_case.h"
#include "drivetest/history_transfer.h"

namespace drivetest {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class DriveApart : public HistoryCase {
 protected:
  static Drive by_place(Drive drive) {
    drive.shares_identity = true;
    return drive;
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
      row.first_bad_block = log[i].first_bad_block;
      change.added.push_back(row);
    }
    ASSERT_TRUE(history.change(drive, history.state(drive.identity()), change));
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
};

// A drive of which it was seen during a test that another one claims to be the same.
TEST_F(DriveApart, KeepsTheTestThatWasBegunBeforeAnotherClaimedToBeIt) {
  History history(options());
  tested(history, 1);
  const std::int64_t running = history.begin(drive(1), begun_row()).number;
  Drive other = drive(1);
  other.shares_identity = true;
  other.place.device = "/dev/sdz";
  history.recognise(other);
  EXPECT_EQ(count(history, other), 0);
  Drive apart = drive(1);
  apart.shares_identity = true;
  apart.place.type = "sat,12";
  history.recognise(apart);
  ASSERT_TRUE(history.running(apart.identity()));
  EXPECT_EQ(history.running(apart.identity())->row.number, running);
  EXPECT_EQ(count(history, apart), 2) << "those that ended as well";
  EXPECT_EQ(count(history, drive(1)), 0);
}

TEST_F(DriveApart, KeepsItsTestsAndItsLogOfBeforeAnotherClaimedToBeIt) {
  History history(options());
  look_at(history, drive(1), {entry(100), entry(90)}, 2);
  EXPECT_FALSE(history.is_known_apart(drive(1)));
  const Drive here = by_place(drive(1));
  for (int time = 0; time < 2; ++time) {
    history.recognise(here);
    EXPECT_THAT(hours_of(history, here), ElementsAre(100, 90));
    EXPECT_THAT(history.state(here.identity()).log,
                testing::Optional(ElementsAre(entry(100), entry(90))));
    EXPECT_EQ(count(history, drive(1)), 0);
    EXPECT_EQ(history.drives().size(), 2) << "what both claim to be has not gone";
    EXPECT_TRUE(history.is_known_apart(drive(1)));
  }
  EXPECT_FALSE(history.is_known_apart(drive(2)));
  EXPECT_FALSE(history.is_known_apart(Drive())) << "it claims nothing";
}

TEST_F(DriveApart, KeepsOnceWhatWasKnownByItsPlaceAndNotByIt) {
  History history(options());
  const Drive here = by_place(drive(1));
  look_at(history, here, {entry(90)}, 1);
  now += 1h;
  look_at(history, drive(1), {entry(100), entry(90)}, 2);
  history.recognise(here);
  EXPECT_THAT(hours_of(history, here), ElementsAre(100, 90));
  EXPECT_EQ(count(history, drive(1)), 0);
}

// One of the names was looked at where only the standard log could be read.
TEST_F(DriveApart, KeepsTheBlockThatOneOfItsLogsCannotTell) {
  for (const bool is_told_by_place : {true, false}) {
    HistoryOptions other = options();
    other.folder = root() / (is_told_by_place ? "place" : "claim");
    History history(other);
    const Drive here = by_place(drive(1));
    LogEntry told = entry(90);
    told.first_bad_block = 5'000'000'000;
    look_at(history, here, {is_told_by_place ? told : entry(90)}, 1);
    now += 1h;
    look_at(history, drive(1), {is_told_by_place ? entry(90) : told}, 1);
    history.recognise(here);
    const std::vector<KeptTest> kept = history.of_drive(here.identity(), 100);
    ASSERT_EQ(kept.size(), 1U);
    EXPECT_EQ(kept.front().row.first_bad_block, told.first_bad_block);
  }
}

TEST_F(DriveApart, HasNoTestsOfADriveThatWasAnotherOne) {
  History history(options());
  Drive member = drive(1);
  member.place = {"/dev/bus/0", "megaraid,0"};
  member.size = 1000;
  TestRow row = begun_row();
  row.place = member.place;
  const std::int64_t running = history.begin(member, row).number;
  Drive other = by_place(member);
  other.place.type = "sat+megaraid,1";
  Drive larger = by_place(member);
  larger.size = 2000;
  for (const Drive& one : {other, larger}) {
    history.recognise(one);
    EXPECT_EQ(count(history, one), 0);
    EXPECT_EQ(history.running(member.identity())->row.number, running);
  }
  Drive same = by_place(member);
  same.place.type = "sat+megaraid,0";
  history.recognise(same);
  EXPECT_EQ(history.running(same.identity())->row.number, running);
}

TEST_F(DriveApart, IsKnownByWhatItClaimsWhereItsPlaceCannotBeKept) {
  History history(options());
  tested(history, 1);
  history.database().run("PRAGMA query_only = ON");
  EXPECT_EQ(history.identity_of(by_place(drive(1))), drive(1).identity());
  EXPECT_EQ(history.identity_of(by_place(drive(2))), by_place(drive(2)).identity());
}

TEST_F(DriveApart, IsTheSameInAFileFromBeforeAnotherClaimedToBeIt) {
  History history(options());
  tested(history, 1);
  const std::string before = exported(history);
  history.recognise(by_place(drive(1)));
  EXPECT_EQ(imported(history, before).unchanged, 1);
  EXPECT_EQ(count(history, drive(1)), 0);
}

// The tests of before have gone over to the drive at its place, and so has the one that ran.
TEST_F(DriveApart, IsTheSameInAFileFromAfterAnotherClaimedToBeIt) {
  std::string before;
  std::string after;
  {
    History from(options());
    tested(from, 1);
    Drive elsewhere = drive(1);
    elsewhere.place.device = "/dev/sdz";
    TestRow row = begun_row();
    row.place = elsewhere.place;
    from.update(ended_row(from.begin(elsewhere, row).number));
    const std::int64_t running = from.begin(drive(1), begun_row()).number;
    before = exported(from);
    from.recognise(by_place(drive(1)));
    from.update(ended_row(running));
    after = exported(from);
  }
  HistoryOptions other = options("b");
  other.folder = root() / "other";
  History to(other);
  EXPECT_EQ(imported(to, before).added, 3);
  const ImportCounts counts = imported(to, after);
  EXPECT_EQ(counts.unchanged, 2);
  EXPECT_EQ(counts.ended, 1);
  EXPECT_EQ(exported(to), after);
  EXPECT_EQ(imported(to, before).unchanged, 3);
}

TEST_F(DriveApart, IsKnownByItsPlaceWithoutATypeThatChoosesNoDrive) {
  History history(options());
  tested(history, 1);
  history.database().run(
      "UPDATE drives SET identity = identity || char(10) || 'at /dev/sdb -d sat'");
  Drive apart = drive(1);
  apart.shares_identity = true;
  history.recognise(apart);
  EXPECT_EQ(count(history, apart), 1);
}

}  // namespace
}  // namespace drivetest
