#include "drivetest/smartctl_fault.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "drivetest/smartctl_report.h"
#include "drivetest/tool_text.h"

namespace drivetest {

namespace {

constexpr int kWrongCommandLine = 1;
constexpr int kNotOpened = 2;

constexpr std::string_view kMode = "Device is in ";

// "Device is in STANDBY mode, exit(3)"
bool tells_of_a_mode(const ToolMessage& message) {
  return message.is_information && message.text.starts_with(kMode) &&
         message.text.find(" mode, exit(") != std::string::npos;
}

// Smartctl says SLEEP also where the drive did not answer the question, as a dead drive or one
// behind a bridge that passes the question to none. A drive that rests says STANDBY or IDLE, some
// with a letter behind it.
bool tells_of_rest(const ToolMessage& message) {
  const std::string_view mode = std::string_view(message.text).substr(kMode.size());
  return mode.starts_with("STANDBY") || mode.starts_with("IDLE");
}

void set_fault(Look& look, LookFault fault, std::string reason) {
  look.fault = fault;
  look.reason = std::move(reason);
}

std::string text_of(ToolVersion version) {
  return std::to_string(version.major) + "." + std::to_string(version.minor);
}

}  // namespace

std::vector<ToolMessage> messages_of(JsonPart root) {
  std::vector<ToolMessage> messages;
  const JsonPart list = root["smartctl"]["messages"];
  for (std::size_t place = 0; place < list.size(); ++place) {
    std::string text = list.at(place)["string"].text();
    if (text.empty() || text.starts_with("=======> VALID")) continue;
    messages.push_back({std::move(text), list.at(place)["severity"].text() == "information"});
  }
  return messages;
}

void find_fault(const ToolOutput& output, const JsonDocument& document, ToolVersion version,
                std::vector<ToolMessage>& messages, const std::vector<std::string>& lines,
                Look& look) {
  if (!document.is_readable()) {
    const std::string line = first_line(output.text);
    set_fault(look, LookFault::CannotBeReached,
              line.empty() ? "smartctl printed nothing" : "smartctl printed no JSON: " + line);
    return;
  }
  if (version.major == 0) {
    set_fault(look, LookFault::CannotBeReached, "smartctl does not say its version");
    return;
  }
  if (version < kOldestSmartctl) {
    set_fault(look, LookFault::ToolTooOld,
              "smartctl " + text_of(version) + " is too old: " + text_of(kOldestSmartctl) +
                  " is needed (package smartmontools)");
    return;
  }
  const auto mode = std::find_if(messages.begin(), messages.end(), tells_of_a_mode);
  if (mode != messages.end()) {
    if (tells_of_rest(*mode))
      set_fault(look, LookFault::Standby, mode->text);
    else
      set_fault(look, LookFault::CannotBeReached,
                "it does not say whether it rests: it sleeps, or does not answer");
    messages.erase(mode);
    return;
  }
  if (output.exit_status >= 0 && (output.exit_status & (kWrongCommandLine | kNotOpened)) == 0)
    return;
  // A status that smartctl's JSON gives as a negative number has all bits set: a refused start of a
  // test, after the drive was opened.
  if (output.exit_status == 255) return;
  const auto error = std::find_if(messages.begin(), messages.end(),
                                  [](const ToolMessage& one) { return !one.is_information; });
  if (error != messages.end()) {
    const bool is_unknown_bridge = error->text.find("Unknown USB bridge") != std::string::npos;
    set_fault(look, fault_of(error->text),
              error->text + (is_unknown_bridge ? "; a --type may reach it, such as sat" : ""));
    messages.erase(error);
    return;
  }
  auto line = std::find_if(lines.begin(), lines.end(), [](const std::string& one) {
    return one.find("failed") != std::string::npos;
  });
  // This one only says that smartctl gave up. Why stands in the line before, where there is one.
  if (line != lines.begin() && line != lines.end() &&
      line->starts_with("A mandatory SMART command failed") && !std::prev(line)->empty())
    --line;
  set_fault(look, LookFault::CannotBeReached,
            line != lines.end()
                ? *line
                : "smartctl ended with status " + std::to_string(output.exit_status));
}

}  // namespace drivetest
