// The page of a report: HTML that stands alone, without scripts and without anything that a browser
// would have to fetch. It is read on phones, in the dark and on paper, and by those who cannot see
// it. A policy in its head forbids the rest, should a text from outside ever get through.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "cli/report_attention.h"
#include "cli/report_drive.h"

namespace cli {

// A drive with what is to be said of it.
struct JudgedDrive {
  ReportedDrive drive;
  Attention attention;
};

// The gravest first, and among equals those that were heard of last.
bool is_graver(const JudgedDrive& one, const JudgedDrive& other);

// The page of one machine: the drives that need somebody, then the others. `notes` are sentences
// that stand above them.
std::string machine_page(const std::string& machine, std::vector<JudgedDrive> drives,
                         const std::vector<std::string>& notes, drivetest::Time now);

// A machine of many.
struct ReportedMachine {
  std::string name;
  std::string fault;  // why its drives are not shown; empty: they are
  std::vector<std::string> notes{};
  std::array<std::size_t, kNeeds> counts{};  // of drives, by Need
  drivetest::Time told{};                    // the last time that its history tells of

  std::size_t drives() const;
  Need gravest() const;
};

// The page of many machines. `drives` are those that need somebody and have room on the page;
// `left_out` is how many have none and stand in the counts alone.
std::string fleet_page(std::vector<ReportedMachine> machines,
                       const std::vector<JudgedDrive>& drives, std::size_t left_out,
                       drivetest::Time now);

}  // namespace cli
