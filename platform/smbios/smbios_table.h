// The reading of an SMBIOS table as pure functions over bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/smbios/smbios.h"

namespace smbios {

using Bytes = std::span<const std::uint8_t>;

// What an entry point says of the table.
struct Extent {
  std::size_t bytes;
  bool exact;              // that many bytes (2.1), or at most (3.x)
  std::size_t structures;  // 0: not known (always so in 3.x)
};

// Empty when the bytes are no valid entry point.
std::optional<Extent> read_entry_point(Bytes entry_point);

struct Found {
  SmBiosError error;
  Bytes structure;  // with its string set, when there is no error
};

// Looks for the first structure of a type; never reads past the table's end.
Found find_structure(Bytes table, std::size_t structures, std::uint8_t type);

}  // namespace smbios
