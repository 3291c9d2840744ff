// Several processes that use one history at once.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <fstream>
#include <set>

#include "drivetest/history_case.h"

namespace drivetest {
namespace {

class HistoryLoadTest : public HistoryCase {
 protected:
  static constexpr int kProcesses = 8;

  // Does the work in that many processes, each with its number. It returns how it went.
  template <class Work>
  void in_processes(Work work) {
    std::set<pid_t> children;
    for (int number = 0; number < kProcesses; ++number) {
      const pid_t child = fork();
      if (child == 0) {
        bool is_well = false;
        try {
          is_well = work(number);
        } catch (const std::exception& error) {
          fprintf(stderr, "%d: %s\n", number, error.what());
        }
        _exit(is_well ? 0 : 1);
      }
      children.insert(child);
    }
    for (const pid_t child : children) {
      int status = 0;
      EXPECT_EQ(waitpid(child, &status, 0), child);
      EXPECT_EQ(status, 0);
    }
  }

  std::filesystem::path report(int number) const {
    return root() / ("report" + std::to_string(number));
  }
  // The numbers of rows that all of them have told to be kept.
  std::vector<std::int64_t> reported() const {
    std::vector<std::int64_t> numbers;
    for (int number = 0; number < kProcesses; ++number) {
      std::ifstream file(report(number));
      for (std::int64_t row = 0; file >> row;) numbers.push_back(row);
    }
    return numbers;
  }
  // Begins and ends tests of a few drives that all processes share, and looks at them.
  bool use(int number) const {
    constexpr int kRounds = 15;
    History history(options());
    std::ofstream told(report(number));
    for (int round = 0; round < kRounds; ++round) {
      const unsigned which = static_cast<unsigned>(round + number) % 3;
      const History::Begun begun = history.begin(drive(which), begun_row(which));
      if (begun.number == 0 && !begun.running) return false;
      history.last_of_each_drive();
      history.of_drive(drive(which).identity(), 5);
      if (begun.number == 0) continue;
      if (!history.update(ended_row(begun.number))) return false;
      told << begun.number << ' ';
    }
    return history.take_notes().size() <= 1;
  }
  void expect_all_kept() {
    const std::vector<std::int64_t> numbers = reported();
    EXPECT_EQ(std::set<std::int64_t>(numbers.begin(), numbers.end()).size(), numbers.size());
    EXPECT_GE(numbers.size(), 15U);
    History history(options());
    std::size_t rows = 0;
    history.each([&](const KeptTest&) { ++rows; });
    EXPECT_EQ(rows, numbers.size());
    for (const std::int64_t number : numbers)
      EXPECT_EQ(history.find(number)->row.outcome, Outcome::Passed);
    EXPECT_EQ(text_of(history.database(), "PRAGMA integrity_check"), "ok");
  }
};

TEST_F(HistoryLoadTest, LosesNothing) {
  in_processes([&](int number) { return use(number); });
  expect_all_kept();
  EXPECT_EQ(count_files("history.sqlite.damaged"), 0U);
}

// One of them keeps it aside and begins anew; what any of them writes is in the new file.
TEST_F(HistoryLoadTest, KeepsADamagedFileAsideOnce) {
  { History history(options()); }
  std::ofstream(file()) << std::string(5000, 'x');
  in_processes([&](int number) { return use(number); });
  expect_all_kept();
  EXPECT_EQ(count_files("history.sqlite.damaged"), 1U);
}

TEST_F(HistoryLoadTest, WaitsNoLongerThanItsPatience) {
  History history(options());
  Transaction transaction(history.database());
  HistoryOptions impatient = options();
  impatient.patience = std::chrono::milliseconds(20);
  History other(impatient);
  EXPECT_TRUE(other.running().empty());  // who reads need not wait
  try {
    other.begin(drive(1), begun_row());
    FAIL();
  } catch (const HistoryError& error) {
    EXPECT_EQ(error.fault(), HistoryFault::Busy);
  }
}

}  // namespace
}  // namespace drivetest
