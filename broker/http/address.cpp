#include "broker/http/address.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace broker::http {
namespace {

// Also for IPv4 addresses in the form of IPv6.
bool is_loopback_v4(std::uint32_t network_order) { return ntohl(network_order) >> 24 == 127; }

}  // namespace

Address::Address(const std::string& host, std::uint16_t port) : v6{} {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE;
  addrinfo* found = nullptr;
  const int error = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
  if (error != 0) {
    throw std::runtime_error("cannot listen on '" + host +
                             "': " + (error == EAI_SYSTEM ? strerror(errno) : gai_strerror(error)));
  }
  *this = Address(found->ai_addr);
  freeaddrinfo(found);
}

Address::Address(const sockaddr* address) : v6{} {
  if (address && address->sa_family == AF_INET) std::memcpy(&v4, address, sizeof v4);
  if (address && address->sa_family == AF_INET6) std::memcpy(&v6, address, sizeof v6);
}

std::string Address::network() const {
  // A client on this machine can use all of its loopback addresses.
  if (is_loopback()) return "loopback";
  if (any.sa_family != AF_INET6) return host();
  if (IN6_IS_ADDR_V4MAPPED(&v6.sin6_addr)) {
    in_addr inner;
    std::memcpy(&inner, v6.sin6_addr.s6_addr + 12, sizeof inner);
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &inner, text, sizeof text);
    return text;
  }
  Address network = *this;
  std::memset(network.v6.sin6_addr.s6_addr + 8, 0, 8);
  return network.host();
}

bool Address::is_loopback() const {
  if (any.sa_family == AF_INET) return is_loopback_v4(v4.sin_addr.s_addr);
  if (any.sa_family != AF_INET6) return false;
  if (!IN6_IS_ADDR_V4MAPPED(&v6.sin6_addr)) return IN6_IS_ADDR_LOOPBACK(&v6.sin6_addr);
  std::uint32_t inner;
  std::memcpy(&inner, v6.sin6_addr.s6_addr + 12, sizeof inner);
  return is_loopback_v4(inner);
}

std::string Address::host() const {
  char text[NI_MAXHOST] = "";
  const socklen_t length = any.sa_family == AF_INET ? sizeof v4 : sizeof v6;
  getnameinfo(&any, length, text, sizeof text, nullptr, 0, NI_NUMERICHOST);
  return text;
}

std::string Address::text() const {
  if (any.sa_family == AF_INET) return host() + ":" + std::to_string(port());
  if (any.sa_family != AF_INET6) return "";
  return "[" + host() + "]:" + std::to_string(port());
}

std::uint16_t Address::port() const {
  if (any.sa_family == AF_INET) return ntohs(v4.sin_port);
  return any.sa_family == AF_INET6 ? ntohs(v6.sin6_port) : 0;
}

void Address::set_port(std::uint16_t port) {
  if (any.sa_family == AF_INET) v4.sin_port = htons(port);
  if (any.sa_family == AF_INET6) v6.sin6_port = htons(port);
}

platform::Descriptor Address::listen(bool only_v6) {
  socklen_t length = any.sa_family == AF_INET ? sizeof v4 : sizeof v6;
  const int one = 1;
  platform::Descriptor listener(
      socket(any.sa_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  only_v6 = only_v6 && any.sa_family == AF_INET6;
  if (listener && setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &one, sizeof one) == 0 &&
      (!only_v6 || setsockopt(listener.get(), IPPROTO_IPV6, IPV6_V6ONLY, &one, sizeof one) == 0) &&
      bind(listener.get(), &any, length) == 0 && ::listen(listener.get(), SOMAXCONN) == 0 &&
      getsockname(listener.get(), &any, &length) == 0)
    return listener;
  throw std::system_error(errno, std::generic_category(), "cannot listen on " + text());
}

}  // namespace broker::http
