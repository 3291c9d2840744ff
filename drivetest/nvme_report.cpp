#include "drivetest/nvme_report.h"

#include <string_view>

#include "drivetest/log_rows.h"
#include "drivetest/tool_json.h"
#include "drivetest/tool_text.h"

namespace drivetest {

namespace {

constexpr std::uint64_t kSelfTestBit = 0x10;
constexpr std::size_t kRows = 20;

constexpr NvmeLogNames kNames = {.operation = "Current Device Self-Test Operation",
                                 .completion = "Current Device Self-Test Completion",
                                 .table = "List of Valid Reports",
                                 .test = "Self test code",
                                 .result = "Self test result",
                                 .hours = "Power on hours",
                                 .segment = "Segment number",
                                 .name_space = "Namespace Identifier",
                                 .block = "Failing LBA",
                                 .code_type = "Status Code Type",
                                 .code = "Status Code"};

// Whether there is something to read. What kept the tool from it is a fault of the look, or a note
// where smartctl has told something.
bool is_answered(Look& look, const ToolOutput& output, const JsonDocument& document) {
  if (output.exit_status == 0 && document.is_readable()) return true;
  // nvme 2.13 tells the error in its JSON, and may print its usage beside it.
  std::string line = first_line(document.root()["error"].text());
  if (line.empty()) line = first_line(output.errors);
  if (line.empty()) line = first_line(output.text);
  if (line.empty()) line = "nvme ended with status " + std::to_string(output.exit_status);
  const LookFault fault = fault_of(line);
  if (look.fault == LookFault::None && fault != LookFault::CannotBeReached) {
    look.fault = fault;
    look.reason = line;
  } else {
    look.notes.push_back(line);
  }
  return false;
}

void fill(std::string& text, JsonPart part) {
  if (text.empty()) text = part.text();
}

}  // namespace

ToolVersion nvme_version(const ToolOutput& output) {
  return version_after(output, "nvme version ");
}

void add_nvme_identity(Look& look, const ToolOutput& output) {
  const JsonDocument document(output.text);
  if (!is_answered(look, output, document)) return;
  const JsonPart root = document.root();
  look.drive.protocol = Protocol::Nvme;
  fill(look.drive.model, root["mn"]);
  fill(look.drive.serial_number, root["sn"]);
  fill(look.drive.firmware, root["fr"]);
  const auto commands = root["oacs"].number(0xFFFF);
  if (!commands) return;
  if ((*commands & kSelfTestBit) == 0) {
    look.inability = "the drive says that it has no self-test";
    return;
  }
  for (const TestKind kind : {TestKind::Short, TestKind::Long})
    look.abilities[static_cast<std::size_t>(kind)].is_able = true;
  const auto minutes = root["edstt"].number(0xFFFF);
  if (minutes && *minutes != 0)
    look.abilities[static_cast<std::size_t>(TestKind::Long)].minutes =
        static_cast<unsigned>(*minutes);
}

void add_nvme_log(Look& look, const ToolOutput& output) {
  const JsonDocument document(output.text);
  if (!is_answered(look, output, document)) return;
  auto log = nvme_log(document.root(), kNames, kRows);
  if (!log) return;
  look.has_log = true;
  look.running = log->running;
  look.log = std::move(log->entries);
}

}  // namespace drivetest
