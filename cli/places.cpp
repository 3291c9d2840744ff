#include "cli/places.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "cli/failure.h"
#include "platform/descriptor.h"

namespace cli {

namespace fs = std::filesystem;

Places find_places(const std::string& data) {
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  if (error == std::errc::no_such_file_or_directory)
    throw CommandFailure("cannot tell where this program is: /proc is not mounted");
  if (error)
    throw CommandFailure("cannot tell where this program is: /proc/self/exe: " + error.message());
  const fs::path root = program.parent_path().parent_path();
  Places places;
  places.start = fs::current_path(error);
  places.data = data.empty() ? root / "share" : resolve(places, data);
  places.message_file = places.data / "hddtest/hddtest.msg.xml";
  places.registration = places.data / "hddtest/hddtest.reg";
  places.libraries = {root / "lib", HDDTEST_PLUGIN_DIR};
  return places;
}

fs::path resolve(const Places& places, const std::string& path) {
  return places.start / (path.starts_with("./") ? path.substr(2) : path);
}

void enter_data_folder(const Places& places) {
  std::error_code error;
  fs::current_path(places.data, error);
  if (error) {
    throw CommandFailure("cannot use the data folder " + places.data.string() + ": " +
                         error.message() + "; name another with --data");
  }
}

std::string reading_fault(const fs::path& file) {
  const platform::Descriptor opened(open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!opened) return std::strerror(errno);
  struct stat status {};
  const bool regular = fstat(opened.get(), &status) == 0 && S_ISREG(status.st_mode);
  return regular ? "" : "not a regular file";
}

namespace {

// Empty when nobody names one.
std::string chosen_log_file() {
  const char* const file = std::getenv("HVX_LOG_FILE");
  return file ? file : "";
}

}  // namespace

bool is_log_file_chosen() { return !chosen_log_file().empty(); }

std::string log_file(const Places& places) {
  const std::string file = chosen_log_file();
  if (file.empty()) return "/var/log/hvx/diagnostics.log";
  return file == "-" ? file : resolve(places, file).string();
}

void extend_program_path() {
  const char* const present = std::getenv("PATH");
  std::string path = present ? present : "/usr/local/bin:/usr/bin:/bin";
  for (const std::string folder : {"/usr/sbin", "/sbin"})
    if ((":" + path + ":").find(":" + folder + ":") == std::string::npos) path += ":" + folder;
  setenv("PATH", path.c_str(), 1);
}

}  // namespace cli
