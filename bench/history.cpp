// What a history of many tests costs its reader: it is opened as a command does, and asked for the
// last test of each of 24 drives, for the last ten of one, or to keep a test from beginning to end.
// The same in a history of a few tests is the floor.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <map>
#include <string>

#include "drivetest/database.h"
#include "drivetest/history.h"

namespace {

using drivetest::History;

constexpr int kDrives = 24;

drivetest::Drive drive(int number) {
  drivetest::Drive drive;
  drive.place.device = "/dev/sda";
  drive.model = "Example Disk";
  drive.serial_number = "S" + std::to_string(number);
  return drive;
}

class Histories {
 public:
  Histories() {
    std::string name = std::filesystem::temp_directory_path() / "hddtest_bench.XXXXXX";
    if (!mkdtemp(name.data())) std::abort();
    root_ = name;
  }
  ~Histories() { std::filesystem::remove_all(root_); }

  // A history of so many tests, which is made at the first call.
  drivetest::HistoryOptions of(std::int64_t tests) {
    drivetest::HistoryOptions options;
    options.folder = root_ / std::to_string(tests);
    options.host = {"0123456789abcdef0123456789abcdef", "host"};
    if (made_.emplace(tests, true).second) make(options, tests);
    return options;
  }

 private:
  static void make(const drivetest::HistoryOptions& options, std::int64_t tests) {
    History history(options);
    for (int number = 0; number < kDrives; ++number) {
      drivetest::TestRow row;
      row.number = history.begin(drive(number), row).number;
      row.outcome = drivetest::Outcome::Passed;
      history.update(row);
    }
    history.database().run(
        "WITH RECURSIVE n (i) AS (SELECT 25 UNION ALL SELECT i + 1 FROM n WHERE i < ?)"
        " INSERT INTO tests (id, drive, host_name, device, device_type, source, kind, test_code,"
        " recorded, started, ended, outcome, cause, result_code, hours)"
        " SELECT printf('%032x', i), 1 + i % 24, 'host', '/dev/sda', '', 'hddtest', 'short', 1,"
        " strftime('%Y-%m-%dT%H:%M:%SZ', 1000000000 + i, 'unixepoch'),"
        " strftime('%Y-%m-%dT%H:%M:%SZ', 1000000000 + i, 'unixepoch'),"
        " strftime('%Y-%m-%dT%H:%M:%SZ', 1000000120 + i, 'unixepoch'),"
        " 'passed', 'completed without error', 0, i / 24 FROM n",
        tests);
  }

  std::filesystem::path root_;
  std::map<std::int64_t, bool> made_;
};

Histories& histories() {
  static Histories all;
  return all;
}

template <class Ask>
void measure(benchmark::State& state, Ask ask) {
  const drivetest::HistoryOptions options = histories().of(state.range(0));
  for (auto _ : state) {
    History history(options);
    if (!ask(history)) state.SkipWithError("the history has not what it is to have");
  }
}

void last(benchmark::State& state) {
  measure(state, [](History& history) { return history.last_of_each_drive().size() == kDrives; });
}

void of_drive(benchmark::State& state) {
  measure(state,
          [](History& history) { return !history.of_drive(drive(5).identity(), 10).empty(); });
}

void test(benchmark::State& state) {
  measure(state, [](History& history) {
    drivetest::TestRow row;
    row.number = history.begin(drive(5), row).number;
    row.outcome = drivetest::Outcome::Passed;
    return history.update(row);
  });
}

BENCHMARK(last)->Arg(100)->Arg(1'000'000)->UseRealTime();
BENCHMARK(of_drive)->Arg(100)->Arg(1'000'000)->UseRealTime();
BENCHMARK(test)->Arg(100)->Arg(1'000'000)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
