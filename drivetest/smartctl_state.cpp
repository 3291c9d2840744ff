#include "drivetest/smartctl_state.h"

#include <algorithm>
#include <cstdio>

#include "drivetest/ata_logs.h"
#include "drivetest/inability.h"
#include "drivetest/log_rows.h"
#include "drivetest/outcome.h"

namespace drivetest {

namespace {

std::optional<unsigned> minutes(std::optional<std::uint64_t> value) {
  if (!value || *value == 0) return std::nullopt;
  return static_cast<unsigned>(*value);
}

Ability& ability(Look& look, TestKind kind) {
  return look.abilities[static_cast<std::size_t>(kind)];
}

// smartctl would start a test also in drives that say they have none.
void read_ata_abilities(JsonPart data, Look& look) {
  const JsonPart capabilities = data["capabilities"];
  const auto has_tests = capabilities["self_tests_supported"].truth();
  if (has_tests == false) look.inability = "the drive says that it has no self-test";
  if (has_tests != true) return;
  const JsonPart times = data["self_test"]["polling_minutes"];
  ability(look, TestKind::Short) = {true, minutes(times["short"].number(0xFF))};
  // 255 stands for a longer time, which a second field should hold and sometimes does not.
  const auto of_long = minutes(times["extended"].number(0xFFFE));
  ability(look, TestKind::Long) = {true, of_long == 0xFF ? std::nullopt : of_long};
  if (capabilities["conveyance_self_test_supported"].truth() == true)
    ability(look, TestKind::Conveyance) = {true, minutes(times["conveyance"].number(0xFF))};
}

void read_ata_log(JsonPart logs, Look& look) {
  const JsonPart standard = logs["standard"];
  const JsonPart extended = logs["extended"];
  look.has_log = standard.is_object() || extended.is_object();
  look.log = joined_logs(ata_log(extended["table"]), ata_log(standard["table"]));
}

// A drive without a log aborts the command. All else may succeed the next time.
bool tells_of_lost_log(const std::string& line) {
  return line.starts_with("Read SMART Self-test Log failed") &&
         !line.ends_with("aborted command") && line.find("unsupported") == std::string::npos;
}

// Of an ATA drive; in others SMART is something else, on which their self-tests do not depend.
std::string why_without_smart(JsonPart support) {
  if (support["available"].truth() == false) return "the drive has no SMART";
  if (support["enabled"].truth() == false) return "SMART is off; smartctl -s on switches it on";
  return {};
}

// "Self-test execution status:		75% of test remaining"
std::optional<unsigned> remaining_of(const std::string& line) {
  if (!line.starts_with("Self-test execution status:")) return std::nullopt;
  unsigned percent = 0;
  const std::size_t place = line.find_first_of("0123456789");
  if (place == std::string::npos || line.find("% of test remaining") == std::string::npos)
    return std::nullopt;
  // NOLINTNEXTLINE(cert-err34-c): three digits are no overflow
  const int numbers = std::sscanf(line.c_str() + place, "%3u%%", &percent);
  return numbers == 1 && percent <= 100 ? std::optional(percent) : std::nullopt;
}

constexpr NvmeLogNames kNvmeNames = {.operation = "current_self_test_operation",
                                     .completion = "current_self_test_completion_percent",
                                     .table = "table",
                                     .test = "self_test_code",
                                     .result = "self_test_result",
                                     .hours = "power_on_hours",
                                     .segment = "segment",
                                     .name_space = "nsid",
                                     .block = "lba",
                                     .code_type = "status_code_type",
                                     .code = "status_code"};

// USB bridges that cut the log short or leave something else in its last rows.
std::size_t rows_through(const std::string& type, ToolVersion version) {
  if (type.starts_with("sntjmicron")) return 19;
  if (type.starts_with("sntrealtek")) return 18;
  if (type.starts_with("sntasmedia") && version < ToolVersion{7, 5}) return 18;
  return 20;
}

// "Optional Admin Commands (0x0017):   Security Format Frmw_DL Self_Test"; smartctl 7.5 has it as
// JSON, too.
std::optional<bool> has_nvme_tests(JsonPart root, const std::vector<std::string>& lines) {
  if (const auto told = root["nvme_optional_admin_commands"]["self_test"].truth()) return told;
  constexpr unsigned kSelfTestBit = 0x10;
  for (const std::string& line : lines) {
    unsigned commands = 0;
    // NOLINTNEXTLINE(cert-err34-c): four digits are no overflow
    if (std::sscanf(line.c_str(), "Optional Admin Commands (0x%4x)", &commands) == 1)
      return (commands & kSelfTestBit) != 0;
    if (line == "Self-tests not supported") return false;
  }
  return std::nullopt;
}

}  // namespace

void read_ata(JsonPart root, const std::vector<std::string>& lines, Look& look) {
  const JsonPart data = root["ata_smart_data"];
  read_ata_abilities(data, look);
  read_ata_log(root["ata_smart_self_test_log"], look);
  look.is_log_lost = !look.has_log && std::any_of(lines.begin(), lines.end(), tells_of_lost_log);
  if (std::string why = why_without_smart(root["smart_support"]); !why.empty())
    look.inability = std::move(why);
  const JsonPart status = data["self_test"]["status"];
  const auto value = status.code(0xFF);
  if (!value) return;
  look.status_code = static_cast<int>(*value >> 4);
  if (look.status_code != kRunningCode) return;
  RunningTest test;
  if (!look.log.empty() && look.log.front().result_code == kRunningCode)
    test.kind = look.log.front().kind;
  if (const unsigned tenths = *value & 0xF; tenths <= 9) test.remaining_percent = tenths * 10;
  // A fault of some drives' firmware, which smartctl knows by their model.
  test.is_doubtful = std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
    return line.find("with unknown result or self-test in") != std::string::npos;
  });
  look.running = test;
}

// Before 7.3 SCSI logs are text alone; after 7.5 the percentage is in the JSON, too.
void read_scsi(JsonPart root, const std::vector<std::string>& lines, Look& look) {
  look.log = scsi_log(root);
  look.has_log = !look.log.empty();
  std::optional<unsigned> remaining;
  bool is_running = !look.log.empty() && look.log.front().result_code == kRunningCode;
  for (const std::string& line : lines) {
    if (line == "No Self-tests have been logged" || line == "SMART Self-test log")
      look.has_log = true;
    if (line == "Device does not support Self Test logging")
      look.inability = inability_without_log(look.drive);
    if (const auto percent = remaining_of(line)) remaining = percent;
  }
  if (const JsonPart status = root["scsi_self_test_status"];
      status["in_progress"].truth() == true) {
    is_running = true;
    if (const auto complete = status["completion_percent"].number(100))
      remaining = 100 - static_cast<unsigned>(*complete);
  }
  if (is_running || remaining) {
    look.running = RunningTest{std::nullopt, remaining};
    if (!look.log.empty() && look.log.front().result_code == kRunningCode)
      look.running->kind = look.log.front().kind;
  }
  if (!look.has_log) return;
  // A drive tells of what it can test by keeping a log of it. 65535 seconds stand for a longer
  // time.
  ability(look, TestKind::Short).is_able = true;
  Ability& of_long = ability(look, TestKind::Long);
  of_long.is_able = true;
  const auto seconds = root["scsi_extended_self_test_seconds"].number(std::uint64_t{60} * 0xFFFF);
  if (seconds && *seconds != 0xFFFF) of_long.minutes = minutes((*seconds + 59) / 60);
}

void read_nvme(JsonPart root, const std::vector<std::string>& lines, ToolVersion version,
               Look& look) {
  const std::size_t rows = rows_through(root["device"]["type"].text(), version);
  auto log = nvme_log(root["nvme_self_test_log"], kNvmeNames, rows);
  const auto has_tests = has_nvme_tests(root, lines);
  if (has_tests == false) look.inability = "the drive says that it has no self-test";
  if (has_tests.value_or(log.has_value()))
    for (const TestKind kind : {TestKind::Short, TestKind::Long})
      ability(look, kind).is_able = true;
  if (!log) return;
  look.has_log = true;
  look.running = log->running;
  look.log = std::move(log->entries);
}

}  // namespace drivetest
