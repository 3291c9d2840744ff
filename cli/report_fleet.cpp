#include "cli/report_fleet.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

#include "cli/failure.h"
#include "cli/output.h"
#include "cli/report_text.h"
#include "cli/wrong_dates.h"

namespace cli {

using drivetest::Time;

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kEndings[] = {".json", ".jsonl"};

bool has_ending(const fs::path& file) {
  return std::find(std::begin(kEndings), std::end(kEndings), file.extension().string()) !=
         std::end(kEndings);
}

// The file's name without its ending and folder: the machine's.
std::string machine_of(const fs::path& file) {
  return has_ending(file) ? file.stem().string() : file.filename().string();
}

std::vector<std::string> files_in(const fs::path& folder) {
  std::vector<std::string> files;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const fs::path& file = entry->path();
    std::error_code ignored;
    if (has_ending(file) && !file.filename().string().starts_with('.') &&
        fs::is_regular_file(file, ignored))
      files.push_back(file.string());
  }
  if (error) throw CommandFailure(folder.string() + ": " + error.message());
  if (files.empty())
    throw CommandFailure(folder.string() + ": there is no file in it that ends in .json or .jsonl");
  std::sort(files.begin(), files.end());
  return files;
}

MachineHistory read_file(const std::string& name, const std::string& machine, Time now) {
  std::ifstream file;
  // Reads go into the reader's own, larger buffer.
  file.rdbuf()->pubsetbuf(nullptr, 0);
  file.open(name, std::ios::binary);
  if (!file) throw MachineFileError(std::generic_category().message(errno));
  return read_machine_history(file, machine, now);
}

}  // namespace

std::string FleetReport::add(const std::string& name, MachineHistory history) {
  ReportedMachine machine;
  machine.name = name;
  machine.told = history.told;
  std::string told;
  if (!history.machine_id.empty()) {
    const auto [first, is_new] = names_.try_emplace(history.machine_id, name);
    if (!is_new) {
      told = "it has the machine id of " + first->second +
             ": that is the same machine once more, or a copy of it";
      machine.notes.push_back("Has the machine id of " + first->second + ".");
    }
  }
  if (history.tests_elsewhere > 0)
    machine.notes.push_back(fmt::format("{} {} of other machines left out.",
                                        history.tests_elsewhere,
                                        history.tests_elsewhere == 1 ? "test" : "tests"));
  if (history.dated_ahead > 0)
    machine.notes.push_back(sentence(dated_ahead_text(history.dated_ahead)));
  if (history.drives.empty())
    machine.notes.emplace_back("No test is in its file: none is kept, or it was not fetched.");
  for (ReportedDrive& drive : history.drives) {
    drive.machine = name;
    Attention attention = attention_of(drive, now_, history.told);
    ++machine.counts[static_cast<std::size_t>(attention.need)];
    if (!is_needy(attention.need)) continue;
    needy_.insert({std::move(drive), std::move(attention)});
    if (needy_.size() <= kMostInFull) continue;
    needy_.erase(std::prev(needy_.end()));
    ++left_out_;
  }
  machines_.push_back(std::move(machine));
  return told;
}

void FleetReport::add_unread(const std::string& name, const std::string& fault) {
  ReportedMachine machine;
  machine.name = name;
  machine.fault = fault;
  machines_.push_back(std::move(machine));
}

std::string FleetReport::page() const {
  return fleet_page(machines_, {needy_.begin(), needy_.end()}, left_out_, now_);
}

std::vector<std::string> files_of(const std::vector<std::string>& names) {
  std::vector<std::string> files;
  for (const std::string& name : names) {
    std::error_code error;
    if (fs::is_directory(name, error)) {
      const std::vector<std::string> found = files_in(name);
      files.insert(files.end(), found.begin(), found.end());
    } else {
      files.push_back(name);
    }
  }
  return files;
}

Report report_of_files(const std::vector<std::string>& files, Time now) {
  FleetReport fleet(now);
  Report report;
  std::set<std::string> names;
  for (const std::string& file : files) {
    const std::string machine = machine_of(file);
    // Files of one name in several folders are told apart by their folders.
    const std::string name = names.insert(machine).second ? machine : file;
    try {
      const std::string told = fleet.add(name, read_file(file, machine, now));
      if (!told.empty()) complain(fmt::format("{}: {}", file, told));
    } catch (const MachineFileError& error) {
      complain(file + ": " + error.what());
      fleet.add_unread(name, error.what());
      report.is_whole = false;
    }
  }
  report.page = fleet.page();
  return report;
}

}  // namespace cli
