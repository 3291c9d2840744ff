#include "platform/support/osspecific.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "platform/descriptor.h"
#include "platform/local_time.h"
#include "platform/support/process_runner.h"
#include "platform/support/product_name.h"
#include "platform/words.h"

namespace NKVRHVX20 {

namespace {

// A DMI text as the kernel publishes it, without the line feed that it adds; empty when the
// machine has none. The kernel's files are one page at most.
std::string read_dmi_text(const char* name) {
  const char* root = std::getenv("HVX_SYSFS_ROOT");
  const std::string path = std::string(root != nullptr ? root : "") + "/sys/class/dmi/id/" + name;
  const platform::Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file) return {};
  char text[4096];
  const ssize_t size = read(file.get(), text, sizeof text);
  std::string result(text, size > 0 ? static_cast<std::size_t>(size) : 0);
  if (result.ends_with('\n')) result.pop_back();
  return result;
}

std::vector<std::string> split_at_blanks(std::string_view text) {
  std::vector<std::string> words;
  while (true) {
    const std::string_view word = platform::take_word(text, " \t");
    if (word.empty()) return words;
    words.emplace_back(word);
  }
}

}  // namespace

std::string machine_type_from_product_name(const std::string& product_name) {
  const std::size_t hyphen = product_name.find('-');
  if (hyphen != std::string::npos) return product_name.substr(hyphen + 2, 4);
  return product_name.size() == 7 ? product_name.substr(0, 4) : std::string();
}

int TOSSpecific::SpawnProcess(std::string program, std::vector<std::string> arguments,
                              std::string& output, int timeout_seconds) {
  return run_program(program, arguments, output, timeout_seconds);
}

int TOSSpecific::SpawnProcess(std::string program, std::vector<std::string> arguments,
                              std::string& output, std::string& errors, int timeout_seconds) {
  return run_program(program, arguments, output, timeout_seconds, &errors);
}

std::string TOSSpecific::SpawnProcess(const std::string& command_line, int limit_seconds) {
  std::vector<std::string> words = split_at_blanks(command_line);
  if (words.empty()) return {};
  const std::string program = std::move(words.front());
  words.erase(words.begin());
  std::string output;
  if (run_program(program, words, output, limit_seconds) < 0) return {};
  return output;
}

std::string TOSSpecific::GetMachineTypeFromID() {
  try {
    return machine_type_from_product_name(read_dmi_text("product_name"));
  } catch (const std::out_of_range&) {
    return {};
  }
}

std::string TOSSpecific::GetBiosID() {
  return std::string(platform::trim(read_dmi_text("bios_version"), " \t\r\n\v\f"));
}

TCIMDateTime TOSSpecific::GetLocalTime() {
  const platform::LocalTime now = platform::local_time();
  return {now.microseconds, now.minutes_from_utc};
}

std::string TOSSpecific::GetCurrentDir() {
  std::error_code error;
  return std::filesystem::current_path(error).string();
}

std::uint64_t TOSSpecific::GetFileSize(const std::string& path) {
  // The file is not opened, since opening a device or a pipe can have an effect.
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return 0;
  if (faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) != 0) return 0;
  return static_cast<std::uint64_t>(status.st_size);
}

}  // namespace NKVRHVX20
