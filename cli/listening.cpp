#include "cli/listening.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <sys/socket.h>

#include <charconv>
#include <cstdint>
#include <fstream>
#include <set>
#include <sstream>
#include <vector>

#include "platform/words.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

using broker::http::Address;

// The host of a text such as "0100007F:1764": words in the machine's byte order, then the port.
std::string host_of(const std::string& text, std::uint16_t& port) {
  const std::size_t colon = text.find(':');
  const std::string words = text.substr(0, colon);
  std::uint32_t bytes[4] = {};
  for (std::size_t at = 0; at < 4 && 8 * at + 8 <= words.size(); ++at)
    std::from_chars(words.data() + 8 * at, words.data() + 8 * at + 8, bytes[at], 16);
  port = 0;
  if (colon != text.npos)
    std::from_chars(text.data() + colon + 1, text.data() + text.size(), port, 16);
  char host[INET6_ADDRSTRLEN] = "";
  inet_ntop(words.size() > 8 ? AF_INET6 : AF_INET, bytes, host, sizeof host);
  return host;
}

bool collides(const std::string& listens, const std::string& wanted) {
  for (const char* const all : {"0.0.0.0", "::"})
    if (listens == all || wanted == all) return true;
  return listens == wanted || listens == "::ffff:" + wanted;
}

// The inodes of the sockets that listen there, from a table of the kernel: number, local
// address:port, remote one, state, queues, timer, retransmissions, user, time-out, inode.
void find_sockets(const fs::path& table, const Address& address, std::set<std::string>& inodes) {
  const std::string listening = "0A";
  const std::string host = address.host();
  std::ifstream stream(table);
  for (std::string line; std::getline(stream, line);) {
    std::istringstream words(line);
    std::vector<std::string> fields;
    for (std::string word; words >> word;) fields.push_back(word);
    if (fields.size() <= 9 || fields[3] != listening) continue;
    std::uint16_t port = 0;
    if (collides(host_of(fields[1], port), host) && port == address.port())
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

std::string who_listens(const Address& address, const fs::path& proc) {
  std::set<std::string> sockets;
  for (const char* const table : {"net/tcp", "net/tcp6"})
    find_sockets(proc / table, address, sockets);
  if (sockets.empty()) return "";
  std::error_code error;
  for (fs::directory_iterator entry(proc, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string number = entry->path().filename();
    if (!platform::only_digits(number)) continue;
    if (!holds_one(entry->path(), sockets)) continue;
    std::ifstream stream(entry->path() / "comm");
    std::string name;
    std::getline(stream, name);
    return fmt::format("process {} ({})", number, name);
  }
  return "another process";
}

std::string listening_fault(const std::system_error& error, const Address& address) {
  std::string what = error.what();
  const std::string other_port = "name another port with --port";
  if (error.code() == std::errc::address_in_use) {
    const std::string who = who_listens(address);
    return what + (who.empty() ? "" : ": " + who + " listens there") + "; end it, or " + other_port;
  }
  if (error.code() == std::errc::permission_denied)
    return what + "; ports below 1024 are root's: " + other_port;
  if (error.code() == std::errc::address_not_available)
    return what + "; name one of this machine's addresses with --listen ('ip address' shows them)";
  return what;
}

}  // namespace cli
