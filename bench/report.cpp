// What the page of a fleet costs: a machine of 24 drives with two years of weekly tests, whose file
// is read, and the page where more drives need somebody than it has room for. Reading the lines of
// the same file is the floor.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <istream>
#include <sstream>
#include <string>

#include "cli/report_fleet.h"
#include "drivetest/history_json.h"

namespace {

using drivetest::KeptTest;
using drivetest::Outcome;
using drivetest::TestKind;
using std::chrono::days;
using std::chrono::minutes;

constexpr drivetest::Time kNow{std::chrono::seconds(1'800'000'000)};
constexpr int kDrives = 24;
constexpr int kWeeks = 104;

KeptTest test(int drive, int week, Outcome outcome) {
  KeptTest test;
  test.drive.protocol = drivetest::Protocol::Ata;
  test.drive.model = "Example Disk 8000";
  test.drive.serial_number = fmt::format("EX{:06}", drive);
  test.drive.firmware = "1.0";
  test.drive.world_wide_name = fmt::format("wwn-0x5000c500{:08x}", drive);
  test.drive.size = 8'001'563'222'016;
  test.drive.is_rotational = true;
  drivetest::TestRow& row = test.row;
  row.number = week * kDrives + drive + 1;
  row.id = fmt::format("{:032x}", row.number);
  row.machine_id = std::string(32, 'a');
  row.host_name = "host";
  row.drive = test.drive.world_wide_name;
  row.place.device = "/dev/sda";
  row.kind = week % 4 == 3 ? TestKind::Long : TestKind::Short;
  row.test_code = 1;
  row.recorded = kNow - days(7 * (kWeeks - week));
  row.started = row.looked = row.progressed = row.recorded;
  row.ended = row.recorded + minutes(2);
  row.remaining_percent = 10;
  row.outcome = outcome;
  row.cause = outcome == Outcome::Failed ? "read failure" : "completed without error";
  row.result_code = outcome == Outcome::Failed ? 7 : 0;
  row.hours = row.hours_at_start = 20'000 + 168 * static_cast<std::uint64_t>(week);
  return test;
}

std::string history(Outcome outcome) {
  std::string text;
  for (int week = 0; week < kWeeks; ++week)
    for (int drive = 0; drive < kDrives; ++drive)
      text += json_line(test(drive, week, outcome)) + "\n";
  return text;
}

void machine(benchmark::State& state) {
  const std::string text = history(Outcome::Passed);
  for (auto _ : state) {
    std::istringstream file(text);
    cli::FleetReport fleet(kNow);
    fleet.add("machine", cli::read_machine_history(file, "machine", kNow));
    benchmark::DoNotOptimize(fleet);
  }
}

void lines(benchmark::State& state) {
  const std::string text = history(Outcome::Passed);
  std::string line;
  for (auto _ : state) {
    std::istringstream file(text);
    std::size_t count = 0;
    while (std::getline(file, line)) ++count;
    if (count != std::size_t{kDrives} * kWeeks) state.SkipWithError("lines are missing");
  }
}

void page(benchmark::State& state) {
  std::istringstream file(history(Outcome::Failed));
  const cli::MachineHistory one = cli::read_machine_history(file, "machine", kNow);
  cli::FleetReport fleet(kNow);
  for (int number = 0; number < 1000; ++number) fleet.add(fmt::format("machine{}", number), one);
  std::size_t size = 0;
  for (auto _ : state) size = fleet.page().size();
  state.counters["page_bytes"] = static_cast<double>(size);
}

BENCHMARK(machine)->UseRealTime();
BENCHMARK(lines)->UseRealTime();
BENCHMARK(page)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
