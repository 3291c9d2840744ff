// The drives of the machine, and which of them can be tested.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "broker/object_manager.h"

namespace cli {

struct Drive {
  std::string device;           // such as /dev/sda; the key that the module knows it by
  std::string reason;           // why discovery leaves it out, in words; empty: it can be tested
  std::optional<bool> smart{};  // whether a test would find SMART switched on; nothing: unknown
  std::string model{};
  std::string serial{};
  std::optional<std::uint64_t> bytes{};
  std::string connection{};  // such as "SATA" or "SAS/RAID (megaraid_sas)"

  bool testable() const { return reason.empty(); }
};

// Whether what "smartctl -i" printed, ending with that status (-1: it did not exit), says that
// SMART is switched on; nothing when it did not come to know the drive.
std::optional<bool> smart_of(int status, std::string_view information);

// Why a drive is left out, in words, by discovery's reason (nothing: it did not decide on the
// drive) and whether hwinfo can be found.
std::string reason_words(const std::optional<std::string>& reason, bool has_hwinfo);

// The drives in the order of the inventory, with discovery's decision on each. Listens to the core
// log meanwhile; runs hwinfo, which takes seconds. smart: also runs "smartctl -i" on each drive,
// several at once. Throws broker::Error.
std::vector<Drive> list_drives(broker::ObjectManager& manager, bool smart);

}  // namespace cli
