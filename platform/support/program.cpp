#include "platform/support/program.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace NKVRHVX20 {

namespace {

constexpr std::string_view kDefaultPath = "/bin:/usr/bin";
constexpr std::string_view kFurtherPlaces = "/usr/sbin:/sbin:/usr/local/sbin";

bool is_executable(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS) == 0;
}

std::string find_in(std::string_view places, const std::string& name) {
  for (;;) {
    const std::size_t end = places.find(':');
    std::string path(places.substr(0, end));
    if (!path.empty()) path += '/';
    path += name;
    if (is_executable(path)) return path;
    if (end == std::string_view::npos) return {};
    places.remove_prefix(end + 1);
  }
}

}  // namespace

std::string find_program(const std::string& name) {
  if (name.empty() || name.find('\0') != std::string::npos) return {};
  if (name.find('/') != std::string::npos) return is_executable(name) ? name : std::string();
  const char* path = std::getenv("PATH");
  std::string found = find_in(path != nullptr ? std::string_view(path) : kDefaultPath, name);
  return found.empty() ? find_in(kFurtherPlaces, name) : found;
}

std::string why_not_found(const std::string& name) {
  if (name.find('/') == std::string::npos)
    return "there is no executable file of that name on PATH, in /usr/sbin, /sbin or "
           "/usr/local/sbin";
  if (faccessat(AT_FDCWD, name.c_str(), X_OK, AT_EACCESS) != 0) return std::strerror(errno);
  return "not a regular file";
}

}  // namespace NKVRHVX20
