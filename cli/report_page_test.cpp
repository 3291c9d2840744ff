#include "cli/report_page.h"

#include <gmock/gmock.h>

namespace cli {
namespace {

using drivetest::KeptTest;
using drivetest::Outcome;
using drivetest::Time;
using std::chrono::days;
using std::chrono::seconds;
using testing::HasSubstr;
using testing::Not;

constexpr Time kNow{seconds(1'800'000'000)};  // 2027-01-15T08:00:00Z
const std::string kHostile = "</svg></title><script>\"'&\x1b[2J\xff";

JudgedDrive judged(const std::string& serial, Need need, days age = days(1)) {
  JudgedDrive one;
  KeptTest test;
  test.drive.model = "Example Disk";
  test.drive.serial_number = serial;
  test.row.recorded = kNow - age;
  test.row.ended = kNow - age;
  test.row.outcome = need == Need::Failed ? Outcome::Failed : Outcome::Passed;
  one.drive.add(test);
  one.attention = {need, "Words."};
  return one;
}

// The serial numbers of the drives in the order of the page.
std::vector<std::string> order(const std::string& page) {
  std::vector<std::string> serials;
  const std::string mark = "<h3><bdi>Example Disk, ";
  for (std::size_t at = page.find(mark); at != std::string::npos; at = page.find(mark, at + 1))
    serials.push_back(page.substr(at + mark.size(), 1));
  return serials;
}

TEST(MachinePage, HasWhatNeedsSomebodyFirst) {
  const std::string page = machine_page(
      "host",
      {judged("A", Need::None), judged("B", Need::Overdue), judged("C", Need::Failed, days(9)),
       judged("D", Need::None), judged("E", Need::Failed), judged("F", Need::Stalled)},
      {}, kNow);
  EXPECT_EQ(order(page), (std::vector<std::string>{"E", "C", "F", "B", "A", "D"}));
  EXPECT_LT(page.find("Needs attention"), page.find("<h3>"));
  EXPECT_THAT(page,
              HasSubstr("<li class=\"red\">2 failed</li><li class=\"amber\">1 stalled</li>"
                        "<li class=\"amber\">1 overdue</li><li class=\"green\">2 in order</li>"));
}

TEST(MachinePage, SaysThatAllIsWell) {
  const std::string page = machine_page("host", {judged("A", Need::None)}, {}, kNow);
  EXPECT_THAT(page, Not(HasSubstr("Needs attention")));
  EXPECT_THAT(page, HasSubstr("<h2>All drives</h2>"));
}

TEST(MachinePage, ForbidsScriptsAndRequests) {
  const std::string page = machine_page("host", {judged("A", Need::Failed)}, {}, kNow);
  EXPECT_THAT(page, HasSubstr("<meta http-equiv=\"Content-Security-Policy\" content=\"default-src "
                              "'none'; style-src 'unsafe-inline'"));
  for (const char* word :
       {"<script", "http:", "https:", "url(", "@import", "src=", "href=", "onload"})
    EXPECT_THAT(page, Not(HasSubstr(word)));
}

TEST(MachinePage, EscapesAllThatComesFromOutside) {
  JudgedDrive one = judged(kHostile, Need::Failed);
  one.drive.drive.model = kHostile;
  one.drive.drive.place = {kHostile, kHostile};
  one.attention.words = kHostile;
  KeptTest test;
  test.drive = one.drive.drive;
  test.row.ended = kNow;
  test.row.outcome = Outcome::Failed;
  test.row.cause = kHostile;
  one.drive.add(test);
  one.drive.machine = kHostile;
  const std::string page = machine_page(kHostile, {one}, {kHostile}, kNow);
  EXPECT_THAT(page, Not(HasSubstr("<script")));
  EXPECT_THAT(page, Not(HasSubstr("\x1b")));
  EXPECT_THAT(page, Not(HasSubstr("\xff")));
  const std::string shown = "&lt;/svg&gt;&lt;/title&gt;&lt;script&gt;&quot;&#39;&amp;";
  std::size_t count = 0;
  for (std::size_t at = page.find(shown); at != std::string::npos; at = page.find(shown, at + 1))
    ++count;
  EXPECT_EQ(count, 13U) << page;
}

TEST(MachinePage, ListsTheNewestTestsAndCountsAll) {
  JudgedDrive one = judged("A", Need::None);
  for (int i = 0; i < 20; ++i) {
    KeptTest test;
    test.drive = one.drive.drive;
    test.row.hours = 4000 + i;
    test.row.outcome = Outcome::Passed;
    one.drive.add(test);
  }
  const std::string page = machine_page("host", {one}, {}, kNow);
  EXPECT_THAT(page, HasSubstr("<summary>21 tests: 21 passed. The newest 12</summary>"));
  EXPECT_THAT(
      page, HasSubstr("<tbody><tr><td class=\"whole\">hour 4019</td><td class=\"whole\">other</td>"
                      "<td>passed</td></tr>"));
  EXPECT_THAT(page, Not(HasSubstr("hour 4007")));
}

TEST(MachinePage, SaysWhenADriveIsOverdue) {
  EXPECT_THAT(machine_page("host", {}, {}, kNow),
              HasSubstr("its last long test passed 40 days ago, or long ones are tried for so long "
                        "and none has passed, or its last short one passed 15 days ago and no long "
                        "one since, or neither is known to have passed."));
}

TEST(MachinePage, SaysThatThereIsNothing) {
  EXPECT_THAT(machine_page("host", {}, {}, kNow), HasSubstr("There is no drive on this machine"));
}

}  // namespace
}  // namespace cli
