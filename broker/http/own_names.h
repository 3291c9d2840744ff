// Whether a Host field names this server. A web page of another site can make its own name mean
// this server's address and ask it from a visitor's browser (rebinding); the Host field then still
// names that site.
//
// Own are "localhost", the addresses 127.0.0.0/8, ::1 and those of the machine's interfaces, the
// host name, short and full, and what stands beside it or beside "localhost" on a line of
// /etc/hosts, and what the administrator adds. No name server is asked: it may be slow, or the
// attacker's.
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
  struct Machine {
    std::function<Names()> look;
    std::function<std::chrono::steady_clock::time_point()> now;
  };

  // added: host names and addresses, without a port. Throws std::runtime_error, in one line, when
  // one of them is neither.
  explicit OwnNames(const std::vector<std::string>& added = {});
  OwnNames(const std::vector<std::string>& added, Machine machine);

  // host: the field's value. The port in it is not compared, since another one may be forwarded to
  // the server's. Reads the machine's names and addresses anew, at most every few seconds, when it
  // knows no such name: files and the kernel are read for that, nothing waited for.
  bool covers(std::string_view host) const;

 private:
  const Machine machine_;
  Names added_;
  mutable std::mutex lock_;
  mutable Names present_;
  mutable std::chrono::steady_clock::time_point looked_;
};

// The names of a machine with that host name and that text in its file of hosts.
OwnNames::Names names_of_host(std::string_view host_name, std::string_view hosts_file);

}  // namespace broker::http
