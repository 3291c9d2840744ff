// What a test needs of the machine, looked at one thing at a time.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "cli/places.h"

namespace cli {

struct Finding {
  std::string name;
  bool ok;
  std::string found;    // what is there, or what is wrong
  std::string remedy;   // what to do; with ok, what could be better; empty when there is nothing
  bool hidden = false;  // with !ok: this user may not look, so nothing is known to be missing
};

// status: the text of /proc/self/status, which holds the capabilities.
Finding privileges_finding(bool root, std::string_view status);

// A program at this path (empty: none was found) that was asked for its version: what it printed
// and its exit code, -1 when it did not end by exiting; fault: why it could not be started, if
// known.
struct VersionAnswer {
  std::string path;
  int status;
  std::string output;
  std::string fault;
};
Finding program_finding(const std::string& name, const std::string& package,
                        const VersionAnswer& answer);

// smartctl, with a note where it is too old for tests of any drive.
Finding smartctl_finding(const VersionAnswer& answer);
// nvme, which is missing only where smartctl is too old for NVMe drives and there are some.
Finding nvme_finding(const VersionAnswer& nvme, const VersionAnswer& smartctl,
                     bool has_nvme_drives);

// Whether tests can be kept in this folder. Changes nothing there.
Finding history_finding(const std::string& folder);

// Whether a record can be made of every outcome of a test.
Finding message_finding(const std::filesystem::path& file);

// Whether the file, such as the registration, can be read.
Finding file_finding(const std::string& name, const std::filesystem::path& file);

// file: the log's destination, "-" for standard error. chosen: HVX_LOG_FILE names it. A log that
// cannot be written is no fault where nobody chose the file: root has to make its folder, and tests
// run without it.
Finding log_finding(const std::string& file, bool chosen);

// Loads every provider library that is registered, and asks every class that is no association
// for its instances. Enters the data folder. May take as long as these classes take.
Finding module_finding(const Places& places);

// All of them. Runs smartctl, nvme and hwinfo for their versions.
std::vector<Finding> all_findings(const Places& places);

}  // namespace cli
