#include "cli/test_advice.h"

#include "cli/pull.h"
#include "drivetest/outcome.h"

namespace cli {

using drivetest::Drive;
using drivetest::Outcome;
using drivetest::Protocol;
using drivetest::TestRow;

namespace {

// The codes for a reset: ATA 2 also after a loss of power, SCSI 2, NVMe 2.
constexpr int kReset = 2;

std::string abort_advice(const Drive& drive, int code) {
  const bool is_by_host = code == drivetest::kAbortedByHost;
  if (drive.protocol == Protocol::Ata && drive.is_on_usb && (is_by_host || code == kReset))
    return "keep it awake during the test: switch the sleep timer of its USB bridge off, or read "
           "from it every minute, as 'dd if=" +
           drive.place.device + " of=/dev/null bs=4096 count=1 iflag=direct' does; then test again";
  if (is_by_host)
    return drive.protocol == Protocol::Ata
               ? "another program or a person ended the test, or the drive was sent to standby, as "
                 "hd-idle and 'hdparm -S' do; keep it awake and test again"
               : "another program or a person ended the test; test again";
  if (code == kReset)
    return "the drive was reset or lost its power; 'journalctl -k' may say why; test again, and "
           "check cable and power if that happens once more";
  return {};
}

}  // namespace

std::string test_advice(const Drive& drive, const TestRow& row) {
  if (row.outcome == Outcome::Failed) {
    const std::string pull = pull_text(drive.place, drive.model, drive.serial_number);
    return "back up its data, then replace it" + (pull.empty() ? "" : ": " + pull);
  }
  const bool is_own_wish = row.cause.find("hddtest") != std::string::npos;
  if (row.outcome == Outcome::Aborted && row.result_code && !is_own_wish)
    return abort_advice(drive, *row.result_code);
  return {};
}

}  // namespace cli
