#include "cli/drive_look.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>

#include "cli/log_entry.h"
#include "cli/log_texts.h"
#include "cli/terminal_text.h"
#include "platform/support/osspecific.h"
#include "platform/support/program.h"
#include "platform/words.h"

namespace cli {
namespace {

using platform::trim;

constexpr int kAnswerSeconds = 30;
constexpr std::size_t kLongestText = 200;

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

std::string short_text(std::string_view text) { return elide(trim(text), kLongestText); }

// Calls take with each line until it returns true.
template <class Take>
void each_line(std::string_view text, Take take) {
  while (!text.empty()) {
    if (take(platform::take_to(text, '\n'))) return;
  }
}

// What follows the label at the beginning of a line; empty when no line begins so.
std::string field(std::string_view text, std::string_view label) {
  std::string value;
  each_line(text, [&](std::string_view line) {
    if (line.starts_with(label)) value = short_text(line.substr(label.size()));
    return !value.empty();
  });
  return value;
}

// The percentage that stands right before a text.
std::optional<int> percentage_before(std::string_view line, std::string_view text) {
  const std::size_t end = line.find(text);
  if (end == std::string_view::npos) return std::nullopt;
  std::size_t begin = end;
  while (begin > 0 && line[begin - 1] >= '0' && line[begin - 1] <= '9') --begin;
  int percentage = -1;
  std::from_chars(line.data() + begin, line.data() + end, percentage);
  if (percentage < 0 || percentage > 100) return std::nullopt;
  return percentage;
}

// The whole status byte of an ATA drive's last test: "Self-test execution status:      ( 249)".
std::optional<int> execution_status(std::string_view capabilities) {
  std::optional<int> status;
  each_line(capabilities, [&](std::string_view line) {
    if (!line.starts_with("Self-test execution status:")) return false;
    line.remove_prefix(std::min(line.find('('), line.size()));
    line = platform::trim_begin(line, "( ");
    int value = -1;
    std::from_chars(line.data(), line.data() + line.size(), value);
    if (value >= 0 && value <= 255) status = value;
    return status.has_value();
  });
  return status;
}

void read_running(const SmartctlAnswer& log, const SmartctlAnswer& capabilities, DriveLook& look) {
  constexpr int kInProgress = 15;
  if (const std::optional<int> status = execution_status(capabilities.output)) {
    if (*status >> 4 != kInProgress) return;
    look.readiness = Readiness::Running;
    look.remaining = (*status & 15) * 10;
    return;
  }
  // A SCSI drive tells the share in a line of its own.
  look.remaining = told_remaining(log.output);
  const std::vector<PrintedEntry> entries = read_entries(log.output);
  const bool in_log = !entries.empty() && entries.front().kind == EntryKind::Running;
  if (in_log && !look.remaining) look.remaining = entries.front().remaining;
  if (in_log || look.remaining) look.readiness = Readiness::Running;
}

bool knows_self_tests(std::string_view capabilities) {
  bool knows = true;
  each_line(capabilities, [&](std::string_view line) {
    knows = trim(line) != "No Self-test supported.";
    return !knows;
  });
  return knows;
}

// Why a step of smartctl failed.
void read_failure(const SmartctlAnswer& answer, DriveLook& look) {
  look.words = short_text(complaint_of(answer.output));
  const auto says = [&](std::string_view text) { return contains(look.words, text); };
  if (answer.status < 0)
    look.readiness = Readiness::NoAnswer;
  else if (says("Permission denied") || says("Operation not permitted"))
    look.readiness = Readiness::NoPermission;
  else if (says("No such device") || says("No such file or directory"))
    look.readiness = Readiness::NoDevice;
  else if (says("Unable to detect device type"))  // a name such as /dev/vda tells smartctl nothing
    look.readiness = Readiness::NoSmart;
  else
    look.readiness = Readiness::Refused;
  if (look.words.empty() && look.readiness == Readiness::Refused)
    look.words = fmt::format("smartctl ended with status {}", answer.status);
}

SmartctlAnswer ask(std::vector<std::string> arguments, const std::string& device) {
  SmartctlAnswer answer;
  arguments.push_back(device);
  answer.status = NKVRHVX20::TOSSpecific::SpawnProcess("smartctl", std::move(arguments),
                                                       answer.output, kAnswerSeconds);
  return answer;
}

}  // namespace

// Higher bits tell of the drive's past.
bool step_failed(int status) { return (status & 15) != 0; }

std::string_view complaint_of(std::string_view output) {
  std::string_view found;
  each_line(output, [&](std::string_view line) {
    for (const std::string_view complaint : kSmartComplaints)
      if (contains(line, complaint)) found = line;
    return !found.empty();
  });
  return found;
}

std::optional<int> told_remaining(std::string_view output) {
  std::optional<int> remaining;
  each_line(output, [&](std::string_view line) {
    remaining = percentage_before(line, "% of test remaining");
    if (!remaining) remaining = percentage_before(line, "% remaining)");
    return remaining.has_value();
  });
  return remaining;
}

DriveLook read_information(const SmartctlAnswer& information) {
  const std::string& text = information.output;
  DriveLook look;
  look.model = field(text, "Device Model:");
  if (look.model.empty()) look.model = field(text, "Model Number:");
  if (look.model.empty())
    look.model = short_text(field(text, "Vendor:") + " " + field(text, "Product:"));
  look.serial = field(text, "Serial Number:");
  if (look.serial.empty()) look.serial = field(text, "Serial number:");
  look.nvme =
      !field(text, "NVMe Version:").empty() || !field(text, "Number of Namespaces:").empty();
  const auto says = [&](std::string_view part) { return contains(text, part); };
  if (step_failed(information.status)) {
    read_failure(information, look);
  } else if (std::any_of(std::begin(kSmartEnabledTexts), std::end(kSmartEnabledTexts), says)) {
    look.readiness = Readiness::Ready;
  } else {
    look.readiness =
        says("Device supports SMART and is Disabled") ? Readiness::SmartOff : Readiness::NoSmart;
    each_line(text, [&](std::string_view line) {
      constexpr std::string_view kLabel = "SMART support is:";
      if (!line.starts_with(kLabel)) return false;
      const std::string_view value = trim(line.substr(kLabel.size()));
      if (value.starts_with("Disabled")) look.readiness = Readiness::SmartOff;
      if (value.starts_with("Enabled")) look.readiness = Readiness::NotUnderstood;
      return false;
    });
  }
  return look;
}

DriveLook read_look(const SmartctlAnswer& information, const SmartctlAnswer& log,
                    const SmartctlAnswer& capabilities) {
  DriveLook look = read_information(information);
  if (look.readiness != Readiness::Ready) return look;
  if (contains(log.output, "SMART Self-test Log not supported") ||
      contains(log.output, "Device does not support Self Test logging") ||
      !knows_self_tests(capabilities.output))
    look.readiness = Readiness::NoSelfTest;
  else if (step_failed(log.status))
    read_failure(log, look);
  else
    read_running(log, capabilities, look);
  return look;
}

DriveLook read_refusal(const SmartctlAnswer& start) {
  DriveLook look;
  read_failure(start, look);
  look.remaining = told_remaining(start.output);
  if (contains(start.output, "Can't start self-test without aborting current test"))
    look.readiness = Readiness::Running;
  else if (contains(start.output, "Self-test functions not supported") ||
           contains(start.output, "[unsupported scsi opcode]"))
    look.readiness = Readiness::NoSelfTest;
  return look;
}

DriveLook look_at(const std::string& device) {
  // smartctl would take it for an option.
  if (device.empty() || device.starts_with('-'))
    return {.readiness = Readiness::NoDevice, .words = "not the name of a device"};
  if (NKVRHVX20::find_program("smartctl").empty()) return {.readiness = Readiness::NoSmartctl};
  const SmartctlAnswer information = ask({"-i"}, device);
  if (read_information(information).readiness != Readiness::Ready)
    return read_information(information);
  const SmartctlAnswer log = ask({"-l", "selftest"}, device);
  return read_look(information, log,
                   step_failed(log.status) ? SmartctlAnswer{} : ask({"-c"}, device));
}

std::string permission_advice(bool root) {
  return std::string(root ? "this container or service may not use it: give it"
                          : "run hddtest as root, or give it") +
         " CAP_SYS_RAWIO and the right to open the drive";
}

std::string readiness_words(const DriveLook& look) {
  switch (look.readiness) {
    case Readiness::Ready:
      return "ready";
    case Readiness::Running:
      return look.remaining ? fmt::format("test running, {}% remaining", *look.remaining)
                            : "test running";
    case Readiness::SmartOff:
      return "SMART is off";
    case Readiness::NoSmart:
      return "no SMART";
    case Readiness::NotUnderstood:
      return "SMART not understood";
    case Readiness::NoSelfTest:
      return "no self-test";
    case Readiness::NoPermission:
      return "no permission";
    case Readiness::NoDevice:
      return "no such device";
    case Readiness::NoSmartctl:
      return "smartctl missing";
    case Readiness::NoAnswer:
      return "no answer";
    case Readiness::Refused:
      return "smartctl failed";
  }
  return "unknown";
}

std::string_view readiness_cause(Readiness readiness) {
  constexpr std::string_view kWords[] = {"",
                                         "running",
                                         "smart-off",
                                         "no-smart",
                                         "not-understood",
                                         "no-self-test",
                                         "no-permission",
                                         "no-device",
                                         "no-smartctl",
                                         "no-answer",
                                         "refused"};
  return kWords[static_cast<std::size_t>(readiness)];
}

std::string name_in_command(const std::string& device) {
  constexpr std::string_view kPlain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/_.:+,@-";
  const bool usable = !device.empty() && device.size() <= kLongestText && device.front() != '-' &&
                      device.find_first_not_of(kPlain) == std::string::npos;
  return usable ? device : "DEVICE";
}

std::string busy_advice(const std::string& name) {
  return fmt::format(
      "wait for its end, which 'hddtest watch {}' shows, or end it with 'hddtest stop {}'", name,
      name);
}

std::string readiness_reason(const DriveLook& look, const std::string& device) {
  const std::string name = name_in_command(device);
  switch (look.readiness) {
    case Readiness::Ready:
      return {};
    case Readiness::Running:
      return fmt::format("a test runs in it already{}; {}",
                         look.remaining ? fmt::format(", {}% remaining", *look.remaining) : "",
                         busy_advice(name));
    case Readiness::SmartOff:
      return fmt::format("SMART is off; 'smartctl -s on {}' switches it on", name);
    case Readiness::NoSmart:
      if (look.nvme)
        return fmt::format(
            "smartctl shows no SMART of NVMe drives; "
            "'hddtest start {}' tests it",
            name);
      return "it has no SMART that smartctl can reach by this name; "
             "test it with the tool of its maker or its adapter";
    case Readiness::NotUnderstood:
      return fmt::format(
          "SMART is on, but smartctl says so in words that the test does not know; "
          "'hddtest start {}' tests it",
          name);
    case Readiness::NoSelfTest:
      return "it knows no self-tests or keeps no log of them; test it with its maker's tool";
    case Readiness::NoPermission:
      return look.words + "; " + permission_advice(geteuid() == 0);
    case Readiness::NoDevice:
      return look.words + "; list the drives with 'hddtest drives', and check cable and power";
    case Readiness::NoSmartctl:
      return "smartctl is not installed; install the package smartmontools";
    case Readiness::NoAnswer:
      return fmt::format(
          "smartctl hung, was ended or could not be started; see what "
          "'hddtest check' and 'smartctl -i {}' say",
          name);
    case Readiness::Refused:
      return fmt::format("smartctl: {}; see what 'smartctl -i {}' says", look.words, name);
  }
  return {};
}

}  // namespace cli
