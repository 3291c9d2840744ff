#include "cli/listening.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>
#include <vector>

namespace cli {
namespace {

namespace fs = std::filesystem;

// The inodes of the sockets that listen at the port, from a table of the kernel: number, local
// address:port, remote one, state, queues, timer, retransmissions, user, time-out, inode.
void find_sockets(const fs::path& table, std::uint16_t port, std::set<std::string>& inodes) {
  const std::string listening = "0A";
  const std::string ending = fmt::format(":{:04X}", port);
  std::ifstream stream(table);
  for (std::string line; std::getline(stream, line);) {
    std::istringstream words(line);
    std::vector<std::string> fields;
    for (std::string word; words >> word;) fields.push_back(word);
    if (fields.size() > 9 && fields[1].ends_with(ending) && fields[3] == listening)
      inodes.insert("socket:[" + fields[9] + "]");
  }
}

bool holds_one(const fs::path& process, const std::set<std::string>& sockets) {
  std::error_code error;
  for (fs::directory_iterator entry(process / "fd", error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code gone;
    if (sockets.contains(fs::read_symlink(*entry, gone).native())) return true;
  }
  return false;
}

}  // namespace

std::string who_listens(std::uint16_t port, const fs::path& proc) {
  std::set<std::string> sockets;
  for (const char* const table : {"net/tcp", "net/tcp6"}) find_sockets(proc / table, port, sockets);
  if (sockets.empty()) return "";
  std::error_code error;
  for (fs::directory_iterator entry(proc, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string number = entry->path().filename();
    if (number.find_first_not_of("0123456789") != number.npos) continue;
    if (!holds_one(entry->path(), sockets)) continue;
    std::ifstream stream(entry->path() / "comm");
    std::string name;
    std::getline(stream, name);
    return fmt::format("process {} ({})", number, name);
  }
  return "another process";
}

std::string listening_fault(const std::system_error& error, std::uint16_t port) {
  std::string what = error.what();
  const std::string other_port = "name another port with --port";
  if (error.code() == std::errc::address_in_use) {
    const std::string who = who_listens(port);
    return what + (who.empty() ? "" : ": " + who + " listens there") + "; end it, or " + other_port;
  }
  if (error.code() == std::errc::permission_denied)
    return what + "; ports below 1024 are root's: " + other_port;
  if (error.code() == std::errc::address_not_available)
    return what + "; name one of this machine's addresses with --listen ('ip address' shows them)";
  return what;
}

}  // namespace cli
