// Histories of many tests of 24 drives, for what asks them.
#pragma once

#include <fmt/format.h>

#include <filesystem>
#include <set>
#include <string>

#include "drivetest/database.h"
#include "drivetest/history.h"
#include "tests/scratch_folder.h"

namespace bench {

constexpr int kDrives = 24;

// The name that the drive says it has, without what others put before it.
inline std::string world_wide_name(int number) { return fmt::format("5000c500a1b2{:04x}", number); }

inline drivetest::Drive drive(int number) {
  drivetest::Drive drive;
  drive.place.device = "/dev/sda";
  drive.model = "Example Disk";
  drive.serial_number = fmt::format("EX{:04}", number);
  drive.world_wide_name = "wwn-0x" + world_wide_name(number);
  return drive;
}

// Folders with a history each, removed at the end.
class Histories {
 public:
  // A folder with a history of so many tests, as many of each of the first `drives` drives. It is
  // made at the first call.
  std::string folder(std::int64_t tests, int drives = kDrives) {
    drivetest::HistoryOptions options;
    options.folder = root_.path() / fmt::format("{}of{}", tests, drives);
    if (made_.insert(options.folder).second) make(options, tests, drives);
    return options.folder;
  }

 private:
  static void make(const drivetest::HistoryOptions& options, std::int64_t tests, int drives) {
    drivetest::History history(options);
    for (int number = 0; number < drives; ++number) {
      drivetest::TestRow row;
      row.number = history.begin(drive(number), row).number;
      row.outcome = drivetest::Outcome::Passed;
      history.update(row);
    }
    history.database().run(
        "WITH RECURSIVE n (i) AS (SELECT 1 + ? UNION ALL SELECT i + 1 FROM n WHERE i < ?)"
        " INSERT INTO tests (id, drive, host_name, device, device_type, source, kind, test_code,"
        " recorded, started, ended, outcome, cause, result_code, hours)"
        " SELECT printf('%032x', i), 1 + i % ?, 'host', '/dev/sda', '', 'hddtest', 'short', 1,"
        " strftime('%Y-%m-%dT%H:%M:%SZ', 1000000000 + i, 'unixepoch'),"
        " strftime('%Y-%m-%dT%H:%M:%SZ', 1000000000 + i, 'unixepoch'),"
        " strftime('%Y-%m-%dT%H:%M:%SZ', 1000000120 + i, 'unixepoch'),"
        " 'passed', 'completed without error', 0, i / 24 FROM n",
        std::int64_t{drives}, tests, std::int64_t{drives});
  }

  ScratchFolder root_;
  std::set<std::string> made_;
};

inline Histories& histories() {
  static Histories all;
  return all;
}

}  // namespace bench
