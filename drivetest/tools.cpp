#include "drivetest/tools.h"

#include "drivetest/bay.h"
#include "drivetest/inability.h"
#include "drivetest/kernel_name.h"
#include "drivetest/nvme_report.h"
#include "drivetest/start_report.h"
#include "inventory/sysfs.h"
#include "platform/support/osspecific.h"
#include "platform/support/program.h"

namespace drivetest {

namespace {

using Arguments = std::vector<std::string>;

constexpr char kSmartctl[] = "smartctl";
constexpr char kNvme[] = "nvme";

bool is_installed(const char* tool) { return !NKVRHVX20::find_program(tool).empty(); }

std::string how_to_install(const char* tool) {
  return std::string(tool) + " is not installed (package " +
         (tool == kNvme ? "nvme-cli" : "smartmontools") + ")";
}

ToolOutput run(const char* tool, const Arguments& arguments) {
  const std::string path = NKVRHVX20::find_program(tool);
  if (path.empty()) return {"", how_to_install(tool), -1};
  Arguments all = {"LC_ALL=C", path};
  all.insert(all.end(), arguments.begin(), arguments.end());
  ToolOutput output;
  output.exit_status = NKVRHVX20::TOSSpecific::SpawnProcess(
      "env", std::move(all), output.text, output.errors, static_cast<int>(kLongestAnswer.count()));
  if (output.exit_status < 0 && output.errors.empty())
    output.errors =
        std::string(tool) + " could not be started, did not end within a minute, or was killed";
  return output;
}

// The device last, as smartctl and nvme want it. It is no option, since it begins with a slash.
Arguments with_place(Arguments arguments, const Place& place) {
  if (!place.type.empty()) arguments.insert(arguments.end(), {"-d", place.type});
  arguments.push_back(place.device);
  return arguments;
}

Look failed_look(const Place& place, LookFault fault, std::string reason) {
  Look look;
  look.drive.place = place;
  look.fault = fault;
  look.reason = std::move(reason);
  return look;
}

// smartctl goes by names. A disk of which it knows nothing by its name, such as /dev/vda, is a
// virtual one, or memory. A path that is no disk at all stays a fault.
void settle_unknown_kind(Look& look) {
  const std::string& device = look.drive.place.device;
  if (!look.reason.ends_with(": Unable to detect device type")) return;
  const std::string disk = "/sys/block/" + device.substr(device.rfind('/') + 1);
  if (inventory::Sysfs().target(disk).empty()) return;
  look.fault = LookFault::None;
  look.reason.clear();
  look.inability = "smartctl does not know this kind of device";
}

bool is_nvme_node(const std::string& device) { return device.starts_with("/dev/nvme"); }

// What keeps a drive from being asked anything; empty: nothing.
std::string why_not_asked(const Place& place) {
  if (!place.device.starts_with("/")) return "this is no path of a device";
  return is_writing_type(place.type) ? inability_of_type(place.type) : std::string();
}

// All of a look in one run: what the drive says of itself, what it can, its hours, both logs.
Arguments look_arguments(bool wake, bool has_readable_log) {
  Arguments arguments = {"--json=o", "-i", "-c", "-A"};
  if (has_readable_log)
    arguments.insert(arguments.end(), {"-l", "selftest", "-l", "xselftest,selftest"});
  if (!wake) arguments.insert(arguments.end(), {"-n", "standby,3"});
  return arguments;
}

const char* smartctl_name(TestKind kind) {
  switch (kind) {
    case TestKind::Short:
      return "short";
    case TestKind::Long:
      return "long";
    case TestKind::Conveyance:
      break;
  }
  return "conveyance";
}

// Without one for the kinds that NVMe does not have.
const char* nvme_code(TestKind kind) {
  switch (kind) {
    case TestKind::Short:
      return "1";
    case TestKind::Long:
      return "2";
    case TestKind::Conveyance:
      break;
  }
  return "";
}

}  // namespace

ToolVersion Tools::smartctl_version() {
  const std::lock_guard guard(lock_);
  if (smartctl_ == ToolVersion{})
    smartctl_ = drivetest::smartctl_version(run(kSmartctl, {"--version"}));
  return smartctl_;
}

ToolVersion Tools::nvme_version() {
  const std::lock_guard guard(lock_);
  if (nvme_ == ToolVersion{}) nvme_ = drivetest::nvme_version(run(kNvme, {"version"}));
  return nvme_;
}

// nvme alone tells how long the long test takes. Of a new smartctl nothing else is missing, and
// then it does not matter if nvme is missing, or refuses.
void Tools::ask_nvme(Look& look, ToolVersion smartctl) {
  const Place& place = look.drive.place;
  const bool is_needed = smartctl < kFirstSmartctlOfNvmeTests;
  if (!is_nvme_node(place.device)) {
    if (is_needed && look.inability.empty())
      look.inability = "smartctl tests no NVMe drives behind a bridge before version 7.4";
    return;
  }
  if (is_needed && !is_installed(kNvme)) {
    look.fault = LookFault::ToolMissing;
    look.reason =
        how_to_install(kNvme) + ", which tests NVMe drives where smartctl is older than 7.4";
    return;
  }
  const ToolOutput identity = run(kNvme, {"id-ctrl", place.device, "-o", "json"});
  if (is_needed || identity.exit_status == 0) add_nvme_identity(look, identity);
  if (!is_needed) return;
  const ToolVersion version = nvme_version();
  if (version == ToolVersion{}) {
    look.fault = LookFault::CannotBeReached;
    look.reason = "nvme does not say its version";
    return;
  }
  if (version < kOldestNvme) {
    look.fault = LookFault::ToolTooOld;
    look.reason = "nvme is too old: version 2.3 is needed (package nvme-cli)";
    return;
  }
  add_nvme_log(look, run(kNvme, {"self-test-log", place.device, "-o", "json"}));
}

Look Tools::look(const Place& place, bool wake) {
  if (std::string why = why_not_asked(place); !why.empty())
    return failed_look(place, LookFault::CannotBeReached, std::move(why));
  if (!is_installed(kSmartctl))
    return failed_look(place, LookFault::ToolMissing, how_to_install(kSmartctl));
  // To read the log through this bridge resets it, unless smartctl knows the way round.
  const bool is_log_readable =
      !place.type.starts_with("sntjmicron") || smartctl_version() >= ToolVersion{7, 5};
  const ToolOutput output =
      run(kSmartctl, with_place(look_arguments(wake, is_log_readable), place));
  SmartctlReport report = read_smartctl(place, output);
  Look& look = report.look;
  look.drive.is_on_usb = is_on_usb(place);
  const bool has_one_name = look.drive.protocol != Protocol::Nvme || report.has_one_namespace;
  if (look.drive.world_wide_name.empty() && has_one_name)
    look.drive.world_wide_name = kernel_name_of(look.drive);
  if (!look.drive.is_rotational) look.drive.is_rotational = kernel_rotation_of(look.drive);
  if (output.exit_status < 0) {
    look.fault = LookFault::CannotBeReached;
    look.reason = output.errors;
  }
  if (look.fault == LookFault::None && look.drive.protocol == Protocol::Nvme)
    ask_nvme(look, report.version);
  settle_unknown_kind(look);
  settle(look);
  return look;
}

ToolReply Tools::tell(const Drive& drive, const Arguments& of_smartctl,
                      const std::string& of_nvme) {
  if (std::string why = why_not_asked(drive.place); !why.empty())
    return {ToolAnswer::NotAsked, why};
  const bool needs_nvme = drive.protocol == Protocol::Nvme && is_nvme_node(drive.place.device) &&
                          smartctl_version() < kFirstSmartctlOfNvmeTests;
  const char* const tool = needs_nvme ? kNvme : kSmartctl;
  if (!is_installed(tool)) return {ToolAnswer::NotAsked, how_to_install(tool)};
  if (needs_nvme && of_nvme.empty()) return {ToolAnswer::NotSupported, "NVMe has no such test"};
  return read_reply(needs_nvme ? run(kNvme, {"device-self-test", drive.place.device, "-s", of_nvme})
                               : run(kSmartctl, with_place(of_smartctl, drive.place)));
}

ToolReply Tools::start(const Drive& drive, TestKind kind) {
  return tell(drive, {"--json=o", "-t", smartctl_name(kind)}, nvme_code(kind));
}

// smartctl, too, asks the drive whether a test runs.
ToolReply Tools::start_in_doubt(const Drive& drive, TestKind kind) {
  return tell(drive, {"--json=o", "-t", "force", "-t", smartctl_name(kind)}, nvme_code(kind));
}

ToolReply Tools::stop(const Drive& drive) { return tell(drive, {"--json=o", "-X"}, "0xf"); }

ToolOutput Tools::scan() { return run(kSmartctl, {"--json=o", "--scan-open"}); }

}  // namespace drivetest
