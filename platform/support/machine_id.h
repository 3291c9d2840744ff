// The number by which a machine is known (machine-id(5)).
#pragma once

#include <string>
#include <string_view>

#include "platform/words.h"

namespace NKVRHVX20 {

inline constexpr const char* kMachineIdFile = "/etc/machine-id";

// The number that the first line of that file holds, 32 hexadecimal digits, in lower case. Empty
// where it holds none: before the first boot systemd writes "uninitialized".
inline std::string machine_id_in(std::string_view line) {
  constexpr std::size_t kDigits = 32;
  std::string id = platform::lower(std::string(platform::trim_end(line, "\n")));
  return platform::is_hexadecimal(id, kDigits) ? id : "";
}

}  // namespace NKVRHVX20
