// A process that is killed, or finds a fault, at each of its writes: what was told to be kept is.
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <fstream>

#include "drivetest/faulty_file_system.h"
#include "drivetest/history_case.h"

namespace drivetest {
namespace {

class HistoryKillTest : public HistoryCase {
 protected:
  HistoryOptions faulty_options() const {
    HistoryOptions options = this->options();
    options.file_system = kFaultyFileSystem;
    return options;
  }

  std::filesystem::path reports() const { return root() / "reports"; }

  void report(const std::string& word, std::int64_t number) const {
    std::ofstream(reports(), std::ios::app) << word << ' ' << number << std::endl;
  }

  // All that a history does, from its making on. Reports each thing that was said to be kept.
  void use() const {
    History history(faulty_options());
    for (unsigned number = 1; number <= 2; ++number) {
      const std::int64_t row = history.begin(drive(number), begun_row(number)).number;
      report("begun", row);
      DriveChange change;
      change.running = ended_row(row);
      change.log = {entry(1), entry(2)};
      TestRow found = ended_row(0);
      change.added = {found};
      if (history.change(drive(number), history.state(drive(number).identity()), change))
        report("ended", row);
    }
    const std::int64_t row = history.begin(drive(1), begun_row()).number;
    report("begun", row);
    history.database().query("PRAGMA wal_checkpoint(TRUNCATE)").run();
    history.forget_before(now - std::chrono::hours(1));
    history.update(ended_row(row));
    report("ended", row);
  }

  void expect_all_kept(int call) {
    SCOPED_TRACE("call " + std::to_string(call));
    History history(options());
    std::ifstream file(reports());
    std::string word;
    std::int64_t number = 0;
    while (file >> word >> number) {
      const std::optional<KeptTest> test = history.find(number);
      ASSERT_TRUE(test) << word << ' ' << number;
      if (word == "ended") {
        EXPECT_EQ(test->row.outcome, Outcome::Passed) << number;
      }
    }
    EXPECT_EQ(text_of(history.database(), "PRAGMA integrity_check"), "ok");
    EXPECT_EQ(history.take_notes(), std::vector<std::string>());
    EXPECT_EQ(count_files("history.sqlite.damaged"), 0U);
    tested(history, 9);
  }

  void begin_again() const {
    std::filesystem::remove_all(folder());
    std::filesystem::remove(reports());
  }
};

TEST_F(HistoryKillTest, LosesNothingWhenKilledAtAnyWrite) {
  int call = 0;
  for (int status = kKilled; status == kKilled;) {
    begin_again();
    ++call;
    const pid_t child = fork();
    if (child == 0) {
      plan_faults({FaultPlan::Kind::Kill, call});
      use();
      _exit(0);
    }
    int ended = 0;
    ASSERT_EQ(waitpid(child, &ended, 0), child);
    ASSERT_TRUE(WIFEXITED(ended));
    status = WEXITSTATUS(ended);
    ASSERT_TRUE(status == kKilled || status == 0) << status;
    expect_all_kept(call);
    if (HasFailure()) return;
  }
  EXPECT_GT(call, 40);
}

class HistoryFaultTest : public HistoryKillTest,
                         public testing::WithParamInterface<FaultPlan::Kind> {};

TEST_P(HistoryFaultTest, LosesNothingAndKeepsNothingThatFailed) {
  bool is_over = false;
  for (int call = 1; !is_over; ++call) {
    begin_again();
    plan_faults({GetParam(), call});
    try {
      use();
      is_over = true;
    } catch (const HistoryError& error) {
      const HistoryFault fault = error.fault();
      EXPECT_TRUE(fault == HistoryFault::Full || fault == HistoryFault::Broken) << error.what();
      EXPECT_THAT(error.what(), testing::HasSubstr("history.sqlite"));
    } catch (const DatabaseError&) {
      // The check point, which the test asks for by itself.
    }
    is_over = is_over && faulty_calls() < call;
    plan_faults({});
    expect_all_kept(call);
    if (HasFailure()) return;
  }
}

INSTANTIATE_TEST_SUITE_P(Once, HistoryFaultTest, testing::Values(FaultPlan::Kind::Fail));
INSTANTIATE_TEST_SUITE_P(FromThenOn, HistoryFaultTest, testing::Values(FaultPlan::Kind::Full));

// A machine that loses power keeps what is on the disk, and that alone.
TEST_F(HistoryKillTest, HasOnTheDiskWhatItHasReturned) {
  plan_faults({});
  History history(faulty_options());
  const std::int64_t number = history.begin(drive(1), begun_row()).number;
  EXPECT_FALSE(is_log_unsynchronised());
  EXPECT_TRUE(history.update(ended_row(number)));
  EXPECT_FALSE(is_log_unsynchronised());
  EXPECT_GT(faulty_calls(), 10);
}

TEST_F(HistoryKillTest, KeepsNothingOfWhatHasThrown) {
  plan_faults({});
  {
    History history(faulty_options());
    int before = faulty_calls();
    history.begin(drive(1), begun_row());
    const int calls = faulty_calls() - before;
    ASSERT_GT(calls, 1);
    for (int call = 1; call <= calls; ++call) {
      plan_faults({FaultPlan::Kind::Fail, call});
      EXPECT_THROW(history.begin(drive(2), begun_row()), HistoryError) << call;
      plan_faults({});
      EXPECT_FALSE(history.running(drive(2).identity())) << call;
      EXPECT_FALSE(History(options()).running(drive(2).identity())) << call;
    }
    EXPECT_NE(history.begin(drive(3), begun_row()).number, 0);
  }
  EXPECT_EQ(History(options()).running().size(), 2U);
}

}  // namespace
}  // namespace drivetest
