#include "drivetest/history_json.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "drivetest/history_case.h"

namespace drivetest {
namespace {

using testing::HasSubstr;

class HistoryJsonTest : public HistoryCase {
 protected:
  static KeptTest full_test() {
    KeptTest test{drive(1), ended_row(3, Outcome::Failed)};
    test.drive.is_rotational = true;
    test.drive.world_wide_name = "wwn-0x5000000000000001";
    TestRow& row = test.row;
    row.id = "0123456789abcdef0123456789abcdef";
    row.drive = test.drive.identity();
    row.machine_id = std::string(32, 'a');
    row.host_name = "host-a";
    row.recorded = now;
    row.looked = now;
    row.progressed = now;
    row.remaining_percent = 0;
    row.first_bad_block = ~std::uint64_t{0};
    row.segment = 7;
    return test;
  }
  static KeptTest running_test() {
    KeptTest test = full_test();
    test.row.outcome.reset();
    test.row.ended.reset();
    test.row.result_code.reset();
    return test;
  }
  // What is said of a line in which one text stands for another.
  static std::string fault_with(const std::string& from, const std::string& to,
                                const KeptTest& test = full_test()) {
    std::string line = json_line(test);
    const std::size_t place = line.find(from);
    if (place == std::string::npos) return "does not hold " + from + ": " + line;
    return fault_of(line.replace(place, from.size(), to));
  }
  static std::string fault_of(const std::string& line) {
    try {
      test_from_json(line);
      return "";
    } catch (const JsonLineError& error) {
      return error.what();
    }
  }
};

TEST_F(HistoryJsonTest, IsReadBack) {
  for (const KeptTest& test : {full_test(), running_test()}) {
    const KeptTest read = test_from_json(json_line(test));
    TestRow row = test.row;
    row.number = 0;  // each history has its own
    EXPECT_EQ(read.row, row);
    EXPECT_EQ(json_line({read.drive, test.row}), json_line(test));
  }
}

TEST_F(HistoryJsonTest, HasTheseMembers) {
  EXPECT_EQ(json_line(full_test()),
            R"({"number":3,"id":"0123456789abcdef0123456789abcdef",)"
            R"("machine_id":"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa","host_name":"host-a",)"
            R"("drive":{"identity":"wwn-0x5000000000000001","protocol":"ATA",)"
            R"("model":"Example Disk","serial_number":"S1","firmware":"F1",)"
            R"("world_wide_name":"wwn-0x5000000000000001","size":1000000000000,)"
            R"("is_rotational":true},"device":"/dev/sdb","device_type":"sat",)"
            R"("source":"hddtest","kind":"short","test_code":1,)"
            R"("recorded":"2027-01-15T08:00:00Z","started":"2027-01-15T08:00:00Z",)"
            R"("ended":"2027-01-15T08:02:00Z","looked":"2027-01-15T08:00:00Z",)"
            R"("remaining_percent":0,"progressed":"2027-01-15T08:00:00Z","outcome":"failed",)"
            R"("cause":"completed without error","result_code":7,)"
            R"("first_bad_block":18446744073709551615,"segment":7,"hours":100,)"
            R"("hours_at_start":100,"power_cycles_at_start":20})");
}

TEST_F(HistoryJsonTest, HasNoEffectOnATerminal) {
  KeptTest test = full_test();
  test.drive.model = "\x1B[2J\x7F\u009B\u202E\xFF\n";
  for (const char letter : json_line(test)) {
    EXPECT_GE(letter, ' ');
    EXPECT_LT(letter, 0x7F);
  }
}

TEST_F(HistoryJsonTest, SaysWhichMemberIsWrong) {
  EXPECT_EQ(fault_with(R"("short")", R"("extended")"), R"(kind is "extended")");
  EXPECT_EQ(fault_with(R"("failed")", R"("FAILED")"), R"(outcome is "FAILED")");
  EXPECT_EQ(fault_with(R"("hddtest")", "null"), "source is null");
  EXPECT_EQ(fault_with(R"("ATA")", R"("IDE")"), R"(drive.protocol is "IDE")");
  EXPECT_EQ(fault_with(R"("host-a")", "5"), "host_name is no string");
  EXPECT_EQ(fault_with(R"("test_code":1)", R"("test_code":"1")"), "test_code is no whole number");
  EXPECT_EQ(fault_with(R"("test_code":1)", R"("test_code":1.0)"), "test_code is no whole number");
  EXPECT_EQ(fault_with(R"("test_code":1)", R"("test_code":2147483648)"),
            "test_code is 2147483648, which cannot be");
  EXPECT_EQ(fault_with(R"("test_code":1)", R"("test_code":null)"), "test_code is null");
  EXPECT_EQ(fault_with(R"("hours":100)", R"("hours":-1)"), "hours is -1, which cannot be");
  EXPECT_EQ(fault_with(R"("hours":100)", R"("hours":18446744073709551616)"),
            "hours is no whole number");
  EXPECT_EQ(fault_with(R"("hours":100)", R"("hours":1e999)"),
            "it holds a number that is too large");
  EXPECT_EQ(fault_with(R"("remaining_percent":0)", R"("remaining_percent":101)"),
            "remaining_percent is 101, which cannot be");
  EXPECT_EQ(fault_with("true", "1"), "drive.is_rotational is neither true nor false");
  EXPECT_EQ(fault_with(R"("cause":)", R"("because":)"), "cause is missing");
  EXPECT_EQ(fault_with(R"("cause":)", R"("x":1,"cause":)"), R"("x" is no member of a test)");
  EXPECT_EQ(fault_with(R"("model":)", R"("x":1,"model":)"), R"(drive."x" is no member of a test)");
  EXPECT_EQ(fault_with(R"("cause":)", R"("cause":"","cause":)"), R"("cause" is there twice)");
  EXPECT_EQ(fault_with(R"("0123)", R"("012X)"), R"(id is "012X456789abcdef0123456789abcdef")");
  EXPECT_EQ(fault_with(R"("aaaa)", R"("aaaaa)"), "machine_id is \"" + std::string(33, 'a') + '"');
  EXPECT_EQ(fault_with(R"("identity":"wwn-0x5000000000000001")", R"("identity":"")"),
            "drive.identity is empty");
}

TEST_F(HistoryJsonTest, TakesNoOutcomeThatTheDrivesCodeContradicts) {
  EXPECT_EQ(fault_with(R"("failed")", R"("passed")"),
            R"(outcome is "passed", but result_code 7 means "failed")");
  EXPECT_EQ(fault_with(R"("result_code":7)", R"("result_code":0)"),
            R"(outcome is "failed", but result_code 0 means "passed")");
  EXPECT_EQ(fault_with(R"("failed")", R"("aborted")"),
            R"(outcome is "aborted", but result_code 7 means "failed")");
  for (const char* const code : {"9", "15", "99", "-1"})
    EXPECT_EQ(
        fault_with(R"("result_code":7)", std::string(R"("result_code":)") + code),
        std::string(R"(outcome is "failed", but result_code )") + code + " does not mean that");
  EXPECT_EQ(fault_with(R"("failed")", "null"), "outcome is null, but result_code is 7");
  EXPECT_EQ(fault_with(R"("result_code":null)", R"("result_code":0)", running_test()),
            "outcome is null, but result_code is 0");
  // The drive's protocol decides.
  EXPECT_EQ(fault_with(R"("ATA")", R"("NVMe")"), "");
  KeptTest aborted = full_test();
  aborted.row.outcome = Outcome::Aborted;
  aborted.row.result_code = 4;
  EXPECT_EQ(fault_with(R"("ATA")", R"("NVMe")", aborted), "");
  EXPECT_EQ(fault_of(json_line(aborted)),
            R"(outcome is "aborted", but result_code 4 means "failed")");
}

// What a log says is kept by the meaning of its code, and what nobody knows may have none. A drive
// that a user has reached as a SCSI drive is kept as one from then on, with all its tests.
TEST_F(HistoryJsonTest, TakesWhatTheDrivesCodesMean) {
  constexpr int kCodes = 16;
  for (const Protocol spoken : {Protocol::Ata, Protocol::Scsi, Protocol::Nvme})
    for (int code = 0; code < kCodes; ++code) {
      KeptTest test = full_test();
      test.drive.protocol = spoken;
      test.row.result_code = code;
      test.row.outcome = result_meaning(spoken, code).value_or(ResultMeaning{}).outcome;
      EXPECT_EQ(fault_of(json_line(test)), "") << code;
      test.drive.protocol = Protocol::Scsi;
      EXPECT_EQ(fault_of(json_line(test)), "") << code;
    }
  for (const Outcome outcome :
       {Outcome::Passed, Outcome::Failed, Outcome::Aborted, Outcome::Unknown}) {
    KeptTest test = full_test();
    test.row.outcome = outcome;
    test.row.result_code.reset();
    EXPECT_EQ(fault_of(json_line(test)), "") << name_of(outcome);
  }
}

TEST_F(HistoryJsonTest, TakesNoTimeThatIsNone) {
  for (const char* const time : {"2027-02-29T00:00:00Z", "12027-01-15T08:02:00Z",
                                 "1969-01-15T08:02:00Z", "2027-01-15 08:02:00", "\\u001b[2J"})
    EXPECT_THAT(fault_with("2027-01-15T08:02:00Z", time), HasSubstr("ended is \"")) << time;
}

TEST_F(HistoryJsonTest, TakesNoTextThatIsNone) {
  EXPECT_EQ(fault_with("host-a", "host\\u0000a"), "host_name holds a NUL");
  EXPECT_THAT(fault_with("host-a", std::string("host\0a", 6)), HasSubstr("it is no JSON: at byte"));
  EXPECT_THAT(fault_with("host-a", "host\xFF"), HasSubstr("it is no JSON: at byte"));
  EXPECT_THAT(fault_with("host-a", "host\xC0\x80"), HasSubstr("it is no JSON: at byte"));
  EXPECT_THAT(fault_with("host-a", "host\\ud800"), HasSubstr("it is no JSON: at byte"));
  EXPECT_EQ(fault_with("host-a", std::string(16384, 'h')), "");
  EXPECT_EQ(fault_with("host-a", std::string(16385, 'h')), "host_name is too long");
}

TEST_F(HistoryJsonTest, TakesNothingElse) {
  EXPECT_EQ(fault_of(""), "it is no JSON: at byte 1");
  EXPECT_EQ(fault_of("[]"), "it is no object");
  EXPECT_EQ(fault_of("null"), "it is no object");
  EXPECT_EQ(fault_of("{}"), "id is missing");
  EXPECT_THAT(fault_of(json_line(full_test()) + " {}"), HasSubstr("it is no JSON"));
  EXPECT_EQ(fault_of(std::string(100'000, '[')), "it is nested too deep");
  std::string deep;
  for (int level = 0; level < 10'000; ++level) deep += "{\"a\":";
  EXPECT_EQ(fault_of(deep), "it is nested too deep");
  EXPECT_EQ(fault_with(R"("size":1000000000000)", R"("size":[1])"), "it is nested too deep");
  EXPECT_EQ(fault_with(R"("hours":100)", R"("hours":[1])"), "hours is no whole number");
}

}  // namespace
}  // namespace drivetest
