#include "drivetest/outcome.h"

#include <gtest/gtest.h>

namespace drivetest {
namespace {

// A letter for each code from 0 to 15: passed, failed, aborted, unknown, none.
std::string outcomes_of(Protocol protocol) {
  std::string letters;
  for (int code = 0; code <= 15; ++code) {
    const auto verdict = result_meaning(protocol, code);
    letters += verdict ? name_of(verdict->outcome).front() : '-';
    EXPECT_TRUE(!verdict || !verdict->cause.empty()) << code;
  }
  return letters;
}

TEST(Outcome, IsThatOfTheDrivesOwnCode) {
  EXPECT_EQ(outcomes_of(Protocol::Ata), "paaffffffuuuuuu-");
  EXPECT_EQ(outcomes_of(Protocol::Scsi), "paafffffuuuuuuu-");
  EXPECT_EQ(outcomes_of(Protocol::Nvme), "paaaafffaauuuuu-");
  EXPECT_EQ(outcomes_of(Protocol::Unknown), "----------------");
}

TEST(Outcome, OfWhatIsNoCodeIsNone) {
  EXPECT_FALSE(result_meaning(Protocol::Ata, -1));
  EXPECT_FALSE(result_meaning(Protocol::Ata, 16));
  EXPECT_FALSE(result_meaning(Protocol::Nvme, 255));
}

TEST(Outcome, SaysWhichCodeHasNoMeaning) {
  EXPECT_EQ(result_meaning(Protocol::Scsi, 8)->cause, "result code 8, which has no meaning");
  EXPECT_EQ(result_meaning(Protocol::Ata, 7)->cause, "read failure");
}

TEST(Names, AreReadBack) {
  for (const Outcome one : {Outcome::Passed, Outcome::Failed, Outcome::Aborted, Outcome::Unknown})
    EXPECT_EQ(outcome_named(name_of(one)), one);
  for (const TestKind kind : kTestKinds) EXPECT_EQ(test_kind_named(name_of(kind)), kind);
  EXPECT_EQ(protocol_named("NVMe"), Protocol::Nvme);
  EXPECT_FALSE(outcome_named("Passed"));
  EXPECT_FALSE(test_kind_named("extended"));
}

TEST(Identity, IsWhatTheDriveSaysOfItself) {
  Drive drive;
  drive.place = {"/dev/sda", ""};
  EXPECT_EQ(drive.claimed_identity(), "");
  drive.model = "Example Disk 1";
  EXPECT_EQ(drive.claimed_identity(), "");
  drive.serial_number = "S1";
  EXPECT_EQ(drive.identity(), "Example Disk 1\nS1");
  drive.model = "Example\nDisk 1";
  EXPECT_EQ(drive.identity(), "Example Disk 1\nS1");
  drive.world_wide_name = "wwn-0x5000000000000001";
  EXPECT_EQ(drive.identity(), "wwn-0x5000000000000001");
}

TEST(Identity, HasThePlaceWhereTheDriveSaysNothingOrAnotherSaysTheSame) {
  Drive drive;
  drive.place = {"/dev/sda", ""};
  EXPECT_EQ(drive.identity(), "\nat /dev/sda");
  drive.world_wide_name = "wwn-0x5000000000000001";
  drive.shares_identity = true;
  EXPECT_EQ(drive.identity(), "wwn-0x5000000000000001\nat /dev/sda");
  EXPECT_EQ(drive.claimed_identity(), "wwn-0x5000000000000001");
}

// Some bridges make up what they tell.
TEST(Identity, IsNotThatOfAnotherDriveAtItsPlaceWhateverTheDriveSays) {
  Drive drive;
  drive.model = "wwn-0x5000000000000001";
  drive.serial_number = "at /dev/sda";
  EXPECT_EQ(drive.identity(), "wwn-0x5000000000000001\n at /dev/sda");
  drive.model = "Example Disk 1";
  drive.serial_number = "S1\nat \nat /dev/sda";
  EXPECT_EQ(drive.identity(), "Example Disk 1\nS1\n at \n at /dev/sda");
  drive.serial_number = "atlas";
  EXPECT_EQ(drive.identity(), "Example Disk 1\natlas");
}

TEST(Identity, HasTheTypeOnlyWhereThatChoosesAmongDrives) {
  const auto identity_of = [](const std::string& type) {
    Drive drive;
    drive.place = {"/dev/sda", type};
    return drive.identity();
  };
  for (const char* const type : {"sat", "sat,12", "scsi", "usbjmicron,x", "sntjmicron,1"})
    EXPECT_EQ(identity_of(type), "\nat /dev/sda") << type;
  for (const char* const type : {"megaraid,5", "cciss,1", "areca,3/2", "usbjmicron,1"})
    EXPECT_EQ(identity_of(type), std::string("\nat /dev/sda -d ") + type);
  EXPECT_EQ(identity_of("sat+megaraid,5"), identity_of("megaraid,5"));
  EXPECT_EQ(identity_of("areca,3/2+sat"), identity_of("areca,3/2"));
}

}  // namespace
}  // namespace drivetest
