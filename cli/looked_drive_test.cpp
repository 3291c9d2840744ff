#include "cli/looked_drive.h"

#include <gmock/gmock.h>

namespace cli {
namespace {

using drivetest::LookFault;
using drivetest::Outcome;
using drivetest::TestKind;
using drivetest::TestRow;

TestRow ended(std::int64_t number, TestKind kind, Outcome outcome) {
  TestRow row;
  row.number = number;
  row.kind = kind;
  row.outcome = outcome;
  row.ended = drivetest::system_time();
  return row;
}

TEST(LookedDrive, HasFailedAlsoWhereItRests) {
  LookedDrive one;
  one.status.look.fault = LookFault::Standby;
  one.last = one.ended = ended(2, TestKind::Short, Outcome::Passed);
  EXPECT_EQ(brief_text(one, true), "in standby");
  EXPECT_EQ(test_text(one, true), "short test passed just now (in standby, not looked at)");
  one.failed = ended(1, TestKind::Long, Outcome::Failed);
  EXPECT_EQ(brief_text(one, true), "in standby, failed before");
  EXPECT_EQ(test_text(one, true),
            "short test passed just now (in standby, not looked at); before it: long test failed "
            "just now");
}

}  // namespace
}  // namespace cli
