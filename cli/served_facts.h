// What the server tells clients of itself (broker/interop.h).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "broker/interop.h"

namespace cli {

// How the server was started.
struct ServerStart {
  bool encrypts;                  // by TLS
  bool authenticates;             // clients log in
  std::uint32_t longest_timeout;  // of open enumerations, in seconds
};

broker::InteropFacts served_facts(const ServerStart& started);

// A name that no other machine's server has, and that lasts as long as the machine's identity in
// /etc/machine-id does. That itself must stay unknown to others (machine-id(5)) and is hashed. On a
// machine without one the host's name takes its place.
//   machine_id: the file's text
std::string server_name(std::string_view machine_id, const std::string& host);

}  // namespace cli
