#include "drivetest/start_report.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "drivetest/smartctl_fault.h"
#include "drivetest/tool_json.h"
#include "drivetest/tool_text.h"
#include "platform/words.h"

namespace drivetest {

namespace {

// What fault_of says of a refusal by the drive itself.
constexpr LookFault kNoFaultOfAccess = LookFault::CannotBeReached;
// smartctl: a command to the drive failed.
constexpr int kCommandFailed = 4;

struct AnswerRow {
  std::string_view words;
  ToolAnswer answer;
};

// The first row decides whose words any line has. What says that the test began comes before what
// smartctl complains of besides.
constexpr std::array kAnswers = {
    AnswerRow{"Testing has begun", ToolAnswer::Accepted},
    AnswerRow{"Self Test has begun", ToolAnswer::Accepted},
    AnswerRow{"Self-test has begun", ToolAnswer::Accepted},
    AnswerRow{"Self Test Successful", ToolAnswer::Accepted},
    AnswerRow{"Self-testing aborted!", ToolAnswer::Accepted},
    AnswerRow{"Self-test aborted!", ToolAnswer::Accepted},
    AnswerRow{"Self Test returned without error", ToolAnswer::Accepted},
    AnswerRow{"Device self-test started", ToolAnswer::Accepted},
    AnswerRow{"Aborting device self-test operation", ToolAnswer::Accepted},
    AnswerRow{"Can't start self-test without aborting current test", ToolAnswer::Busy},
    AnswerRow{"Device Self-test In Progress", ToolAnswer::Busy},
    AnswerRow{"Self-tests not supported", ToolAnswer::NotSupported},
    AnswerRow{"Self-test functions not supported", ToolAnswer::NotSupported},
    AnswerRow{"Invalid Command Opcode", ToolAnswer::NotSupported},
    AnswerRow{"unsupported scsi opcode", ToolAnswer::NotSupported},
    AnswerRow{"Smartctl open device", ToolAnswer::NotAsked},
    AnswerRow{"Read NVMe Identify Controller failed", ToolAnswer::NotAsked},
    AnswerRow{"Standard Inquiry", ToolAnswer::NotAsked},
    AnswerRow{"Read Device Identity failed", ToolAnswer::NotAsked},
    AnswerRow{"device successfully opened", ToolAnswer::NothingDone},
    AnswerRow{" mode, exit(", ToolAnswer::NothingDone},
    AnswerRow{"self test failed [", ToolAnswer::Refused},
    AnswerRow{"\" failed: ", ToolAnswer::Refused},
    AnswerRow{"NVMe Self-test cmd with type", ToolAnswer::Refused},
    AnswerRow{"NVMe status: ", ToolAnswer::Refused},
    AnswerRow{"Device self-test: ", ToolAnswer::Refused}};

void add_lines(std::vector<std::string>& lines, std::string_view text) {
  constexpr std::size_t kMost = 200;
  while (!text.empty() && lines.size() < kMost)
    lines.push_back(first_line(platform::take_to(text, '\n')));
}

// Those of smartctl stand in its JSON; nvme prints plain text, its refusals as errors.
std::vector<std::string> lines_of(const ToolOutput& output) {
  std::vector<std::string> lines;
  const JsonDocument document(output.text);
  if (document.is_readable()) {
    for (const ToolMessage& message : messages_of(document.root()))
      lines.push_back(first_line(message.text));
    const JsonPart printed = document.root()["smartctl"]["output"];
    for (std::size_t place = 0; place < printed.size(); ++place)
      lines.push_back(first_line(printed.at(place).text()));
  } else {
    add_lines(lines, output.text);
  }
  add_lines(lines, output.errors);
  std::erase_if(lines, [](const std::string& line) {
    // "smartctl 7.3 2022-02-28 r5338 [x86_64-linux-6.1.0] (local build)"
    const bool is_title = line.starts_with("smartctl ") && line.find(" [") != line.npos;
    return line.empty() || is_title || line.starts_with("Copyright (C)");
  });
  return lines;
}

}  // namespace

ToolReply read_reply(const ToolOutput& output) {
  const std::vector<std::string> lines = lines_of(output);
  for (const AnswerRow& row : kAnswers) {
    const auto line = std::find_if(lines.begin(), lines.end(), [&row](const std::string& one) {
      return one.find(row.words) != std::string::npos;
    });
    if (line == lines.end()) continue;
    const bool is_kept_out =
        row.answer == ToolAnswer::Refused && fault_of(*line) != kNoFaultOfAccess;
    return {is_kept_out ? ToolAnswer::NotAsked : row.answer, *line};
  }
  const std::string words = lines.empty() ? std::string() : lines.front();
  // Without --json=o smartctl leaves out most of what it says.
  if (output.exit_status == 0) return {ToolAnswer::NothingDone, ""};
  return {output.exit_status == kCommandFailed ? ToolAnswer::Refused : ToolAnswer::NotAsked, words};
}

}  // namespace drivetest
