// The drives of the machine, and which of them can be tested.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "broker/object_manager.h"
#include "cli/decisions.h"
#include "cli/drive_look.h"

namespace cli {

inline constexpr std::string_view kCauseLeftOut = "left-out";
inline constexpr std::string_view kCauseNoHwinfo = "no-hwinfo";

struct ListedDrive {
  std::string device;           // such as /dev/sda; the key that the module knows it by
  std::string reason;           // why discovery leaves it out, in words; empty: it can be tested
  std::optional<bool> smart{};  // whether a test would find SMART switched on; nothing: unknown
  std::string model{};          // whole where it was looked at
  std::string serial{};
  std::optional<std::uint64_t> bytes{};
  std::string connection{};         // such as "SATA" or "SAS/RAID (megaraid_sas)"
  std::string left_out{};           // the reason in the words of a list
  std::optional<DriveLook> look{};  // where it was asked for

  bool testable() const { return reason.empty(); }
  // Why it is left out as one word for programs; empty when it can be tested.
  std::string_view left_out_cause() const;
  // Whether a test could begin now.
  bool ready() const { return testable() && look && look->readiness == Readiness::Ready; }
  // What can be done with it, in a few words: "ready", "SMART is off", "behind a RAID controller".
  std::string words() const;
};

// Whether a test would find SMART switched on; nothing where smartctl did not tell.
std::optional<bool> smart_of(const DriveLook& look);

// Why a drive is left out, in words, by discovery's reason (nothing: it did not decide on the
// drive) and whether hwinfo can be found.
std::string reason_words(const std::optional<std::string>& reason, bool has_hwinfo);

// The same in the words of a list, by all that discovery told and by the drive's connection.
std::string left_out_words(const std::string& reason, const Decisions& decisions,
                           const std::string& device, const std::string& connection);

// Is told in words what the command is waiting for; called on any thread.
using Doing = std::function<void(const std::string&)>;

// The drives in the order of the inventory, with discovery's decision on each. Listens to the core
// log meanwhile; runs hwinfo, which takes seconds. look: also looks at each drive with smartctl,
// several at once. Throws broker::Error.
std::vector<ListedDrive> list_drives(broker::ObjectManager& manager, bool look,
                                     const Doing& doing = {});

}  // namespace cli
