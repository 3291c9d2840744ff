#include "cli/findings.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <fstream>
#include <iterator>
#include <mutex>
#include <set>
#include <system_error>

#include "cli/failure.h"
#include "cli/log_listener.h"
#include "cli/manager.h"
#include "cli/object_managers.h"
#include "drivetest/find_drives.h"
#include "drivetest/history.h"
#include "platform/descriptor.h"
#include "platform/support/osspecific.h"
#include "platform/support/program.h"
#include "results/message_file.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

constexpr int kVersionSeconds = 20;

bool has_raw_io(std::string_view status) {
  constexpr std::string_view kLabel = "CapEff:\t";
  constexpr int kCapSysRawio = 17;
  const std::size_t at = status.find(kLabel);
  if (at == std::string_view::npos) return false;
  std::uint64_t effective = 0;
  const char* const digits = status.data() + at + kLabel.size();
  std::from_chars(digits, status.data() + status.size(), effective, 16);
  return (effective >> kCapSysRawio & 1) != 0;
}

std::string first_line(std::string_view text) {
  return std::string(text.substr(0, text.find('\n')));
}

VersionAnswer ask_version(const std::string& name) {
  VersionAnswer answer{NKVRHVX20::find_program(name), -1, {}, {}};
  if (answer.path.empty()) return answer;
  std::mutex lock;
  const LogListener listener([&](int severity, const std::string& text) {
    const std::lock_guard guard(lock);
    if (severity == 0) answer.fault = text;
  });
  answer.status = NKVRHVX20::TOSSpecific::SpawnProcess(answer.path, {"--version"}, answer.output,
                                                       kVersionSeconds);
  return answer;
}

// Nothing, or why the logger cannot write there.
std::string writing_fault(const fs::path& file) {
  std::error_code error;
  if (!fs::exists(file, error)) {
    const fs::path folder = file.parent_path();
    if (faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0) return {};
    return folder.string() + ": " + std::strerror(errno);
  }
  const platform::Descriptor opened(
      open(file.c_str(), O_WRONLY | O_APPEND | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
  return opened ? std::string() : file.string() + ": " + std::strerror(errno);
}

}  // namespace

Finding privileges_finding(bool root, std::string_view status) {
  const std::string name = "privileges";
  if (has_raw_io(status)) return {name, true, root ? "root, CAP_SYS_RAWIO" : "CAP_SYS_RAWIO", ""};
  if (!root) return {name, false, "not root", "run hddtest as root, for example with sudo"};
  return {name, false, "root, but without CAP_SYS_RAWIO",
          "give that capability to the container or service"};
}

Finding program_finding(const std::string& name, const std::string& package,
                        const VersionAnswer& answer) {
  if (answer.path.empty()) return {name, false, "not found", "install the package " + package};
  if (answer.status == 0)
    return {name, true, fmt::format("{} ({})", answer.path, first_line(answer.output)), ""};
  std::string why = answer.path + " cannot be run";
  if (answer.status > 0) why = fmt::format("{} ends with status {}", answer.path, answer.status);
  if (!answer.fault.empty()) why += ": " + answer.fault;
  return {name, false, why,
          "reinstall the package " + (answer.fault.empty() ? package : "hddtest")};
}

Finding file_finding(const std::string& name, const fs::path& file) {
  const std::string fault = reading_fault(file);
  if (fault.empty()) return {name, true, file, ""};
  return {name, false, file.string() + ": " + fault,
          "reinstall hddtest, or name its data with --data"};
}

Finding message_finding(const fs::path& file) {
  Finding readable = file_finding("messages", file);
  if (!readable.ok) return readable;
  const std::vector<std::string> faults = results::message_file_faults(file);
  if (faults.empty()) return readable;
  return {"messages", false, fmt::format("{}: {}", file.string(), fmt::join(faults, "; ")),
          "mend it, or reinstall hddtest"};
}

Finding log_finding(const std::string& file, bool chosen) {
  if (file == "-") return {"log", true, "standard error", ""};
  const std::string fault = writing_fault(file);
  if (fault.empty()) return {"log", true, file, ""};
  if (chosen) return {"log", false, fault, "name a file with HVX_LOG_FILE that hddtest may write"};
  const bool journal = access("/run/systemd/journal/socket", W_OK) == 0;
  const fs::path folder = fs::path(file).parent_path();
  std::error_code error;
  return {"log", true, fault + (journal ? ": lines go to the journal" : ": no log is kept"),
          fs::exists(folder, error) ? "HVX_LOG_FILE names another file"
                                    : "for a log file, as root: mkdir -m 0750 " + folder.string()};
}

Finding module_finding(const Places& places) {
  std::string asked;
  const auto missing = [&](const std::string& why) {
    return Finding{"module", false, asked.empty() ? why : asked + ": " + why,
                   "reinstall hddtest with all of its libraries"};
  };
  try {
    const auto manager = make_manager(places);
    std::set<std::string> libraries;
    std::size_t classes = 0;
    for (const auto& entry : broker::read_registration(places.registration)) {
      if (!entry.instance || entry.association) continue;
      asked = entry.class_name;
      manager->enumerate_instances(asked);
      libraries.insert("lib" + entry.location + ".so");
      ++classes;
    }
    asked.clear();
    if (libraries.empty()) return missing("no class is registered");
    return {"module", true,
            fmt::format("{} classes answer from {}", classes, fmt::join(libraries, ", ")), ""};
  } catch (const std::exception& error) {
    return missing(error.what());
  }
}

std::vector<Finding> all_findings(const Places& places) {
  std::ifstream stream("/proc/self/status");
  const std::string status{std::istreambuf_iterator<char>(stream), {}};
  const VersionAnswer smartctl = ask_version("smartctl");
  const bool has_nvme_drives =
      std::ranges::any_of(drivetest::find_drives({}), [](const drivetest::FoundDrive& found) {
        return found.drive.protocol == drivetest::Protocol::Nvme;
      });
  std::vector<Finding> findings = {privileges_finding(geteuid() == 0, status),
                                   smartctl_finding(smartctl),
                                   nvme_finding(ask_version("nvme"), smartctl, has_nvme_drives),
                                   program_finding("hwinfo", "hwinfo", ask_version("hwinfo")),
                                   history_finding(drivetest::state_folder()),
                                   log_finding(log_file(places), is_log_file_chosen()),
                                   message_finding(places.message_file),
                                   file_finding("registration", places.registration),
                                   module_finding(places)};
  const std::vector<Finding> managers = object_manager_findings();
  findings.insert(findings.end(), managers.begin(), managers.end());
  return findings;
}

}  // namespace cli
