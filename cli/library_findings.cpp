// What tests of any drive need: nvme, and a history.
#include <fmt/format.h>

#include "cli/findings.h"
#include "drivetest/history_check.h"
#include "drivetest/nvme_report.h"
#include "drivetest/smartctl_report.h"

namespace cli {

using drivetest::HistoryCheck;
using drivetest::ToolVersion;

Finding smartctl_finding(const VersionAnswer& answer) {
  Finding finding = program_finding("smartctl", "smartmontools", answer);
  const ToolVersion version = drivetest::smartctl_version({answer.output, "", answer.status});
  if (finding.ok && version < drivetest::kOldestSmartctl)
    finding.remedy =
        "all tests but the module's need version 7.3: install a newer package smartmontools";
  return finding;
}

Finding nvme_finding(const VersionAnswer& nvme, const VersionAnswer& smartctl,
                     bool has_nvme_drives) {
  const ToolVersion version = drivetest::smartctl_version({smartctl.output, "", smartctl.status});
  const bool is_needed = version < drivetest::kFirstSmartctlOfNvmeTests;
  Finding finding = program_finding("nvme", "nvme-cli", nvme);
  const ToolVersion own = drivetest::nvme_version({nvme.output, "", nvme.status});
  if (finding.ok && own < drivetest::kOldestNvme) {
    finding.ok = false;
    finding.remedy = "install version 2.3 or newer of the package nvme-cli";
  }
  if (finding.ok) return finding;
  if (!is_needed) {
    finding.found += "; smartctl tests NVMe drives without it";
    finding.remedy.clear();
  } else if (!has_nvme_drives) {
    finding.found += "; no NVMe drive needs it";
    finding.remedy.clear();
  } else {
    finding.found += ", and smartctl older than 7.4 tests no NVMe drives";
  }
  finding.ok = !is_needed || !has_nvme_drives;
  return finding;
}

Finding history_finding(const std::string& folder) {
  const HistoryCheck check = drivetest::check_history(folder);
  switch (check.result) {
    case HistoryCheck::Result::Sound:
      return {"history", true, check.file, ""};
    case HistoryCheck::Result::NotThere:
      return {"history", true, check.file + ": made with the first test", ""};
    case HistoryCheck::Result::Hidden:
      return {"history", false, check.words, check.remedy, true};
    case HistoryCheck::Result::Unusable:
      break;
  }
  constexpr const char* kUntilThen = "until then drives are tested and nothing is kept";
  return {"history", false, check.words,
          check.remedy.empty() ? kUntilThen : check.remedy + "; " + kUntilThen};
}

}  // namespace cli
