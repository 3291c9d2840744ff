#include "cli/object_managers.h"

#include <fstream>
#include <optional>
#include <string>

namespace cli {
namespace {

namespace fs = std::filesystem;

Finding message_finding(const std::string& manager, const fs::path& directory) {
  Finding finding = file_finding(manager, directory / "hddtest/hddtest.msg.xml");
  if (!finding.ok) finding.remedy = "run 'hddtest-register " + manager + "' again";
  return finding;
}

// The folder that a drop-in file of hddtest-register sets; nothing for a file of another author.
std::optional<std::string> working_directory(const fs::path& file) {
  const std::string mark = "# Written by hddtest-register.";
  const std::string setting = "WorkingDirectory=";
  std::ifstream stream(file);
  bool ours = false;
  for (std::string line; std::getline(stream, line);) {
    ours = ours || line.starts_with(mark);
    if (ours && line.starts_with(setting)) return line.substr(setting.size());
  }
  return {};
}

struct PegasusRegistration {
  std::string unit;       // empty: none was found
  std::string directory;  // that it is to run in
};

std::optional<PegasusRegistration> pegasus_registration(const std::string& line) {
  const std::string manager = "pegasus|";
  const std::size_t end = line.find('|', manager.size());
  if (!line.starts_with(manager) || end == line.npos) return {};
  return PegasusRegistration{line.substr(manager.size(), end - manager.size()),
                             line.substr(end + 1)};
}

Finding pegasus_finding(const PegasusRegistration& registered, const fs::path& root) {
  std::string directory = registered.directory;
  if (!registered.unit.empty()) {
    const fs::path file =
        root / "etc/systemd/system" / (registered.unit + ".service.d") / "hddtest.conf";
    const auto set = working_directory(file);
    if (!set) {
      return {"pegasus", false, file.string() + " does not set the working directory",
              "run 'hddtest-register pegasus' again"};
    }
    directory = *set;
  }
  return message_finding("pegasus", root / fs::path(directory).relative_path());
}

}  // namespace

std::vector<Finding> object_manager_findings(const fs::path& root) {
  std::vector<Finding> findings;
  bool sfcb = false;
  std::ifstream note(root / "var/lib/hddtest/registrations");
  for (std::string line; std::getline(note, line);) {
    if (line.starts_with("sfcb|") && !sfcb) {  // all stages share the one link
      sfcb = true;
      findings.push_back(message_finding("sfcb", root));
    } else if (const auto registered = pegasus_registration(line)) {
      findings.push_back(pegasus_finding(*registered, root));
    }
  }
  return findings;
}

}  // namespace cli
