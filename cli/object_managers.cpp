#include "cli/object_managers.h"

#include <algorithm>
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

}  // namespace

std::vector<Finding> object_manager_findings(const fs::path& root) {
  std::vector<Finding> findings;
  std::error_code error;
  if (fs::exists(root / "var/lib/sfcb/stage/regs/hddtest.reg", error))
    findings.push_back(message_finding("sfcb", root));

  std::vector<fs::path> folders;
  for (fs::directory_iterator entry(root / "etc/systemd/system", error), end; entry != end;
       entry.increment(error))
    if (entry->path().extension() == ".d") folders.push_back(entry->path());
  std::sort(folders.begin(), folders.end());
  for (const fs::path& folder : folders)
    if (const auto directory = working_directory(folder / "hddtest.conf"))
      findings.push_back(message_finding("pegasus", root / fs::path(*directory).relative_path()));
  return findings;
}

}  // namespace cli
