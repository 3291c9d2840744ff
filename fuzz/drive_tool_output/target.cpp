// What smartctl and nvme print of a drive. The first line of an input says which of them printed it
// ("smartctl", "id-ctrl", "self-test-log", "reply", "scan") and with which exit status; "errors"
// alone on a line parts the output from the standard error. Whatever it is, what is read keeps to
// its ranges, all texts are UTF-8, and a drive is able or says why not.
#include <algorithm>
#include <cstdlib>
#include <string>

#include "drivetest/find_drives.h"
#include "drivetest/inability.h"
#include "drivetest/nvme_report.h"
#include "drivetest/outcome.h"
#include "drivetest/smartctl_report.h"
#include "drivetest/start_report.h"
#include "drivetest/tool_json.h"
#include "fuzz/target.h"
#include "platform/words.h"

namespace {

using namespace drivetest;

bool is_text(const std::string& text) { return valid_utf8(text) == text; }
bool is_percent(const std::optional<unsigned>& value) { return value.value_or(0) <= 100; }

void require_ranges(const LogEntry& entry) {
  fuzz::require(entry.result_code >= 0 && entry.result_code <= kRunningCode, "a result code");
  fuzz::require(entry.test_code >= 0 && entry.test_code <= 0xFF, "a code of a test");
  fuzz::require(is_percent(entry.remaining_percent), "a percentage of an entry");
  fuzz::require(entry.namespace_id.value_or(0) >= -1, "a namespace");
}

void require_ranges(const Look& look) {
  for (const std::string* text : {&look.drive.model, &look.drive.serial_number,
                                  &look.drive.firmware, &look.drive.world_wide_name, &look.reason})
    fuzz::require(is_text(*text), "a text is UTF-8");
  fuzz::require(std::all_of(look.notes.begin(), look.notes.end(), is_text), "notes are UTF-8");
  fuzz::require((look.fault == LookFault::None) == look.reason.empty(), "a fault has a reason");
  if (look.running) fuzz::require(is_percent(look.running->remaining_percent), "a percentage");
  fuzz::require(look.status_code.value_or(0) >= 0 && look.status_code.value_or(0) <= 15,
                "a status");
  fuzz::require(look.log.size() <= 64, "entries of a log");
  for (const LogEntry& entry : look.log) require_ranges(entry);
  const bool is_able = std::any_of(look.abilities.begin(), look.abilities.end(),
                                   [](const Ability& ability) { return ability.is_able; });
  if (look.fault == LookFault::None)
    fuzz::require(is_able == look.inability.empty(), "able, or a reason why not");
}

}  // namespace

void fuzz::read_input(std::string_view input) {
  std::string_view first = take_line(input);
  const std::string_view way = platform::take_word(first);
  ToolOutput output;
  output.exit_status = first.empty() ? 0 : first.front() - '0';
  constexpr std::string_view kErrors = "\nerrors\n";
  const std::size_t errors = input.find(kErrors);
  output.text = input.substr(0, errors);
  if (errors != std::string_view::npos) output.errors = input.substr(errors + kErrors.size());

  if (way == "reply") {
    const ToolReply reply = read_reply(output);
    require(is_text(reply.words), "words are UTF-8");
    require(output.exit_status != 0 || reply.answer != ToolAnswer::Accepted || !reply.words.empty(),
            "nothing is accepted without words");
    return;
  }
  if (way == "scan") {
    setenv("HVX_SYSFS_ROOT", "/nonexistent", 1);
    for (const FoundDrive& one : find_drives(output))
      require(one.drive.place.device.starts_with("/dev/"), "a drive is a device");
    return;
  }
  Look look;
  if (way == "smartctl") look = read_smartctl({"/dev/example", ""}, output).look;
  if (way == "id-ctrl") add_nvme_identity(look, output);
  if (way == "self-test-log") add_nvme_log(look, output);
  settle(look);
  require_ranges(look);
}
