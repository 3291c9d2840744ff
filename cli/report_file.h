// The history of a machine from a file, as 'hddtest history --json' has printed it there.
#pragma once

#include <cstddef>
#include <istream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "cli/report_drive.h"

namespace cli {

// What a file may have at most, so that a wrong one does no harm.
struct FileLimits {
  std::size_t line = std::size_t{256} * 1024;  // bytes
  std::size_t file = std::size_t{4} << 30;     // bytes
  std::size_t drives = 4096;
};

// Why the file is none of a machine. Its words have the number of the line; they may quote the
// file, without effect on a terminal.
class MachineFileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct MachineHistory {
  std::string machine_id;             // empty where the file has no test, or the machine no id
  std::vector<ReportedDrive> drives;  // in the order in which the file names them first
  std::size_t tests_elsewhere = 0;    // of other machines, which are left out
  std::size_t dated_ahead = 0;        // tests of the machine, by a clock that was wrong
  drivetest::Time told{};             // the last time that the file tells of
};

// Reads line after line and keeps what a page shows. A history may hold tests that were taken over
// from other machines. The file is that of the machine whose host name is the file's, whole or up
// to the first dot; of several, which is one that was set up anew, that of the newest test. Where
// no machine is called so, it is the one with the most tests. A file that has a line with anything
// else than a test is refused as a whole, since what is missing may be the worst. Dates that lie
// ahead of `now` are taken out of the tests. Throws MachineFileError.
MachineHistory read_machine_history(std::istream& file, std::string_view name, drivetest::Time now,
                                    const FileLimits& limits = {});

}  // namespace cli
