#include "drivetest/history_transfer.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <vector>

#include "drivetest/history_case.h"

namespace drivetest {
namespace {

using testing::HasSubstr;

class HistoryTransferTest : public HistoryCase {
 protected:
  HistoryOptions other_options(const std::string& machine = "b") const {
    HistoryOptions other = options(machine);
    other.folder = root() / "other";
    return other;
  }
  static std::string exported(History& history) {
    std::string lines;
    export_history(history, [&](std::string_view line) { lines += line; });
    return lines;
  }
  static ImportCounts imported(History& history, const std::string& lines,
                               const TransferLimits& limits = {}) {
    std::istringstream file(lines);
    return import_history(history, file, limits);
  }
  static std::string fault_of(History& history, const std::string& lines,
                              const TransferLimits& limits = {}) {
    try {
      imported(history, lines, limits);
      return "";
    } catch (const TransferError& error) {
      return error.what();
    }
  }
  static std::size_t size_of(History& history) {
    std::size_t size = 0;
    history.each([&](const KeptTest&) { ++size; });
    return size;
  }
};

// A file may bring any number of tests, and a drive's log has a few.
TEST_F(HistoryTransferTest, HasTheNewestTestsAtHandUntilTheFirstLook) {
  History history(options());
  std::int64_t last = 0;
  for (int tests = 0; tests < 120; ++tests) last = tested(history, 1);
  const std::vector<TestRow> kept = history.state(drive(1).identity()).kept;
  ASSERT_EQ(kept.size(), 100U);
  EXPECT_EQ(kept.back().number, last);
  EXPECT_EQ(kept.front().number, last - 99);
}

TEST_F(HistoryTransferTest, TakesAllTestsOverAndOnce) {
  History from(options());
  tested(from, 1);
  tested(from, 2);
  from.begin(drive(1), begun_row());
  const std::string lines = exported(from);
  History to(other_options());
  const ImportCounts first = imported(to, lines);
  EXPECT_EQ(first.added, 3U);
  EXPECT_EQ(exported(to), lines);
  const ImportCounts second = imported(to, lines);
  EXPECT_EQ(second.added, 0U);
  EXPECT_EQ(second.unchanged, 3U);
  EXPECT_EQ(exported(to), lines);
}

TEST_F(HistoryTransferTest, KeepsOtherMachinesApart) {
  History from(options("a"));
  tested(from, 1);
  from.begin(drive(1), begun_row());
  History to(other_options("b"));
  tested(to, 1);
  imported(to, exported(from));
  EXPECT_EQ(to.of_drive(drive(1).identity(), 10).size(), 1U);
  EXPECT_TRUE(to.running().empty());
  EXPECT_FALSE(to.running(drive(1).identity()));
  EXPECT_EQ(to.last_of_each_drive().size(), 2U);
  EXPECT_NE(to.begin(drive(1), begun_row()).number, 0);
}

TEST_F(HistoryTransferTest, PutsWhatIsOlderBehindWhatIsNewer) {
  History old(options());
  tested(old, 1);
  tested(old, 1);
  const std::string lines = exported(old);
  now += std::chrono::hours(24);
  History history(other_options("a"));
  const std::int64_t newest = tested(history, 1);
  imported(history, lines);
  EXPECT_EQ(history.of_drive(drive(1).identity(), 10).front().row.number, newest);
  EXPECT_EQ(history.last_of_each_drive().front().row.number, newest);
  EXPECT_EQ(history.of_drive(drive(1).identity(), 10).size(), 3U);
}

TEST_F(HistoryTransferTest, TellsTheEndOfATestThatRan) {
  History from(options());
  const std::int64_t number = from.begin(drive(1), begun_row()).number;
  const std::string running = exported(from);
  History to(other_options());
  imported(to, running);
  from.update(ended_row(number));
  const std::string ended = exported(from);
  EXPECT_EQ(imported(to, ended).ended, 1U);
  EXPECT_EQ(exported(to), ended);
  EXPECT_EQ(imported(to, running).unchanged, 1U);  // an older export takes no end back
  EXPECT_EQ(exported(to), ended);
}

TEST_F(HistoryTransferTest, LeavesWhatHasEndedHereOtherwise) {
  History from(options());
  tested(from, 1);
  std::string lines = exported(from);
  lines.replace(lines.find("passed"), 6, "failed");
  constexpr std::string_view kPassed = "\"result_code\":0";
  lines.replace(lines.find(kPassed), kPassed.size(), "\"result_code\":7");
  EXPECT_EQ(imported(from, lines).different, 1U);
  EXPECT_THAT(exported(from), HasSubstr("passed"));
}

TEST_F(HistoryTransferTest, TakesNothingOfAFileWithAFault) {
  History from(options());
  tested(from, 1);
  tested(from, 2);
  const std::string lines = exported(from);
  History to(other_options());
  EXPECT_EQ(fault_of(to, lines + "{}\n"),
            "line 3: id is missing; nothing was taken over: mend or remove that line");
  EXPECT_EQ(size_of(to), 0U);
  EXPECT_TRUE(to.last_of_each_drive().empty());
  EXPECT_THAT(fault_of(to, "\n" + lines), HasSubstr("line 1: it is no JSON"));
  EXPECT_EQ(fault_of(to, lines.substr(0, lines.size() - 1)), "");  // the last line feed may lack
}

TEST_F(HistoryTransferTest, HasLimits) {
  History from(options());
  tested(from, 1);
  tested(from, 2);
  const std::string lines = exported(from);
  const std::size_t longest = lines.find('\n');
  ASSERT_EQ(lines.size(), 2 * (longest + 1));
  History to(other_options());
  EXPECT_THAT(fault_of(to, lines, {.line = longest - 1}), HasSubstr("line 1: it is longer than"));
  EXPECT_THAT(fault_of(to, lines, {.file = lines.size() - 1}),
              HasSubstr("the file is larger than"));
  EXPECT_EQ(size_of(to), 0U);
  EXPECT_EQ(fault_of(to, lines, {.line = longest, .file = lines.size()}), "");
}

TEST_F(HistoryTransferTest, TakesNoSecondRunningTestOfADrive) {
  History from(options("a"));
  from.begin(drive(1), begun_row());
  const std::string lines = exported(from);
  History to(other_options("a"));
  to.begin(drive(1), begun_row());
  EXPECT_THAT(fault_of(to, lines), HasSubstr("another test of its drive runs here or in the file"));
  EXPECT_EQ(size_of(to), 1U);
}

TEST_F(HistoryTransferTest, SaysThatAFileCannotBeRead) {
  History to(options());
  std::ifstream folder(root());
  EXPECT_THROW(import_history(to, folder), TransferError);
}

}  // namespace
}  // namespace drivetest
