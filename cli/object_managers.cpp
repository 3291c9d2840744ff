#include "cli/object_managers.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <fstream>
#include <optional>
#include <string>
#include <system_error>

namespace cli {
namespace {

namespace fs = std::filesystem;

// The finding that this user may not look at the path (mode: one of access()); nothing if he may.
std::optional<Finding> hidden_finding(const std::string& manager, const fs::path& path, int mode) {
  if (faccessat(AT_FDCWD, path.c_str(), mode, AT_EACCESS) == 0 || errno != EACCES) return {};
  return Finding{manager, false, path.string() + " may not be looked at",
                 geteuid() == 0 ? "give this container or service the right to"
                                : "root sees more: 'sudo hddtest check'",
                 true};
}

Finding message_finding(const std::string& manager, const fs::path& directory) {
  if (auto hidden = hidden_finding(manager, directory / "hddtest/hddtest.msg.xml", R_OK))
    return *hidden;
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

// A line of the note, its parts as deploy/register/notes.py has them.
struct NotedRegistration {
  std::string manager;
  std::vector<std::string> places;  // four of sfcb, two of OpenPegasus
  std::string state;                // empty in lines of versions that noted none
  std::vector<fs::path> made;
};

std::optional<NotedRegistration> registration(const std::string& line) {
  std::vector<std::string> parts{""};
  for (const char character : line) {
    if (character == '|')
      parts.emplace_back();
    else
      parts.back() += character;
  }
  std::size_t places = 0;
  if (parts[0] == "sfcb") places = 4;
  if (parts[0] == "pegasus") places = 2;
  if (places == 0 || parts.size() <= places) return {};
  const auto state = parts.begin() + 1 + static_cast<std::ptrdiff_t>(places);
  NotedRegistration found{parts[0], {parts.begin() + 1, state}, "", {}};
  if (state != parts.end()) {
    found.state = *state;
    found.made.assign(state + 1, parts.end());
  }
  return found;
}

// The finding for a registration that did not take place, or is not there any more.
std::optional<Finding> unfinished_finding(const NotedRegistration& registered,
                                          const fs::path& root) {
  const std::string again = "hddtest-register " + registered.manager;
  if (registered.state == "leaving") {
    return Finding{registered.manager, false, "its repository still has the self-test",
                   "run '" + again + " --unregister' again"};
  }
  const std::string remedy = "run '" + again + "' again";
  if (registered.state != "registered")
    return Finding{registered.manager, false, "the registration was not completed", remedy};
  for (const fs::path& path : registered.made) {
    const fs::path place = root / path.relative_path();
    if (auto hidden = hidden_finding(registered.manager, place, F_OK)) return hidden;
    std::error_code error;
    if (!fs::exists(place, error))
      return Finding{registered.manager, false, place.string() + " is missing", remedy};
  }
  return {};
}

Finding pegasus_finding(const NotedRegistration& registered, const fs::path& root) {
  const std::string& unit = registered.places[0];
  std::string directory = registered.places[1];
  if (!unit.empty()) {
    const fs::path file = root / "etc/systemd/system" / (unit + ".service.d") / "hddtest.conf";
    if (auto hidden = hidden_finding("pegasus", file, R_OK)) return *hidden;
    const auto set = working_directory(file);
    if (!set) {
      return {"pegasus", false, file.string() + " does not set the working directory",
              "run 'hddtest-register pegasus' again"};
    }
    directory = *set;
  }
  return message_finding("pegasus", root / fs::path(directory).relative_path());
}

Finding finding_of(const NotedRegistration& registered, const fs::path& root) {
  if (const auto unfinished = unfinished_finding(registered, root)) return *unfinished;
  return registered.manager == "sfcb" ? message_finding("sfcb", root)
                                      : pegasus_finding(registered, root);
}

}  // namespace

std::vector<Finding> object_manager_findings(const fs::path& root) {
  std::vector<Finding> findings;
  std::optional<std::size_t> sfcb;  // one finding for all stages: the first that is wrong, if any
  const fs::path file = root / "var/lib/hddtest/registrations";
  if (const auto hidden = hidden_finding("registrations", file, R_OK)) return {*hidden};
  std::ifstream note(file);
  for (std::string line; std::getline(note, line);) {
    const auto registered = registration(line);
    if (!registered) continue;
    const Finding finding = finding_of(*registered, root);
    if (registered->manager != "sfcb" || !sfcb) {
      if (registered->manager == "sfcb") sfcb = findings.size();
      findings.push_back(finding);
    } else if (findings[*sfcb].ok) {
      findings[*sfcb] = finding;
    }
  }
  return findings;
}

}  // namespace cli
