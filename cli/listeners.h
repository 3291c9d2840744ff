// The sockets on which the server listens: those that a supervisor hands over, else its own.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "broker/http/address.h"

namespace cli {

// Listening sockets of the Internet with their addresses. Closes those that nobody has taken.
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
// library: LISTEN_FDS of them, from the first descriptor on, if LISTEN_PID is this process. They
// are closed on exec from now on, do not block, and the variables are gone, so that children know
// nothing of them. Throws CommandFailure when one is no listening socket of TCP. For the begin of a
// process: other threads may be using the environment, or starting programs.
Listeners handed_over_listeners(int first = 3);

struct ListeningPlace {
  broker::http::Address address;
  bool only_if_there = false;  // a machine that does not have this address does without
};

// Each host's address with the port. Without a host, and for "localhost", the two of the loopback:
// clients try one after the other by the name, and whoever held the other would be sent passwords.
std::vector<ListeningPlace> listening_places(const std::vector<std::string>& hosts,
                                             std::uint16_t port);

// Listens on all of them or throws CommandFailure, which says on which not, why, and what to do. Of
// port 0 one becomes the port of all.
Listeners open_listeners(const std::vector<ListeningPlace>& places);

}  // namespace cli
