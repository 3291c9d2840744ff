#include "cli/listeners.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/socket.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "cli/failure.h"
#include "cli/listening.h"

namespace cli {
namespace {

using broker::http::Address;

// A larger number is more likely a mistake than meant.
constexpr int kMostHandedOver = 64;

// Each attempt takes a port that is free at one address; it is seldom taken at another.
constexpr int kAttempts = 20;

// Removes the variable and returns its text, empty when there is none.
std::string take_variable(const char* name) {
  const char* const text = std::getenv(name);
  std::string value = text ? text : "";
  unsetenv(name);
  return value;
}

bool is_set(int socket, int option, int wanted) {
  int value = 0;
  socklen_t size = sizeof value;
  return getsockopt(socket, SOL_SOCKET, option, &value, &size) == 0 && value == wanted;
}

// The address at which the socket listens; throws when it does not listen.
Address address_of_listener(int socket) {
  sockaddr_storage storage{};
  auto* const address = reinterpret_cast<sockaddr*>(&storage);
  socklen_t size = sizeof storage;
  if (getsockname(socket, address, &size) != 0 ||
      (address->sa_family != AF_INET && address->sa_family != AF_INET6) ||
      !is_set(socket, SO_TYPE, SOCK_STREAM) || !is_set(socket, SO_ACCEPTCONN, 1))
    throw CommandFailure(
        fmt::format("descriptor {}, which was handed over, is no listening TCP socket; name "
                    "addresses with ListenStream= in the socket unit, and leave out Accept=",
                    socket));
  return Address(address);
}

// The machine has no such address, or nothing of its family.
bool is_absent(const std::error_code& error) {
  return error == std::errc::address_not_available ||
         error == std::errc::address_family_not_supported;
}

// False: the port that was chosen for all is taken at one of the addresses.
bool try_to_open(const std::vector<ListeningPlace>& places, Listeners& opened) {
  std::uint16_t chosen = 0;
  for (const ListeningPlace& place : places) {
    Address address = place.address;
    if (address.port() == 0) address.set_port(chosen);
    try {
      // Two sockets that both wanted the IPv4 addresses would exclude each other.
      opened.add(address.listen(places.size() > 1), address);
    } catch (const std::system_error& error) {
      if (place.only_if_there && is_absent(error.code())) continue;
      if (chosen != 0 && error.code() == std::errc::address_in_use) return false;
      throw CommandFailure(listening_fault(error, address));
    }
    if (place.address.port() == 0) chosen = opened.addresses.back().port();
  }
  return true;
}

}  // namespace

void Listeners::add(platform::Descriptor socket, const Address& address) {
  sockets.push_back(std::move(socket));
  addresses.push_back(address);
}

Listeners handed_over_listeners(int first) {
  const std::string process = take_variable("LISTEN_PID");
  const std::string number = take_variable("LISTEN_FDS");
  for (const char* const name : {"LISTEN_FDNAMES", "LISTEN_PIDFDID"}) unsetenv(name);
  if (process != std::to_string(getpid())) return {};
  int count = 0;
  const char* const end = number.data() + number.size();
  const auto [rest, error] = std::from_chars(number.data(), end, count);
  if (error != std::errc() || rest != end || count < 0 || count > kMostHandedOver)
    throw CommandFailure(
        fmt::format("LISTEN_FDS, the number of sockets that were handed over, is no number "
                    "from 0 to {}; start it by its socket unit, or without LISTEN_PID",
                    kMostHandedOver));
  Listeners listeners;
  for (int socket = first; socket < first + count; ++socket) {
    const Address address = address_of_listener(socket);
    listeners.add(platform::Descriptor(socket), address);
    fcntl(socket, F_SETFD, FD_CLOEXEC);
    fcntl(socket, F_SETFL, fcntl(socket, F_GETFL) | O_NONBLOCK);
  }
  return listeners;
}

std::vector<ListeningPlace> listening_places(const std::vector<std::string>& hosts,
                                             std::uint16_t port) {
  std::vector<ListeningPlace> places;
  const auto add_loopback = [&] {
    places.push_back({Address("127.0.0.1", port)});
    places.push_back({Address("::1", port), true});
  };
  if (hosts.empty()) add_loopback();
  for (const std::string& host : hosts) {
    if (host == "localhost")
      add_loopback();
    else
      places.push_back({Address(host, port)});
  }
  return places;
}

Listeners open_listeners(const std::vector<ListeningPlace>& places) {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    Listeners opened;
    if (try_to_open(places, opened)) return opened;
  }
  throw CommandFailure("no port is free at all the addresses; name one with --port");
}

}  // namespace cli
