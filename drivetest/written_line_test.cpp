// The quick reader gives what the strict one does, or nothing.
#include "drivetest/written_line.h"

#include <gtest/gtest.h>

#include <chrono>

#include "drivetest/history_json.h"

namespace drivetest {
namespace {

using std::chrono::seconds;

KeptTest whole_test() {
  KeptTest test;
  test.drive.protocol = Protocol::Ata;
  test.drive.model = "Example \"Disk\" \\ 500";
  test.drive.serial_number = "S1";
  test.drive.firmware = "1.0";
  test.drive.world_wide_name = "";
  test.drive.size = 18446744073709551615U;
  test.drive.is_rotational = false;
  TestRow& row = test.row;
  row.number = 17;
  row.id = std::string(32, 'a');
  row.machine_id = std::string(32, '0');
  row.host_name = "host";
  row.drive = "Example Disk\nS1";
  row.place = {"/dev/sda", "sat"};
  row.source = Source::Other;
  row.kind = TestKind::Conveyance;
  row.test_code = 3;
  row.recorded = Time(seconds(1'700'000'000));
  row.started = row.ended = row.looked = row.progressed = row.recorded;
  row.remaining_percent = 100;
  row.outcome = Outcome::Failed;
  row.cause = "read failure";
  row.result_code = 7;
  row.first_bad_block = 4711;
  row.segment = 3;
  row.hours = row.hours_at_start = row.power_cycles_at_start = 12;
  return test;
}

void expect_same(const std::string& line) {
  const auto quick = test_from_written_line(line);
  ASSERT_TRUE(quick) << line;
  const KeptTest strict = test_from_json(line);
  EXPECT_EQ(quick->row, strict.row) << line;
  EXPECT_EQ(json_line(*quick), json_line(strict)) << line;
  EXPECT_EQ(quick->drive.place, strict.drive.place) << line;
}

TEST(WrittenLine, IsReadAsTheStrictReaderReadsIt) {
  expect_same(json_line(whole_test()));
  KeptTest bare;
  bare.row.id = std::string(32, '1');
  bare.row.drive = "d";
  expect_same(json_line(bare));
}

TEST(WrittenLine, IsLeftToTheStrictReaderInAnotherForm) {
  KeptTest test = whole_test();
  const std::string line = json_line(test);
  EXPECT_FALSE(test_from_written_line(" " + line));
  EXPECT_FALSE(test_from_written_line(line + " "));
  EXPECT_NO_THROW(test_from_json(line + " "));
  test.drive.model = "\xc3\xa9";
  EXPECT_FALSE(test_from_written_line(json_line(test))) << "an escape of four digits";
}

// Every line with one byte changed, left out or put twice: what the quick reader takes, the strict
// one takes too, and reads the same.
TEST(WrittenLine, TakesNothingThatTheStrictReaderRefuses) {
  const std::string line = json_line(whole_test());
  std::size_t taken = 0;
  const auto expect_no_less_strict = [&](const std::string& changed) {
    const auto quick = test_from_written_line(changed);
    if (!quick) return;
    ++taken;
    ASSERT_NO_THROW(EXPECT_EQ(test_from_json(changed).row, quick->row) << changed) << changed;
  };
  for (std::size_t place = 0; place < line.size(); ++place) {
    for (const char letter : {'\0', '\n', '"', '0', '-', '9', 'A', 'f', '\\', '\x7f', '\xff'}) {
      std::string changed = line;
      changed[place] = letter;
      expect_no_less_strict(changed);
    }
    expect_no_less_strict(line.substr(0, place) + line.substr(place + 1));
    expect_no_less_strict(line.substr(0, place) + line.substr(place, 1) + line.substr(place));
    EXPECT_FALSE(test_from_written_line(line.substr(0, place))) << place;
  }
  EXPECT_GT(taken, 500U);
}

TEST(WrittenLine, IsLeftToTheStrictReaderWhereItContradictsItself) {
  KeptTest test = whole_test();
  test.row.outcome = Outcome::Passed;
  EXPECT_FALSE(test_from_written_line(json_line(test)));
  EXPECT_THROW(test_from_json(json_line(test)), JsonLineError);
}

TEST(WrittenLine, IsLeftToTheStrictReaderWhereItIsTooLong) {
  KeptTest test = whole_test();
  test.row.cause = std::string(16384, 'x');
  expect_same(json_line(test));
  test.row.cause += 'x';
  EXPECT_FALSE(test_from_written_line(json_line(test)));
  EXPECT_THROW(test_from_json(json_line(test)), JsonLineError);
}

}  // namespace
}  // namespace drivetest
