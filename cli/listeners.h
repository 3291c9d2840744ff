// The sockets on which the server listens: those that a supervisor hands over, else its own.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "broker/http/address.h"

namespace cli {

// TCP listening sockets with their addresses. Closes those that were not taken.
class Listeners {
 public:
  Listeners() = default;
  ~Listeners() { close_all(); }
  Listeners(Listeners&& other) noexcept { *this = std::move(other); }
  Listeners& operator=(Listeners&& other) noexcept;

  void add(int socket, const broker::http::Address& address);
  void close_all();
  // The sockets are the caller's afterwards.
  std::vector<int> take();
  bool empty() const { return addresses_.empty(); }
  const std::vector<broker::http::Address>& addresses() const { return addresses_; }

 private:
  std::vector<int> sockets_;
  std::vector<broker::http::Address> addresses_;
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
