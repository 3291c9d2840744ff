#include <sys/utsname.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "drivetest/history.h"
#include "platform/support/machine_id.h"

namespace drivetest {

Host this_host() {
  Host host;
  std::string id;
  std::ifstream file(NKVRHVX20::kMachineIdFile);
  const bool is_missing = !file && errno == ENOENT;
  std::getline(file, id);
  // Else the tests would be kept as those of another machine.
  if (!is_missing && (!file.is_open() || file.bad()))
    throw HistoryError(HistoryFault::Broken, std::string(NKVRHVX20::kMachineIdFile) +
                                                 " cannot be read (" + std::strerror(errno) +
                                                 "), and tests are kept by it: try again");
  host.machine_id = NKVRHVX20::machine_id_in(id);
  struct utsname names {};
  if (uname(&names) == 0) host.name = names.nodename;
  return host;
}

std::string state_folder() {
  const char* const chosen = std::getenv("HVX_STATE_DIR");
  if (!chosen || *chosen == '\0') return "/var/lib/hvx";
  return std::filesystem::absolute(chosen);
}

Time system_time() {
  return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
}

}  // namespace drivetest
