// hddtest history: the tests of drives that are kept.
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <system_error>
#include <utility>

#include "cli/commands.h"
#include "cli/drive_tests.h"
#include "cli/failure.h"
#include "cli/json.h"
#include "cli/output.h"
#include "cli/table.h"
#include "cli/test_words.h"
#include "drivetest/history_json.h"
#include "drivetest/history_transfer.h"
#include "drivetest/time_text.h"

namespace cli {
namespace {

using drivetest::KeptTest;
using drivetest::TestRow;

struct HistoryArguments {
  std::vector<std::string> devices;
  int limit = 0;
  // One at most; a list, so that an empty text is told from none.
  std::vector<std::string> import;
  std::vector<std::string> forget_before;
};

constexpr const char* kFooter =
    "The newest test comes first. Those BY others were begun by another program, such as\n"
    "smartd or udisks, or by a person: the drives' own logs have shown them, and do not tell\n"
    "who it was; where nobody saw when they were, the power-on hour stands. With --json each test\n"
    "is a line of JSON, the oldest first, which --import takes over on this or another\n"
    "machine: all of a file or, where one line is wrong, nothing. Everything is kept until\n"
    "--forget-before DATE removes the tests that ended before that day began in UTC.\n"
    "The history is /var/lib/hvx/history.sqlite, or in the folder that HVX_STATE_DIR names;\n"
    "root sees it.\n"
    "Exit status: 0, or 3 if the history cannot be read or written.";

// A name by which no test was found as that of a drive which is there. It may be that of one which
// is gone, or of another machine.
struct Untested {
  std::string name;      // as the user wrote it
  std::string device{};  // the path that it is or may be; empty: none, or a drive has it now
  std::string by_id{};   // the last name of a path of /dev/disk/by-id; empty: it is none
  bool is_there = false;
};

Untested untested(const ChosenDrive& drive) {
  Untested one{.name = drive.name, .is_there = !drive.known.place.device.empty()};
  if (one.is_there) return one;
  one.device = drive.place.device;
  // Where nothing is there any more, the path of a drive is told from a serial number with a '/' by
  // the tests that are kept.
  std::error_code error;
  if (one.device.empty())
    one.device = one.name.find('/') == std::string::npos
                     ? "/dev/" + one.name
                     : drivetest::path_named("./" + one.name, std::filesystem::current_path(error));
  const std::filesystem::path path = one.device;
  if (path.parent_path() == "/dev/disk/by-id") one.by_id = path.filename();
  return one;
}

// Of a drive that cannot say which one it is, also those that may be its own, and a word on that.
std::vector<KeptTest> tests_of(DriveTests& tests, ChosenDrive& drive, bool is_there,
                               std::size_t limit) {
  const drivetest::Look look = tests.look_of(drive, false).look;
  std::vector<KeptTest> found = tests.history().of_drive(tests.identity_of(drive, look), limit);
  if (!is_there || DriveTests::is_known(look)) return found;
  const std::vector<KeptTest> at_place = tests.tests_at(look);
  const bool rests = look.fault == drivetest::LookFault::Standby;
  complain(drive.shown_name() + ": " +
           (at_place.empty() ? "" : "the tests that were made at this device are shown: ") +
           "the drive cannot be asked now which one it is: " +
           (rests ? "it is in standby" : fault_text(look)));
  found.insert(found.end(), at_place.begin(), at_place.end());
  return found;
}

// The newest first.
std::vector<KeptTest> tests_to_show(DriveTests& tests, const HistoryArguments& options) {
  drivetest::History& history = tests.history();
  const std::size_t limit = options.limit > 0 ? static_cast<std::size_t>(options.limit) : SIZE_MAX;
  // Rows that were imported may be older than what was here before them.
  std::map<std::pair<drivetest::Time, std::int64_t>, KeptTest, std::greater<>> kept;
  const auto keep = [&](const KeptTest& test) {
    kept.emplace(std::pair(test.row.recorded, test.row.number), test);
    if (kept.size() > limit) kept.erase(std::prev(kept.end()));
  };
  if (options.devices.empty()) history.each(keep);
  std::vector<Untested> left;
  if (!options.devices.empty()) {
    for (ChosenDrive& drive : tests.choose(options.devices, "", false)) {
      const bool is_there = !drive.known.place.device.empty();
      std::vector<KeptTest> found;
      if (drive.reason.empty()) found = tests_of(tests, drive, is_there, limit);
      if (found.empty()) left.push_back(untested(drive));
      for (const KeptTest& test : found) keep(test);
    }
  }
  for (const Untested& one : left) {
    std::vector<KeptTest> found = history.of_drives_named(one.name, limit);
    if (!one.device.empty())
      for (KeptTest& test : history.at_device(one.device)) found.push_back(std::move(test));
    if (!one.by_id.empty())
      for (KeptTest& test : history.of_drives_named(one.by_id, limit))
        found.push_back(std::move(test));
    // A typing error must not look like a drive that was never tested.
    if (found.empty() && !one.is_there)
      throw CommandFailure(one.name + ": " + kNoSuchDrive + ", and no test of one is kept" +
                           kShowsAll);
    for (const KeptTest& test : found) keep(test);
  }
  std::vector<KeptTest> shown;
  for (auto& [place, test] : kept) shown.push_back(std::move(test));
  return shown;
}

std::string when(const TestRow& row) {
  if (row.started) return local_time_text(*row.started);
  if (row.ended) return local_time_text(*row.ended);
  if (row.hours) return fmt::format("hour {}", *row.hours);
  return "";
}

std::string table(const std::vector<KeptTest>& kept, const Output& output) {
  std::vector<std::vector<TableCell>> rows;
  for (const KeptTest& test : kept) {
    rows.push_back(
        {{when(test.row)},
         {shown_name(test.row.place.device, test.row.place)},
         {test.drive.model},
         {test.drive.serial_number},
         {kind_text(test.row)},
         {test.row.source == drivetest::Source::Other ? "others" : starter_text(test.row)},
         {outcome_text(test.row), colour_of(test.row), result_word(test.row)}});
  }
  return table_text({{"WHEN"},
                     {"DEVICE"},
                     {.title = "MODEL", .shortened = 1, .left_out = 1},
                     {.title = "SERIAL", .shortened = 2, .left_out = 3},
                     {"TEST"},
                     {.title = "BY", .left_out = 2},
                     {"RESULT"}},
                    rows, output);
}

std::string tests_text(std::size_t count) {
  return fmt::format("{} {}", count, count == 1 ? "test" : "tests");
}

drivetest::ImportCounts import(DriveTests& tests, const std::string& name) {
  if (name.empty()) throw WrongCommandLine("--import needs the name of a file");
  // A folder can be opened as a file is, and reads as if it were empty.
  std::error_code error;
  if (std::filesystem::is_directory(name, error)) throw CommandFailure(name + ": this is a folder");
  std::ifstream file(name, std::ios::binary);
  if (!file) throw CommandFailure(name + ": " + std::generic_category().message(errno));
  try {
    return import_history(tests.history(), file);
  } catch (const drivetest::TransferError& transfer_error) {
    throw CommandFailure(name + ": " + transfer_error.what());
  }
}

drivetest::Time day_of(const std::string& date) {
  const auto time = drivetest::time_from_text(date + "T00:00:00Z");
  if (!time)
    throw WrongCommandLine("'" + date + "' is not a date; --forget-before takes one such as " +
                           "2025-12-31");
  // A typing error in the year would remove everything.
  if (*time > drivetest::system_time())
    throw WrongCommandLine("'" + date + "' lies ahead; --forget-before takes a day that has begun");
  return *time;
}

// What is wrong with the command line is said before anything changes.
void change(DriveTests& tests, const HistoryArguments& options, bool json) {
  if (options.import.size() > 1 || (!options.import.empty() && !options.devices.empty()))
    throw WrongCommandLine(
        "--import takes one FILE, and no DEVICE: name other files in calls of their own");
  if (options.forget_before.size() > 1 || !options.devices.empty())
    throw WrongCommandLine("--forget-before takes one DATE, and no DEVICE: leave out the others");
  if (options.limit > 0)
    throw WrongCommandLine(
        "--import and --forget-before are about the whole history: leave out --limit");
  std::optional<drivetest::Time> day;
  if (!options.forget_before.empty()) day = day_of(options.forget_before.front());
  // Not null at first: to make that an object without memory leaves it in a state in which its
  // destructor crashes (nlohmann 3.11).
  Json numbers = Json::object();
  std::string text;
  if (!options.import.empty()) {
    const drivetest::ImportCounts counts = import(tests, options.import.front());
    numbers = {{"added", counts.added},
               {"ended", counts.ended},
               {"unchanged", counts.unchanged},
               {"different", counts.different}};
    text = fmt::format("{} taken over, {} ended, {} known already, {} kept as they were\n",
                       tests_text(counts.added), counts.ended, counts.unchanged, counts.different);
  }
  if (day) {
    const std::size_t count = tests.history().forget_before(*day);
    numbers["removed"] = count;
    text += tests_text(count) + " removed\n";
  }
  standard_output().write(json ? dump(numbers) : text);
}

void list(DriveTests& tests, const HistoryArguments& options, bool json) {
  const std::vector<KeptTest> kept = tests_to_show(tests, options);
  Output& output = standard_output();
  if (json)
    std::for_each(kept.rbegin(), kept.rend(),
                  [&](const KeptTest& test) { output.write(drivetest::json_line(test) + "\n"); });
  else
    output.write(kept.empty() ? "No test is kept.\n" : table(kept, output));
}

// A line, as each test is.
std::string failure(const std::string&, const std::string& reason) {
  return Json({{"reason", reason}}).dump(-1, ' ', true, Json::error_handler_t::replace) + "\n";
}

int history(const HistoryArguments& options, bool json) {
  DriveTests tests;
  if (options.import.empty() && options.forget_before.empty())
    list(tests, options, json);
  else
    change(tests, options, json);
  tests.tell_of_history();
  return kStatusOk;
}

}  // namespace

Command history_command(const Invocation& invocation) {
  auto options = std::make_shared<HistoryArguments>();
  return {
      "history",
      "Lists the tests of drives that are kept.",
      kFooter,
      {{"DEVICE", &options->devices, "Drives: a device, a serial number or a by-id name"},
       {"--limit", Number{&options->limit, 0, 1'000'000'000}, "The newest N tests; 0: all", "N"},
       {"--import", &options->import, "Take over the tests of a file", "FILE"},
       {"--forget-before", &options->forget_before, "Remove tests, such as 2025-12-31", "DATE"}},
      [&invocation, options] { return history(*options, invocation.json); },
      failure};
}

}  // namespace cli
