#include "broker/http/own_names.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "broker/http/address.h"
#include "platform/words.h"

namespace broker::http {
namespace {

using platform::only_digits;
using platform::same_name;
using platform::take_to;
using platform::take_word;
using Names = OwnNames::Names;

// Without it a client could keep the server reading files by asking for unknown names.
constexpr std::chrono::seconds kBetweenLooks{5};

// The one text of an address, which can be written in several ways. An IPv4 address within IPv6 is
// written as IPv4.
std::optional<std::string> address_text(std::string_view text) {
  const std::string host(text.substr(0, text.find('%')));
  char told[INET6_ADDRSTRLEN];
  in_addr v4{};
  in6_addr v6{};
  if (inet_pton(AF_INET, host.c_str(), &v4) == 1) return inet_ntop(AF_INET, &v4, told, sizeof told);
  if (inet_pton(AF_INET6, host.c_str(), &v6) != 1) return std::nullopt;
  if (IN6_IS_ADDR_V4MAPPED(&v6)) return inet_ntop(AF_INET, v6.s6_addr + 12, told, sizeof told);
  return inet_ntop(AF_INET6, &v6, told, sizeof told);
}

// A host name in small letters, without the dot of the root. Unset for what no host can be called.
std::optional<std::string> name_text(std::string_view text) {
  std::string name(text.substr(0, text.size() - (text.ends_with('.') ? 1 : 0)));
  for (char& letter : name) {
    letter = platform::lower(letter);
    const bool good = (letter >= 'a' && letter <= 'z') || (letter >= '0' && letter <= '9') ||
                      letter == '-' || letter == '.' || letter == '_';
    if (!good) return std::nullopt;
  }
  if (name.empty()) return std::nullopt;
  return name;
}

// The host of "name", "name:5988", "192.0.2.1", "[2001:db8::1]:5988".
std::optional<std::string> host_of(std::string_view field) {
  const bool bracketed = field.starts_with('[');
  const std::size_t end = std::min(field.find(bracketed ? ']' : ':'), field.size());
  if (bracketed && end == field.size()) return std::nullopt;        // the bracket is not closed
  std::string_view port = field.substr(bracketed ? end + 1 : end);  // with its colon
  if (!port.empty() && port.front() != ':') return std::nullopt;
  take_to(port, ':');
  if (!only_digits(port)) return std::nullopt;
  if (bracketed) return address_text(field.substr(1, end - 1));
  const std::string_view host = field.substr(0, end);
  const auto address = address_text(host);
  return address ? address : name_text(host);
}

bool is_loopback(std::string_view host) {
  if (host == "localhost" || host == "::1") return true;
  return host.starts_with("127.") && address_text(host).has_value();
}

Names look_at_this_machine() {
  char host_name[HOST_NAME_MAX + 1] = "";
  gethostname(host_name, sizeof host_name - 1);
  std::ostringstream hosts;
  hosts << std::ifstream("/etc/hosts").rdbuf();
  Names names = names_of_host(host_name, hosts.str());
  ifaddrs* first = nullptr;
  if (getifaddrs(&first) != 0) return names;
  for (const ifaddrs* one = first; one; one = one->ifa_next)
    if (const auto address = address_text(Address(one->ifa_addr).host())) names.insert(*address);
  freeifaddrs(first);
  return names;
}

}  // namespace

// The file can be long, where it lists hosts that shall not be reached. So a line costs little
// unless it is one of this machine's.
Names names_of_host(std::string_view host_name, std::string_view hosts_file) {
  Names names;
  if (const auto name = name_text(host_name)) names = {*name, name->substr(0, name->find('.'))};
  Names meant = names;
  meant.insert("localhost");
  while (!hosts_file.empty()) {
    std::string_view line = take_to(hosts_file, '\n');
    line = take_to(line, '#');
    take_word(line);  // the address
    bool ours = false;
    for (std::string_view rest = line; !ours && !rest.empty();) {
      const std::string_view word = take_word(rest);
      ours = std::any_of(meant.begin(), meant.end(),
                         [&](const std::string& name) { return same_name(name, word); });
    }
    while (ours && !line.empty())
      if (auto name = name_text(take_word(line))) names.insert(*std::move(name));
  }
  return names;
}

OwnNames::OwnNames(const std::vector<std::string>& added)
    : OwnNames(added, {look_at_this_machine, std::chrono::steady_clock::now}) {}

OwnNames::OwnNames(const std::vector<std::string>& added, NameLookup machine)
    : lookup_(std::move(machine)), present_(lookup_.look()), looked_(lookup_.now()) {
  for (const std::string& host : added) {
    const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
    auto own = address_text(bracketed ? host.substr(1, host.size() - 2) : host);
    if (!own) own = name_text(host);
    if (!own)
      throw std::runtime_error("'" + host +
                               "' is no host name or address; leave out port and scheme");
    added_.insert(*std::move(own));
  }
}

bool OwnNames::covers(std::string_view host) const {
  const auto asked = host_of(host);
  if (!asked) return false;
  if (is_loopback(*asked) || added_.contains(*asked)) return true;
  const std::lock_guard guard(lock_);
  if (present_.contains(*asked)) return true;
  const auto now = lookup_.now();
  if (now - looked_ < kBetweenLooks) return false;
  looked_ = now;
  present_ = lookup_.look();
  return present_.contains(*asked);
}

}  // namespace broker::http
