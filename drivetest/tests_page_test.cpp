// docs/tests.md tells the truth about the words of drives.
#include <gmock/gmock.h>

#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "drivetest/outcome.h"
#include "drivetest/progress.h"

namespace drivetest {
namespace {

// The lines of the page.
std::vector<std::string> lines() {
  std::ifstream file(HDDTEST_TESTS_PAGE);
  std::vector<std::string> all;
  for (std::string line; std::getline(file, line);) all.push_back(line);
  return all;
}

std::string line_of(Protocol protocol, int code, const ResultMeaning& verdict) {
  return "| " + std::string(name_of(protocol)) + " | " + std::to_string(code) + " | " +
         verdict.cause + " | " + std::string(name_of(verdict.outcome)) + " |";
}

TEST(TestsPage, HasTheWordsOfAllResultsAndNoOthers) {
  std::set<std::string> expected;
  for (const Protocol protocol : {Protocol::Ata, Protocol::Scsi, Protocol::Nvme})
    for (int code = 0; code < kRunningCode; ++code) {
      const ResultMeaning verdict = result_meaning(protocol, code).value();
      if (verdict.outcome != Outcome::Unknown) expected.insert(line_of(protocol, code, verdict));
    }
  std::set<std::string> told;
  for (const std::string& line : lines())
    for (const char* outcome : {" | passed |", " | failed |", " | aborted |"})
      if (line.ends_with(outcome)) told.insert(line);
  EXPECT_EQ(told, expected);
}

// The row of that table which begins with what hddtest says.
TEST(TestsPage, HasTheWordsOfAbortedTests) {
  Look look;
  look.drive.protocol = Protocol::Ata;
  look.has_log = true;
  LogEntry entry;
  const auto cause = [&](int code, bool is_on_usb, const Circumstances& circumstances) {
    look.drive.is_on_usb = is_on_usb;
    entry.result_code = code;
    TestRow row;
    row.looked = Time{};
    return progress_of(row, look, {{entry}, true}, Time{}, circumstances).row.cause;
  };
  const Circumstances stopped{.was_stopped = true};
  const Circumstances replaced{.was_stopped = true, .was_replaced = true};
  for (const std::string& words : {cause(1, false, stopped), cause(1, false, replaced),
                                   cause(1, false, {}), cause(1, true, {}), cause(2, false, {})})
    EXPECT_THAT(lines(), testing::Contains(testing::StartsWith("| " + words + " |")));
}

}  // namespace
}  // namespace drivetest
