#include "cli/report_fleet.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <sstream>

#include "drivetest/history_json.h"

namespace cli {
namespace {

using drivetest::KeptTest;
using drivetest::Outcome;
using drivetest::TestKind;
using drivetest::Time;
using std::chrono::days;
using std::chrono::seconds;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr Time kNow{seconds(1'800'000'000)};  // 2027-01-15T08:00:00Z
const std::string kMachine(32, 'a');

KeptTest test(const std::string& drive, days age = days(1), Outcome outcome = Outcome::Passed) {
  KeptTest test;
  test.drive.model = "Example Disk";
  test.drive.serial_number = drive;
  test.row.id = std::string(32, '1');
  test.row.machine_id = kMachine;
  test.row.drive = "Example Disk\n" + drive;
  test.row.kind = TestKind::Long;
  test.row.recorded = kNow - age;
  test.row.ended = kNow - age;
  test.row.outcome = outcome;
  return test;
}

std::string line(const KeptTest& test) { return json_line(test) + "\n"; }

MachineHistory read(const std::string& text, const FileLimits& limits = {},
                    const std::string& name = "web1") {
  std::istringstream file(text);
  return read_machine_history(file, name, kNow, limits);
}

std::string fault(const std::string& text, const FileLimits& limits = {}) {
  try {
    read(text, limits);
  } catch (const MachineFileError& error) {
    return error.what();
  }
  return "none";
}

TEST(MachineFile, GivesTheDrivesWithTheirTests) {
  const MachineHistory history =
      read(line(test("A", days(9))) + line(test("B")) + line(test("A", days(2), Outcome::Failed)));
  EXPECT_EQ(history.machine_id, kMachine);
  EXPECT_EQ(history.told, kNow - days(1));
  ASSERT_EQ(history.drives.size(), 2U);
  EXPECT_EQ(history.drives[0].drive.serial_number, "A");
  EXPECT_EQ(history.drives[0].total(), 2U);
  EXPECT_NE(history.drives[0].failed(), nullptr);
  EXPECT_EQ(history.drives[1].total(), 1U);
}

TEST(MachineFile, TakesALineInAnyOrderAndTheLastWithoutItsEnd) {
  std::string changed = json_line(test("A"));
  changed.insert(1, " ");
  EXPECT_EQ(read(line(test("B")) + changed).drives.size(), 2U);
  EXPECT_TRUE(read("").drives.empty());
}

KeptTest test_on(char machine, const std::string& host_name, days age) {
  KeptTest one = test(std::string(1, machine), age);
  one.row.machine_id = std::string(32, machine);
  one.row.host_name = host_name;
  return one;
}

TEST(MachineFile, IsThatOfTheMachineThatIsCalledSo) {
  const std::string other = line(test_on('b', "web2", days(1)));
  const auto owner = [&](const std::string& host_name, const std::string& file_name) {
    return read(line(test_on('a', host_name, days(3))) + other + other, {}, file_name).machine_id;
  };
  const std::string b(32, 'b');
  EXPECT_EQ(owner("web1", "web1"), kMachine);
  EXPECT_EQ(owner("web1.example.com", "web1"), kMachine);
  EXPECT_EQ(owner("WEB1", "web1.example.com"), kMachine);
  EXPECT_EQ(owner("web", "web1"), b);
  EXPECT_EQ(owner("", "10.0.0.1"), b);
  EXPECT_EQ(owner("", ""), b);
  EXPECT_EQ(owner("web2.example.com", "web2"), b) << "the whole name says more";
  EXPECT_EQ(owner("web2.example.com", "web2.example.com"), kMachine);
}

TEST(MachineFile, IsThatOfTheNewestOfMachinesThatAreCalledSo) {
  const std::string before = line(test_on('b', "web1", days(3)));
  EXPECT_EQ(read(before + before + line(test_on('a', "web1", days(1)))).machine_id, kMachine);
}

TEST(MachineFile, IsElseThatOfTheMachineWithTheMostTests) {
  const std::string own = line(test_on('a', "", days(3)));
  const MachineHistory history = read(own + own + line(test_on('b', "web2", days(1))));
  EXPECT_EQ(history.machine_id, kMachine);
  EXPECT_EQ(history.drives.size(), 1U);
  EXPECT_EQ(history.tests_elsewhere, 1U);
  EXPECT_EQ(read(own + line(test_on('b', "web2", days(1)))).machine_id, std::string(32, 'b'));
}

TEST(MachineFile, TakesNoDateThatLiesAhead) {
  const MachineHistory history =
      read(line(test("A", -days(9000))) + line(test("A", days(200), Outcome::Aborted)) +
           line(test("B", days(3))));
  EXPECT_EQ(history.dated_ahead, 1U);
  EXPECT_EQ(history.told, kNow - days(3));
  EXPECT_FALSE(history.drives[0].passed(TestKind::Long));
  FleetReport fleet(kNow);
  fleet.add("web1", history);
  EXPECT_THAT(fleet.page(), HasSubstr("One test is of later than now, by a clock that was wrong"));
  EXPECT_THAT(fleet.page(), HasSubstr("1 overdue</b>"));
}

TEST(FleetReport, ConcludesNothingFromDatesThatAllLieAhead) {
  const std::string ahead = line(test("A", -days(9000)));
  FleetReport alone(kNow);
  alone.add("web1", read(ahead));
  EXPECT_THAT(alone.page(), HasSubstr("1 overdue</b>"));
  EXPECT_THAT(alone.page(), Not(HasSubstr("1970")));
  FleetReport beside(kNow);
  beside.add("web1", read(ahead + line(test("B", days(3)))));
  EXPECT_THAT(beside.page(), HasSubstr("1 overdue</b>"));
  EXPECT_THAT(beside.page(), Not(HasSubstr("may have been taken out")));
}

TEST(MachineFile, IsRefusedWithTheLineThatIsWrong) {
  const std::string good = line(test("A"));
  EXPECT_EQ(fault(good + good.substr(0, 100)), "line 2: it is no JSON: at byte 101");
  EXPECT_EQ(fault(good + "\n" + good), "line 2: it is no JSON: at byte 1");
  EXPECT_EQ(fault("{\"reason\":\"x\"}\n"), "line 1: id is missing");
  EXPECT_EQ(fault("[]\n"), "line 1: it is no object");
  EXPECT_THAT(fault(std::string(1, '\0')), StartsWith("line 1: it is no JSON"));
  EXPECT_THAT(fault("\xff\xfe{"), StartsWith("line 1: it is no JSON"));
}

TEST(MachineFile, IsRefusedWhereItIsTooLarge) {
  FileLimits limits;
  const std::string good = line(test("A"));
  limits.line = good.size() - 1;
  EXPECT_EQ(fault(good + good, limits), "none");
  --limits.line;
  EXPECT_EQ(fault(good, limits), fmt::format("line 1: it is longer than {} bytes", limits.line));
  EXPECT_THAT(fault(good + std::string(3 << 20, ' ')),
              StartsWith("line 2: it is longer than 262144"));
  limits = {};
  limits.file = 2 * good.size();
  EXPECT_EQ(fault(good + good, limits), "none");
  EXPECT_THAT(fault(good + good + good, limits), StartsWith("it is larger than"));
  limits = {};
  limits.drives = 1;
  EXPECT_EQ(fault(good + good, limits), "none");
  EXPECT_EQ(fault(good + line(test("B")), limits), "line 2: it is about more than 1 drives");
}

TEST(MachineFile, FindsLinesAcrossItsReads) {
  std::string text;
  while (text.size() < 5 << 20) text += line(test("A"));
  const MachineHistory history = read(text);
  ASSERT_EQ(history.drives.size(), 1U);
  EXPECT_EQ(history.drives[0].total(), text.size() / line(test("A")).size());
}

TEST(FleetReport, ShowsInFullWhatNeedsSomebodyAndCountsTheRest) {
  FleetReport fleet(kNow);
  EXPECT_EQ(fleet.add("web2", read(line(test("A")) + line(test("B")))), "");
  KeptTest failed = test("C", days(2), Outcome::Failed);
  failed.row.machine_id = std::string(32, 'b');
  EXPECT_EQ(fleet.add("web1", read(line(failed))), "");
  fleet.add("web3", {});
  const std::string page = fleet.page();
  EXPECT_THAT(page, HasSubstr("Drives of 3 machines"));
  EXPECT_THAT(page,
              HasSubstr("<h3><bdi>Example Disk, C</bdi> <span class=\"quiet\"><bdi>web1</bdi>"));
  EXPECT_THAT(page, Not(HasSubstr("Example Disk, A")));
  EXPECT_THAT(page,
              HasSubstr("<bdi>web2</bdi></th><td><b class=\"word green\">2 in order</b> </td>"));
  EXPECT_LT(page.find("<bdi>web1</bdi></th>"), page.find("<bdi>web3</bdi></th>"));
  EXPECT_LT(page.find("<bdi>web3</bdi></th>"), page.find("<bdi>web2</bdi></th>"));
  EXPECT_THAT(page, HasSubstr("No test is in its file: none is kept, or it was not fetched."));
}

TEST(FleetReport, SaysWhichFilesAreNotShown) {
  FleetReport fleet(kNow);
  fleet.add_unread("<web>", "line 2: \"x\"");
  const std::string page = fleet.page();
  EXPECT_THAT(page, HasSubstr("<bdi>&lt;web&gt;</bdi>: line 2: &quot;x&quot;"));
  EXPECT_THAT(page, Not(HasSubstr("<h2>Machines</h2>")));
}

TEST(FleetReport, TellsOfTwoFilesOfOneMachine) {
  FleetReport fleet(kNow);
  EXPECT_EQ(fleet.add("web1", read(line(test("A")))), "");
  EXPECT_THAT(fleet.add("web2", read(line(test("A")))), HasSubstr("the machine id of web1"));
  EXPECT_THAT(fleet.page(), HasSubstr("Has the machine id of web1."));
}

TEST(FleetReport, KeepsTheGravestWhereThereIsNoRoomForAll) {
  FleetReport fleet(kNow);
  std::string text;
  for (std::size_t i = 0; i < FleetReport::kMostInFull; ++i)
    text += line(test(fmt::format("old{}", i), days(50)));
  fleet.add("web1",
            read(text + line(test("X", days(60))) + line(test("F", days(9), Outcome::Failed))));
  const std::string page = fleet.page();
  EXPECT_THAT(page, HasSubstr("Example Disk, F<"));
  EXPECT_THAT(page, Not(HasSubstr("Example Disk, X<")));
  EXPECT_THAT(page, HasSubstr("2 more, which are less grave, stand with their machines below."));
  EXPECT_THAT(page, HasSubstr("1 failed</b> <b class=\"word amber\">501 overdue</b>"));
}

}  // namespace
}  // namespace cli
