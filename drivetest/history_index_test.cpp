#include <gmock/gmock.h>

#include "drivetest/history.h"
#include "drivetest/history_case.h"

namespace drivetest {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

using HistoryIndex = HistoryCase;

// What people or timers ask often takes no longer when there are many tests.
TEST_F(HistoryIndex, LooksTestsUpByIndex) {
  History history(options());
  tested(history, 1);
  history.of_drive(drive(1).identity(), 3);
  history.of_drives_named("S1", 3);
  history.last_of_each_drive();
  history.telling_of_failures(drive(1).identity());
  history.running();
  history.running(drive(1).identity());
  DriveChange change;
  change.log = {entry(1)};
  change.added = {ended_row(0)};
  EXPECT_TRUE(history.change(drive(1), history.state(drive(1).identity()), change));
  KeptTest other = *history.find(1);
  other.row.id = "other";
  history.import(other);
  other.drive.protocol = Protocol::Nvme;
  other.row.id = "another";
  history.import(other);
  Drive named = drive(1);
  named.world_wide_name = "nguid-0025385b71b0a7c10025385b71b0a7c1";
  history.begin(named, begun_row());
  history.recognise(named);
  Database database(file(), 1s);
  std::size_t plans = 0;
  for (const std::string& sql : history.database().texts()) {
    if (sql.starts_with("PRAGMA") || sql.find("sqlite_schema") != std::string::npos) continue;
    const std::string explained = "EXPLAIN QUERY PLAN " + sql;
    Query query = database.query(explained);
    while (query.step()) {
      for (int skipped = 0; skipped < 3; ++skipped) query.next_integer();
      const std::string step = query.next_text();
      ++plans;
      // Of drives there are few, and of running tests one for each at most.
      EXPECT_TRUE(step.find("SCAN") == std::string::npos || step.starts_with("SCAN drives") ||
                  step.ends_with("INDEX one_running_test_of_a_drive") ||
                  step == "SCAN CONSTANT ROW")
          << sql << "\n"
          << step;
      if (sql.find("kind IS ?") != std::string::npos) {
        EXPECT_THAT(step, HasSubstr("ended_tests_of_a_drive (drive=? AND outcome=? AND kind=?)"));
      }
      EXPECT_THAT(step, testing::Not(HasSubstr("TEMP B-TREE"))) << sql;
    }
  }
  EXPECT_GT(plans, 10U);
}

}  // namespace
}  // namespace drivetest
