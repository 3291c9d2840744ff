#include "drivetest/inability.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/words.h"

namespace drivetest {

namespace {

struct TypeRow {
  std::string_view type;  // before a comma or a plus sign
  std::string_view inability;
};
constexpr std::string_view kWrites =
    "smartctl reaches drives of this type only by writing to the disks of the array";
constexpr std::string_view kNoSelfTest =
    "the USB bridge lets no self-test through to the NVMe drive behind it";
constexpr std::array kTypes = {
    TypeRow{"jmb39x", kWrites},         TypeRow{"jmb39x-q", kWrites},
    TypeRow{"jmb39x-q2", kWrites},      TypeRow{"jms56x", kWrites},
    TypeRow{"sntasmedia", kNoSelfTest}, TypeRow{"sntrealtek", kNoSelfTest}};

// Words in the product names of the disks that RAID controllers make up.
constexpr std::array<std::string_view, 5> kVolumeWords = {"raid", "logical volume", "perc ",
                                                          "virtual disk", "virtual drive"};

bool is_named_as_volume(const std::string& model) {
  const std::string name = platform::lower(model);
  return std::any_of(kVolumeWords.begin(), kVolumeWords.end(),
                     [&](std::string_view word) { return name.find(word) != std::string::npos; });
}

bool is_able(const Look& look) {
  return std::any_of(look.abilities.begin(), look.abilities.end(),
                     [](const Ability& ability) { return ability.is_able; });
}

// What a look has to tell, or nobody could say whether a test has ended.
std::string what_is_missing(const Look& look) {
  const Protocol protocol = look.drive.protocol;
  if (protocol == Protocol::Ata && !look.status_code)
    return "the drive did not tell the state of its self-tests";
  const bool has_to_have_log =
      protocol == Protocol::Scsi || (protocol == Protocol::Nvme && is_able(look));
  if ((has_to_have_log && !look.has_log) || look.is_log_lost)
    return "the drive's log of self-tests could not be read";
  return {};
}

const TypeRow* row_of(const std::string& type) {
  const std::string_view name = std::string_view(type).substr(0, type.find_first_of(",+"));
  const auto row = std::find_if(kTypes.begin(), kTypes.end(),
                                [name](const TypeRow& one) { return one.type == name; });
  return row == kTypes.end() ? nullptr : row;
}

}  // namespace

bool is_writing_type(const std::string& type) {
  const TypeRow* const row = row_of(type);
  return row && row->inability == kWrites;
}

std::string inability_of_type(const std::string& type) {
  const TypeRow* const row = row_of(type);
  return row ? std::string(row->inability) : std::string();
}

std::string inability_without_log(const Drive& drive) {
  if (is_named_as_volume(drive.model))
    return "this is a volume of a RAID controller; its drives are reached with a --type, such as "
           "megaraid,0";
  return "the drive keeps no log of self-tests, so nobody would learn the result";
}

void settle(Look& look) {
  if (look.fault != LookFault::None) return;
  if (look.inability.empty()) {
    if (std::string missing = what_is_missing(look); !missing.empty()) {
      look.fault = LookFault::CannotBeReached;
      look.reason = std::move(missing);
      if (!look.notes.empty()) look.reason += ": " + look.notes.back();
      return;
    }
    if (!is_able(look)) look.inability = "the drive does not say that it can test itself";
  }
  if (!look.inability.empty()) look.abilities = {};
}

}  // namespace drivetest
