// Internet addresses of the server and of its clients.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <string>

#include "platform/descriptor.h"

namespace broker::http {

class Address {
 public:
  // A numeric IPv4 or IPv6 address or a host name (its first address). Throws std::runtime_error.
  Address(const std::string& host, std::uint16_t port);
  // Of a connection. The text of other families than IPv4 and IPv6 is empty.
  explicit Address(const sockaddr* address);

  bool is_loopback() const;
  std::string host() const;  // "127.0.0.1", "::1"
  // The addresses that one client can have for itself: an IPv4 address, also in the form of IPv6,
  // or all of the same first 64 bits of IPv6 ("2001:db8::"). Those of this machine's loopback are
  // one network ("loopback").
  std::string network() const;
  std::string text() const;  // "127.0.0.1:5988", "[::1]:5988"

  std::uint16_t port() const;
  void set_port(std::uint16_t port);

  // Returns a listening socket, closed on exec. Afterwards the address has the port that was chosen
  // for port 0. only_v6: "::" does not mean all IPv4 addresses too. Throws
  // std::system_error, one line.
  platform::Descriptor listen(bool only_v6 = false);

 private:
  union {
    sockaddr any{};
    sockaddr_in v4;
    sockaddr_in6 v6;
  };
};

}  // namespace broker::http
