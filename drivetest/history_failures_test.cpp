#include <gmock/gmock.h>

#include "drivetest/history.h"
#include "drivetest/history_case.h"

namespace drivetest {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class HistoryFailures : public HistoryCase {
 protected:
  static std::int64_t keep(History& history, std::optional<TestKind> kind, Outcome outcome,
                           unsigned of = 1) {
    TestRow row = begun_row(of);
    row.kind = kind;
    const std::int64_t number = history.begin(drive(of), row).number;
    row = ended_row(number, outcome);
    row.kind = kind;
    EXPECT_TRUE(history.update(row));
    return number;
  }
  static std::vector<std::int64_t> telling(History& history, unsigned of = 1) {
    std::vector<std::int64_t> numbers;
    for (const KeptTest& test : history.telling_of_failures(drive(of).identity()))
      numbers.push_back(test.row.number);
    return numbers;
  }
};

TEST_F(HistoryFailures, AreToldByTheNewestTestsOfEachKindHoweverOld) {
  History history(options());
  EXPECT_THAT(telling(history), IsEmpty());
  keep(history, TestKind::Long, Outcome::Failed);
  const std::int64_t failed = keep(history, TestKind::Long, Outcome::Failed);
  const std::int64_t other = keep(history, std::nullopt, Outcome::Failed);
  keep(history, TestKind::Short, Outcome::Failed, 2);
  std::int64_t passed = 0;
  for (int day = 0; day < 20; ++day) {
    now += 24h;
    passed = keep(history, TestKind::Short, Outcome::Passed);
  }
  keep(history, TestKind::Conveyance, Outcome::Aborted);
  keep(history, TestKind::Conveyance, Outcome::Unknown);
  history.begin(drive(1), begun_row());
  EXPECT_THAT(telling(history), ElementsAre(passed, other, failed));
  const std::vector<KeptTest> told = history.telling_of_failures(drive(1).identity());
  EXPECT_EQ(told.back().row.kind, TestKind::Long);
  EXPECT_EQ(told.back().row.outcome, Outcome::Failed);
}

// As a file that was made before there was one.
TEST_F(HistoryFailures, AreLookedUpByAnIndexThatAnOlderFileGets) {
  const auto drop_index = [this] {
    Database database(file(), 1s);
    database.run("DROP INDEX ended_tests_of_a_drive");
  };
  constexpr std::string_view kCount =
      "SELECT count(*) FROM sqlite_schema WHERE name = 'ended_tests_of_a_drive'";
  {
    History history(options());
    keep(history, TestKind::Long, Outcome::Failed);
  }
  drop_index();
  {
    History history(options());
    EXPECT_EQ(number_of(history.database(), kCount), 1);
    EXPECT_EQ(telling(history).size(), 1U);
    EXPECT_EQ(text_of(history.database(), "PRAGMA integrity_check"), "ok");
  }
  drop_index();
  // Others write all the time.
  Database other(file(), 1s);
  const Transaction transaction(other);
  HistoryOptions impatient = options();
  impatient.patience = 20ms;
  History history(impatient);
  EXPECT_EQ(number_of(history.database(), kCount), 0);
  EXPECT_EQ(telling(history).size(), 1U);
}

}  // namespace
}  // namespace drivetest
