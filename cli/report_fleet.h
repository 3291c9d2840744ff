// One page of many machines, of which each is known by a file. Machines are handed in one after the
// other; of each a line is kept, and of all their drives those that need somebody most.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "cli/report_file.h"
#include "cli/report_page.h"

namespace cli {

class FleetReport {
 public:
  // Drives that have room on the page in full; 5 MB are enough for them.
  static constexpr std::size_t kMostInFull = 500;

  explicit FleetReport(drivetest::Time now) : now_(now) {}

  // Returns what is to be told of the file, in words; empty as a rule.
  std::string add(const std::string& name, MachineHistory history);
  // A machine whose file could not be read, and why.
  void add_unread(const std::string& name, const std::string& fault);

  std::string page() const;

 private:
  drivetest::Time now_;
  std::vector<ReportedMachine> machines_;
  std::map<std::string, std::string> names_;  // of machines, by their ids
  std::multiset<JudgedDrive, bool (*)(const JudgedDrive&, const JudgedDrive&)> needy_{is_graver};
  std::size_t left_out_ = 0;
};

// The files that are meant: those that are named, and of a folder those in it that end in .json or
// .jsonl, by name. Throws CommandFailure for a folder that cannot be read or has none.
std::vector<std::string> files_of(const std::vector<std::string>& names);

// Reads all files, tells on standard error of those that are no such history, and makes the page.
// is_whole: all files could be read.
struct Report {
  std::string page;
  bool is_whole = true;
};
Report report_of_files(const std::vector<std::string>& files, drivetest::Time now);

}  // namespace cli
