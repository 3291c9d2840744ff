// The first looks at drives whose tests came with a file.
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "drivetest/history_transfer.h"
#include "drivetest/keeper_case.h"

namespace drivetest {
namespace {

using std::chrono::hours;
using std::chrono::minutes;

class KeeperAfterImport : public KeeperCase {
 protected:
  KeeperAfterImport() { history_ = history_in("machine"); }

  // Each of the same machine.
  std::unique_ptr<History> history_in(const std::string& name) const {
    return std::make_unique<History>(
        HistoryOptions{.folder = folder_ / name, .host = {std::string(32, 'a'), "host"}});
  }
  // All goes into a history that is empty.
  void move_history() {
    std::string lines;
    export_history(*history_, [&](std::string_view line) { lines += line; });
    moved_ = history_in("moved");
    std::istringstream file(lines);
    import_history(*moved_, file);
    history_.swap(moved_);
    imported_ = rows();
  }
  DriveStatus first_look() {
    return Keeper(drive_, time_, [this] { return history_.get(); }).look(place_, false);
  }
  void test_by_others(TestKind kind = TestKind::Short) {
    drive_.begin(kind);
    time_.wait(minutes(3));
  }

  std::unique_ptr<History> moved_;
  std::vector<TestRow> imported_;
};

INSTANTIATE_TEST_SUITE_P(Protocols, KeeperAfterImport, every_protocol(), protocol_name);

TEST_P(KeeperAfterImport, KeepsNoTestTwice) {
  test_by_others();
  test_by_others();
  look();
  time_.wait(hours(3));
  start(TestKind::Long);
  time_.wait(minutes(3));
  look();
  ASSERT_EQ(rows().size(), 3);
  move_history();
  first_look();
  EXPECT_EQ(rows(), imported_);
  first_look();
  EXPECT_EQ(rows(), imported_);
}

TEST_P(KeeperAfterImport, KeepsEachTestSince) {
  test_by_others();
  look();
  move_history();
  test_by_others();  // in the same hour
  time_.wait(hours(3));
  test_by_others(TestKind::Long);
  first_look();
  ASSERT_EQ(rows().size(), 3);
  EXPECT_EQ(rows()[0], imported_[0]);
  EXPECT_EQ(rows()[1].kind, TestKind::Short);
  EXPECT_EQ(rows()[2].kind, TestKind::Long);
}

TEST_P(KeeperAfterImport, EndsATestThatRan) {
  test_by_others();
  look();
  time_.wait(hours(3));
  start();
  move_history();
  time_.wait(minutes(3));
  EXPECT_EQ(first_look().ended.size(), 1);
  EXPECT_EQ(outcomes(), "passed passed ");
  EXPECT_EQ(rows().back().source, Source::Library);
}

}  // namespace
}  // namespace drivetest
