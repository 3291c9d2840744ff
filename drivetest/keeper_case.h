// What the tests of the keeper share: a drive of each protocol, a clock and a history of its own.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "drivetest/fake_drive.h"
#include "drivetest/history.h"
#include "drivetest/keeper.h"
#include "platform/support/support_test.h"

namespace drivetest {

class KeeperCase : public testing::TestWithParam<Protocol> {
 protected:
  DriveStatus look() { return keeper_.look(place_, false); }
  StartOutcome start(TestKind kind = TestKind::Short, bool replace = false) {
    return keeper_.start(place_, kind, replace, false);
  }
  StopOutcome stop() { return keeper_.stop(place_, false); }
  std::vector<TestRow> rows() {
    std::vector<TestRow> rows;
    history_->each([&](const KeptTest& kept) { rows.push_back(kept.row); });
    return rows;
  }

  // The outcomes in the order of the rows.
  std::string outcomes() {
    std::string words;
    for (const TestRow& row : rows())
      words += std::string(row.outcome ? name_of(*row.outcome) : "running") + " ";
    return words;
  }

  const NKVRHVX20::TemporaryFolder folder_;
  std::unique_ptr<History> history_ =
      std::make_unique<History>(HistoryOptions{.folder = folder_ / "hvx", .host = {"aa", "host"}});
  FakeTime time_;
  FakeDrive drive_{time_, GetParam()};
  Keeper keeper_{drive_, time_, [this] { return history_.get(); }};
  const Place place_{"/dev/sda", ""};
};

inline std::string protocol_name(const testing::TestParamInfo<Protocol>& tested) {
  return std::string(name_of(tested.param));
}

inline auto every_protocol() {
  return testing::Values(Protocol::Ata, Protocol::Scsi, Protocol::Nvme);
}

}  // namespace drivetest
