// Whether a Host field names this server. A web page of another site can make its own name mean
// this server's address and ask it from a visitor's browser (rebinding); the Host field then still
// names that site.
//
// The server's own names are "localhost", the addresses 127.0.0.0/8 and ::1, those of the machine's
// interfaces, its host name, short and full, the names beside that or beside "localhost" on a line
// of /etc/hosts, and those that the administrator adds. No name server is asked: it may be slow, or
// the attacker's.
#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace broker::http {

// Safe from any thread.
class OwnNames {
 public:
  using Names = std::set<std::string, std::less<>>;
  // How names and addresses of the machine are found, and what time it is.
  struct NameLookup {
    std::function<Names()> look;
    std::function<std::chrono::steady_clock::time_point()> now;
  };

  // added: host names and addresses, without a port. Throws std::runtime_error, in one line, for
  // what is neither.
  explicit OwnNames(const std::vector<std::string>& added = {});
  OwnNames(const std::vector<std::string>& added, NameLookup machine);

  // host: the field's value. The port in it is not compared, since another one may be forwarded to
  // the server's. For an unknown name the machine's names and addresses are read anew, at most
  // every few seconds, from files and the kernel, which takes no waiting.
  bool covers(std::string_view host) const;

 private:
  const NameLookup lookup_;
  Names added_;
  mutable std::mutex lock_;
  mutable Names present_;
  mutable std::chrono::steady_clock::time_point looked_;
};

// The names of a machine with that host name and that text in its file of hosts.
OwnNames::Names names_of_host(std::string_view host_name, std::string_view hosts_file);

}  // namespace broker::http
