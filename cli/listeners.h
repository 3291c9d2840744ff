// The sockets on which the server listens: those that a supervisor hands over, else its own.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "broker/http/address.h"
#include "platform/descriptor.h"

namespace cli {

// TCP listening sockets, and the address of each.
struct Listeners {
  void add(platform::Descriptor socket, const broker::http::Address& address);

  std::vector<platform::Descriptor> sockets;
  std::vector<broker::http::Address> addresses;
};

// The sockets that the environment announces, by the protocol of sd_listen_fds(3) without its
// library: LISTEN_FDS of them, from the first descriptor on, if LISTEN_PID is this process. Makes
// them close-on-exec and non-blocking, and removes the variables, so that children know nothing of
// them. Throws CommandFailure when one is no listening TCP socket. Call it before other threads
// start, since they may use the environment or start programs.
Listeners handed_over_listeners(int first = 3);

struct ListeningPlace {
  broker::http::Address address;
  bool only_if_there = false;  // where the machine lacks this address, the server does without it
};

// Each host's address with the port. Without a host, and for "localhost", both loopback addresses:
// clients try one after the other, so a stranger who listened at the second would receive
// passwords.
std::vector<ListeningPlace> listening_places(const std::vector<std::string>& hosts,
                                             std::uint16_t port);

// Listens on all of them, or throws CommandFailure, which says where it cannot, why, and what to
// do. Port 0 means one free port for all addresses.
Listeners open_listeners(const std::vector<ListeningPlace>& places);

}  // namespace cli
