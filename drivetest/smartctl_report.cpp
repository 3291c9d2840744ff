#include "drivetest/smartctl_report.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <initializer_list>
#include <string_view>

#include "drivetest/inability.h"
#include "drivetest/smartctl_fault.h"
#include "drivetest/smartctl_state.h"
#include "drivetest/tool_json.h"
#include "drivetest/tool_text.h"
#include "platform/words.h"

namespace drivetest {

namespace {

// More power-on hours than this, over a thousand years, are another attribute's.
constexpr std::uint64_t kMostHours = 10'000'000;
constexpr std::uint64_t kMostCycles = 0xFFFFFFFF;
constexpr std::size_t kMostNotes = 16;

std::string hexadecimal(const char* prefix, std::uint64_t front, int front_digits,
                        std::uint64_t back, int back_digits) {
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), "%s%0*llx%0*llx", prefix, front_digits,
                static_cast<unsigned long long>(front), back_digits,
                static_cast<unsigned long long>(back));
  return text.data();
}

std::string ata_world_wide_name(JsonPart wwn) {
  const auto authority = wwn["naa"].number(0xF);
  const auto maker = wwn["oui"].number(0xFFFFFF);
  const auto number = wwn["id"].number(0xFFFFFFFFF);
  if (!authority || !maker || !number || (*authority | *maker | *number) == 0) return {};
  return hexadecimal("wwn-0x", *authority << 24 | *maker, 7, *number, 9);
}

// "0x" and 64 or 128 bits. Some drives have a text in that place.
std::string scsi_world_wide_name(const std::string& unit) {
  if (!unit.starts_with("0x")) return {};
  const std::string_view number = std::string_view(unit).substr(2);
  const bool is_name =
      (platform::is_hexadecimal(number, 16) || platform::is_hexadecimal(number, 32)) &&
      number.find_first_not_of('0') != number.npos;
  return is_name ? "wwn-" + unit : std::string();
}

bool has_one_namespace(JsonPart root) { return root["nvme_number_of_namespaces"].number() == 1; }

// Each namespace has a name of its own: the drive's is that of the only one.
std::string nvme_world_wide_name(JsonPart root) {
  if (!has_one_namespace(root)) return {};
  const JsonPart name = root["nvme_namespaces"].at(0)["eui64"];
  const auto maker = name["oui"].number(0xFFFFFF);
  const auto number = name["ext_id"].number(0xFFFFFFFFFF);
  if (!maker || !number || (*maker | *number) == 0) return {};
  return hexadecimal("eui-", *maker, 6, *number, 10);
}

// The first member that is a text.
std::string first_text(JsonPart root, std::initializer_list<const char*> names) {
  for (const char* const name : names)
    if (std::string text = root[name].text(); !text.empty()) return text;
  return {};
}

void read_identity(JsonPart root, Drive& drive) {
  drive.protocol = protocol_named(root["device"]["protocol"].text()).value_or(Protocol::Unknown);
  drive.model = first_text(root, {"model_name", "scsi_model_name"});
  drive.serial_number = root["serial_number"].text();
  drive.firmware = first_text(root, {"firmware_version", "scsi_revision", "revision"});
  drive.world_wide_name = ata_world_wide_name(root["wwn"]);
  if (drive.protocol == Protocol::Scsi)
    drive.world_wide_name = scsi_world_wide_name(root["logical_unit_id"].text());
  if (drive.protocol == Protocol::Nvme) {
    drive.world_wide_name = nvme_world_wide_name(root);
    // The user's capacity is that of a namespace.
    drive.size = root["nvme_total_capacity"].number();
  }
  if (drive.size.value_or(0) == 0) drive.size = root["user_capacity"]["bytes"].number();
  if (const auto rate = root["rotation_rate"].number(0xFFFF)) drive.is_rotational = *rate != 0;
}

std::vector<std::string> lines_of(JsonPart output) {
  std::vector<std::string> lines;
  for (std::size_t place = 0; place < output.size(); ++place)
    lines.push_back(output.at(place).text());
  return lines;
}

// Most failures are told by the text alone. They matter where something is missing.
void note_failures(const std::vector<std::string>& lines, Look& look) {
  const bool is_complete =
      look.drive.protocol == Protocol::Ata ? look.status_code && !look.is_log_lost : look.has_log;
  for (const std::string& line : lines) {
    const bool is_failure = line.find(" failed") != std::string::npos ||
                            line.starts_with("Self-test Log Sense length is");
    const bool is_known = line == look.reason ||
                          std::find(look.notes.begin(), look.notes.end(), line) != look.notes.end();
    if (is_failure && !is_complete && !is_known && look.notes.size() < kMostNotes)
      look.notes.push_back(line);
  }
}

}  // namespace

ToolVersion smartctl_version(const ToolOutput& output) {
  return version_after(output, "smartctl ");
}

SmartctlReport read_smartctl(const Place& place, const ToolOutput& output) {
  const JsonDocument document(output.text);
  const JsonPart root = document.root();
  const std::vector<std::string> lines = lines_of(root["smartctl"]["output"]);

  SmartctlReport report;
  Look& look = report.look;
  look.drive.place = place;
  const JsonPart version = root["smartctl"]["version"];
  report.version = {static_cast<unsigned>(version.at(0).number(1000).value_or(0)),
                    static_cast<unsigned>(version.at(1).number(1000).value_or(0))};
  read_identity(root, look.drive);
  report.has_one_namespace = has_one_namespace(root);
  look.power_on_hours = root["power_on_time"]["hours"].number(kMostHours);
  look.power_cycles = root["power_cycle_count"].number(kMostCycles);
  if (look.drive.protocol == Protocol::Ata) read_ata(root, lines, look);
  if (look.drive.protocol == Protocol::Scsi) read_scsi(root, lines, look);
  if (look.drive.protocol == Protocol::Nvme) read_nvme(root, lines, report.version, look);
  for (const std::string& why :
       {inability_of_type(place.type), inability_of_type(root["device"]["type"].text())})
    if (!why.empty()) look.inability = why;

  std::vector<ToolMessage> messages = messages_of(root);
  find_fault(output, document, report.version, messages, lines, look);
  for (const ToolMessage& message : messages)
    if (look.notes.size() < kMostNotes) look.notes.push_back(message.text);
  note_failures(lines, look);
  return report;
}

}  // namespace drivetest
