// The real way to drives: smartctl of smartmontools, and nvme of nvme-cli where smartctl is too old
// for the self-tests of NVMe drives.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/drive_access.h"
#include "drivetest/smartctl_report.h"
#include "drivetest/tool_output.h"

namespace drivetest {

// Programs are looked up as the support library does (PATH, then /usr/sbin and so on), and run
// with LC_ALL=C, since their messages are read. Each run is ended after a minute. From any thread.
class Tools : public DriveAccess {
 public:
  Look look(const Place& place, bool wake) override;
  ToolReply start(const Drive& drive, TestKind kind) override;
  ToolReply start_in_doubt(const Drive& drive, TestKind kind) override;
  ToolReply stop(const Drive& drive) override;

  // What "smartctl --scan-open" prints as JSON.
  ToolOutput scan();

 private:
  ToolVersion smartctl_version();
  ToolVersion nvme_version();
  void ask_nvme(Look& look, ToolVersion smartctl);
  ToolReply tell(const Drive& drive, const std::vector<std::string>& of_smartctl,
                 const std::string& of_nvme);

  std::mutex lock_;
  ToolVersion smartctl_;  // once it is known
  ToolVersion nvme_;
};

}  // namespace drivetest
