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
  Answer answer;
};

// The first row decides whose words any line has. What says that the test began comes before what
// smartctl complains of besides.
constexpr std::array kAnswers = {
    AnswerRow{"Testing has begun", Answer::Accepted},
    AnswerRow{"Self Test has begun", Answer::Accepted},
    AnswerRow{"Self-test has begun", Answer::Accepted},
    AnswerRow{"Self Test Successful", Answer::Accepted},
    AnswerRow{"Self-testing aborted!", Answer::Accepted},
    AnswerRow{"Self-test aborted!", Answer::Accepted},
    AnswerRow{"Self Test returned without error", Answer::Accepted},
    AnswerRow{"Device self-test started", Answer::Accepted},
    AnswerRow{"Aborting device self-test operation", Answer::Accepted},
    AnswerRow{"Can't start self-test without aborting current test", Answer::Busy},
    AnswerRow{"Device Self-test In Progress", Answer::Busy},
    AnswerRow{"Self-tests not supported", Answer::NotSupported},
    AnswerRow{"Self-test functions not supported", Answer::NotSupported},
    AnswerRow{"Invalid Command Opcode", Answer::NotSupported},
    AnswerRow{"unsupported scsi opcode", Answer::NotSupported},
    AnswerRow{"Smartctl open device", Answer::NotAsked},
    AnswerRow{"Read NVMe Identify Controller failed", Answer::NotAsked},
    AnswerRow{"Standard Inquiry", Answer::NotAsked},
    AnswerRow{"Read Device Identity failed", Answer::NotAsked},
    AnswerRow{"device successfully opened", Answer::NothingDone},
    AnswerRow{" mode, exit(", Answer::NothingDone},
    AnswerRow{"self test failed [", Answer::Refused},
    AnswerRow{"\" failed: ", Answer::Refused},
    AnswerRow{"NVMe Self-test cmd with type", Answer::Refused},
    AnswerRow{"NVMe status: ", Answer::Refused},
    AnswerRow{"Device self-test: ", Answer::Refused}};

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
    return line.empty() || line.starts_with("smartctl ") || line.starts_with("Copyright (C)");
  });
  return lines;
}

}  // namespace

Reply read_reply(const ToolOutput& output) {
  const std::vector<std::string> lines = lines_of(output);
  for (const AnswerRow& row : kAnswers) {
    const auto line = std::find_if(lines.begin(), lines.end(), [&row](const std::string& one) {
      return one.find(row.words) != std::string::npos;
    });
    if (line == lines.end()) continue;
    const bool is_kept_out = row.answer == Answer::Refused && fault_of(*line) != kNoFaultOfAccess;
    return {is_kept_out ? Answer::NotAsked : row.answer, *line};
  }
  const std::string words = lines.empty() ? std::string() : lines.front();
  // Without --json=o smartctl leaves out most of what it says.
  if (output.exit_status == 0) return {Answer::NothingDone, ""};
  return {output.exit_status == kCommandFailed ? Answer::Refused : Answer::NotAsked, words};
}

}  // namespace drivetest
