#include "drivetest/reading_text.h"

#include <array>

#include "drivetest/find_drives.h"
#include "drivetest/name_table.h"
#include "drivetest/nvme_report.h"
#include "drivetest/smartctl_report.h"
#include "drivetest/start_report.h"

namespace drivetest {

namespace {

constexpr NameTable<LookFault, 7> kFaults = {{{LookFault::None, "none"},
                                              {LookFault::Standby, "standby"},
                                              {LookFault::ToolMissing, "tool missing"},
                                              {LookFault::ToolTooOld, "tool too old"},
                                              {LookFault::NotPermitted, "not permitted"},
                                              {LookFault::NoSuchDrive, "no such drive"},
                                              {LookFault::CannotBeReached, "cannot be reached"}}};
constexpr NameTable<ToolAnswer, 6> kAnswers = {{{ToolAnswer::Accepted, "accepted"},
                                                {ToolAnswer::Busy, "busy"},
                                                {ToolAnswer::NotSupported, "not supported"},
                                                {ToolAnswer::Refused, "refused"},
                                                {ToolAnswer::NothingDone, "nothing done"},
                                                {ToolAnswer::NotAsked, "not asked"}}};

void add(std::string& text, const std::string& name, const std::string& value) {
  if (!value.empty()) text += name + " " + value + "\n";
}

template <class Number>
std::string number(const std::optional<Number>& value, const std::string& unit) {
  return value ? " " + std::to_string(*value) + unit : std::string();
}

std::string kind(const std::optional<TestKind>& kind) {
  return kind ? std::string(name_of(*kind)) : "other";
}

std::string text_of(const LogEntry& entry) {
  std::string text = "  " + std::to_string(entry.test_code) + " " + kind(entry.kind) + " result " +
                     std::to_string(entry.result_code) + number(entry.remaining_percent, " %") +
                     number(entry.hours, " h");
  if (entry.first_bad_block) text += " block" + number(entry.first_bad_block, "");
  if (entry.segment) text += " segment" + number(entry.segment, "");
  if (entry.namespace_id) text += " namespace" + number(entry.namespace_id, "");
  if (!entry.error_codes.empty()) text += " codes";
  for (const unsigned code : entry.error_codes) text += " " + std::to_string(code);
  return text + "\n";
}

std::string text_of(const std::vector<FoundDrive>& drives) {
  std::string text;
  for (const FoundDrive& one : drives) add(text, one.drive.place.device, one.drive.place.type);
  return text;
}

}  // namespace

std::string text_of(const Look& look) {
  std::string text;
  const Drive& drive = look.drive;
  if (drive.protocol != Protocol::Unknown)
    add(text, "protocol", std::string(name_of(drive.protocol)));
  add(text, "model", drive.model);
  add(text, "serial", drive.serial_number);
  add(text, "firmware", drive.firmware);
  add(text, "name", drive.world_wide_name);
  if (drive.size) add(text, "size", std::to_string(*drive.size));
  if (drive.is_rotational) add(text, "rotates", *drive.is_rotational ? "yes" : "no");
  if (look.fault != LookFault::None)
    add(text, "fault", std::string(name_in(kFaults, look.fault)) + ": " + look.reason);
  for (const TestKind kind : kTestKinds) {
    const Ability& ability = look.abilities[static_cast<std::size_t>(kind)];
    if (ability.is_able)
      add(text, "can " + std::string(name_of(kind)), "yes" + number(ability.minutes, " min"));
  }
  add(text, "inability", look.inability);
  if (look.running)
    add(text, "running",
        kind(look.running->kind) + number(look.running->remaining_percent, " %") +
            (look.running->is_doubtful ? " doubtful" : ""));
  if (look.status_code) add(text, "status", std::to_string(*look.status_code));
  if (look.power_on_hours) add(text, "hours", std::to_string(*look.power_on_hours));
  if (look.power_cycles) add(text, "power cycles", std::to_string(*look.power_cycles));
  if (look.has_log) add(text, "log", std::to_string(look.log.size()));
  for (const LogEntry& entry : look.log) text += text_of(entry);
  for (const std::string& note : look.notes) add(text, "note", note);
  return text;
}

std::string text_of(const ToolReply& reply) {
  const std::string answer(name_in(kAnswers, reply.answer));
  return answer + (reply.words.empty() ? "" : ": " + reply.words) + "\n";
}

std::string reading_of(const std::string& way, const ToolOutput& output) {
  if (way == "smartctl") return text_of(read_smartctl({"/dev/example", ""}, output).look);
  if (way == "scan") return text_of(find_drives(output));
  Look look;
  if (way == "id-ctrl") add_nvme_identity(look, output);
  if (way == "self-test-log") add_nvme_log(look, output);
  return way == "reply" ? text_of(read_reply(output)) : text_of(look);
}

}  // namespace drivetest
