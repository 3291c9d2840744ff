// What a history of many tests costs its reader: it is opened as a command does, and asked for the
// last test of each of 24 drives, for the last ten of one, or to keep a test from beginning to end.
// The same in a history of a few tests is the floor.
#include <benchmark/benchmark.h>

#include "bench/filled_history.h"
#include "drivetest/history.h"

namespace {

using drivetest::History;

template <class Ask>
void measure(benchmark::State& state, Ask ask) {
  drivetest::HistoryOptions options;
  options.folder = bench::histories().folder(state.range(0));
  for (auto _ : state) {
    History history(options);
    if (!ask(history)) state.SkipWithError("the history has not what it is to have");
  }
}

void last(benchmark::State& state) {
  measure(state,
          [](History& history) { return history.last_of_each_drive().size() == bench::kDrives; });
}

void of_drive(benchmark::State& state) {
  measure(state, [](History& history) {
    return !history.of_drive(bench::drive(5).identity(), 10).empty();
  });
}

void test(benchmark::State& state) {
  measure(state, [](History& history) {
    drivetest::TestRow row;
    row.number = history.begin(bench::drive(5), row).number;
    row.outcome = drivetest::Outcome::Passed;
    return history.update(row);
  });
}

BENCHMARK(last)->Arg(100)->Arg(1'000'000)->UseRealTime();
BENCHMARK(of_drive)->Arg(100)->Arg(1'000'000)->UseRealTime();
BENCHMARK(test)->Arg(100)->Arg(1'000'000)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
