#include "cli/test_advice.h"

#include <gtest/gtest.h>

namespace cli {
namespace {

using drivetest::Drive;
using drivetest::Outcome;
using drivetest::Protocol;
using drivetest::TestRow;

Drive drive(Protocol protocol) {
  Drive drive;
  drive.place.device = "/dev/example";
  drive.protocol = protocol;
  drive.model = "Example Disk 500";
  drive.serial_number = "EX0001";
  return drive;
}

TestRow ended(Outcome outcome, int code, const std::string& cause = "") {
  TestRow row;
  row.outcome = outcome;
  row.result_code = code;
  row.cause = cause;
  return row;
}

TEST(TestAdvice, OfAFailedDriveTellsWhatToPull) {
  EXPECT_EQ(test_advice(drive(Protocol::Ata), ended(Outcome::Failed, 7)),
            "back up its data, then replace it: Example Disk 500, serial number EX0001");
}

TEST(TestAdvice, NamesTheUsbBridgeThatSpinsTheDriveDown) {
  Drive bridged = drive(Protocol::Ata);
  bridged.is_on_usb = true;
  for (const int code : {1, 2}) {
    const std::string text = test_advice(bridged, ended(Outcome::Aborted, code));
    EXPECT_EQ(text.find("keep it awake during the test: switch the sleep timer of its USB"), 0U)
        << text;
    EXPECT_NE(text.find("'dd if=/dev/example of=/dev/null"), std::string::npos) << text;
  }
}

TEST(TestAdvice, NamesStandbyWhereNoBridgeIs) {
  const std::string text = test_advice(drive(Protocol::Ata), ended(Outcome::Aborted, 1));
  EXPECT_NE(text.find("sent to standby"), std::string::npos) << text;
  EXPECT_EQ(text.find("USB"), std::string::npos) << text;
  EXPECT_EQ(test_advice(drive(Protocol::Nvme), ended(Outcome::Aborted, 1)),
            "another program or a person ended the test; test again");
}

TEST(TestAdvice, NamesAReset) {
  for (const Protocol protocol : {Protocol::Ata, Protocol::Scsi, Protocol::Nvme})
    EXPECT_EQ(test_advice(drive(protocol), ended(Outcome::Aborted, 2)).find("the drive was reset"),
              0U);
}

TEST(TestAdvice, IsNotGivenWhereTheUserKnows) {
  EXPECT_EQ(test_advice(drive(Protocol::Ata),
                        ended(Outcome::Aborted, 1, "aborted by the host (by 'hddtest stop')")),
            "");
  EXPECT_EQ(test_advice(drive(Protocol::Ata), ended(Outcome::Passed, 0)), "");
  EXPECT_EQ(test_advice(drive(Protocol::Ata), ended(Outcome::Unknown, 9)), "");
  EXPECT_EQ(test_advice(drive(Protocol::Ata), TestRow()), "");
}

}  // namespace
}  // namespace cli
