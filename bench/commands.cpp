// What commands take on a machine of 24 drives, which are the stand-in's below the real smartctl:
//
//   status/TESTS        'hddtest status', with a history of so many tests
//   history/TESTS       'hddtest history --limit 4 DEVICE', likewise
//   untested/TESTS      'hddtest history DEVICE' of a drive that no test is kept of
//   gone/TESTS          'hddtest history DEVICE' of a device that is there no more
//   first_line/SLOW     until 'hddtest drives' has written its first line, so many drives being
//   slow first_drive/SLOW    until it has written the line of the first drive that it shows
//   look/NVME           'hddtest status', with a new history and so many NVMe drives among them;
//   all
//                       drives take a while for an answer
//   longest_call/NVME   the longest call of smartctl that it makes there, alone: the search for the
//                       drives or the look at one of either kind
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "bench/standin_machine.h"

namespace {

using bench::histories;
using bench::kDrives;
using bench::Program;
using bench::StandInMachine;

const std::string kProgram = HDDTEST_PROGRAM;

// A command that is to write so many lines below its titles, over this history.
void measure(benchmark::State& state, const std::string& history, std::vector<std::string> words,
             int lines) {
  const StandInMachine machine;
  setenv("HVX_STATE_DIR", history.c_str(), 1);
  words.insert(words.begin(), kProgram);
  for (auto _ : state) {
    Program program(words);
    const int written = program.lines();
    if (written != lines + 1) state.SkipWithError("it writes other lines than it should");
  }
}

void status(benchmark::State& state) {
  measure(state, histories().folder(state.range(0)), {"status"}, kDrives);
}

void history(benchmark::State& state) {
  measure(state, histories().folder(state.range(0)),
          {"history", "--limit", "4", StandInMachine::node(5)}, 4);
}

void untested(benchmark::State& state) {
  // "No test is kept."
  measure(state, histories().folder(state.range(0), kDrives - 1),
          {"history", StandInMachine::node(kDrives - 1)}, 0);
}

// A test of a drive that this machine does not have.
drivetest::Drive keep_gone(const std::string& folder) {
  drivetest::HistoryOptions options;
  options.folder = folder;
  drivetest::History history(options);
  drivetest::Drive drive = bench::drive(kDrives);
  drive.place.device = "/dev/sdz";
  if (!history.of_drive(drive.identity(), 1).empty()) return drive;
  drivetest::TestRow row;
  row.place = drive.place;
  row.number = history.begin(drive, row).number;
  row.outcome = drivetest::Outcome::Passed;
  history.update(row);
  return drive;
}

void gone(benchmark::State& state) {
  const std::string folder = histories().folder(state.range(0));
  measure(state, folder, {"history", keep_gone(folder).place.device}, 1);
}

void await_line(benchmark::State& state, int number) {
  constexpr int kMilliseconds = 200;
  const StandInMachine machine(static_cast<int>(state.range(0)), kMilliseconds);
  setenv("HVX_STATE_DIR", histories().folder(100).c_str(), 1);
  for (auto _ : state) {
    const auto begin = std::chrono::steady_clock::now();
    Program program({kProgram, "drives"}, Program::Output::Terminal);
    std::string line;
    for (int i = 0; i < number; ++i) line = program.line();
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    if (line.empty()) state.SkipWithError("it does not write so many lines");
    state.SetIterationTime(time.count());
  }
}

void first_line(benchmark::State& state) { await_line(state, 1); }
void first_drive(benchmark::State& state) { await_line(state, 2); }

using Clock = std::chrono::steady_clock;

// Until a program has ended; 0: it has written nothing.
double seconds_of(const std::vector<std::string>& words) {
  const auto begin = Clock::now();
  const int lines = Program(words).lines();
  return lines > 0 ? std::chrono::duration<double>(Clock::now() - begin).count() : 0;
}

constexpr int kAnswer = 100;  // milliseconds

void look(benchmark::State& state) {
  const StandInMachine machine(kDrives, kAnswer, static_cast<int>(state.range(0)));
  setenv("HVX_STATE_DIR", machine.history().c_str(), 1);
  for (auto _ : state) {
    const auto begin = Clock::now();
    if (Program({kProgram, "status"}).lines() != kDrives + 1)
      state.SkipWithError("it does not show all drives");
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - begin).count());
  }
}

void longest_call(benchmark::State& state) {
  const StandInMachine machine(kDrives, kAnswer, static_cast<int>(state.range(0)));
  const auto call = [&](std::vector<std::string> words) {
    words.insert(words.begin(), {"/usr/bin/env", "smartctl", "--json=o"});
    const double seconds = seconds_of(words);
    if (seconds == 0) state.SkipWithError("smartctl tells nothing");
    return seconds;
  };
  const std::vector<std::string> looks = {
      "-i", "-c", "-A", "-l", "selftest", "-l", "xselftest,selftest", "-n", "standby,3"};
  const auto call_of = [&](const std::string& node) {
    std::vector<std::string> words = looks;
    words.push_back(node);
    return call(words);
  };
  for (auto _ : state)
    state.SetIterationTime(std::max({call({"--scan-open"}), call_of(StandInMachine::node(0)),
                                     call_of(StandInMachine::nvme_node(kDrives - 1))}));
}

BENCHMARK(status)->Arg(100)->Arg(1'000'000)->UseRealTime();
BENCHMARK(history)->Arg(100)->Arg(1'000'000)->UseRealTime();
BENCHMARK(untested)->Arg(100)->Arg(1'000'000)->UseRealTime();
BENCHMARK(gone)->Arg(100)->Arg(1'000'000)->UseRealTime();
BENCHMARK(first_line)->Arg(0)->Arg(1)->Arg(kDrives)->UseManualTime();
BENCHMARK(first_drive)->Arg(0)->Arg(1)->UseManualTime();
BENCHMARK(look)->Arg(kDrives / 2)->Iterations(1)->UseManualTime();
BENCHMARK(longest_call)->Arg(kDrives / 2)->Iterations(1)->UseManualTime();

}  // namespace

BENCHMARK_MAIN();
