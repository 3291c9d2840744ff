// What a run costs beyond its smartctl calls: RunDiagnostic through the object manager and the real
// module, with its log in a file, against a shell loop that calls the same smartctl alike and keeps
// what it prints. The drive answers at once and is done at once (smartctl.c), so nobody sleeps.
//
// Times are those of one run; own_seconds is the processor time of this process, which is the
// module and its object manager; all_seconds adds that of the programs that were started.
#include <benchmark/benchmark.h>

#include <cstdlib>

#include "bench/workspace.h"

namespace {

using broker::Name;

constexpr int kRuns = 10;  // in one iteration, so that the start of the shell does not count much

broker::ObjectPath path(const char* class_name, const char* system, const char* key,
                        const char* value) {
  return {Name("root/cimv2"),
          Name(class_name),
          {{Name("SystemCreationClassName"), "KAVRO_ComputerSystem"},
           {Name("SystemName"), system},
           {Name("CreationClassName"), class_name},
           {Name(key), value}}};
}

// Measures runs that are done by a function.
template <class Action>
void measure(benchmark::State& state, Action action) {
  using bench::processor_seconds;
  const double own = processor_seconds(RUSAGE_SELF), others = processor_seconds(RUSAGE_CHILDREN);
  while (state.KeepRunning()) {
    const auto start = std::chrono::steady_clock::now();
    action();
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    state.SetIterationTime(time.count() / kRuns);
  }
  const double all = static_cast<double>(state.iterations()) * kRuns;
  const double used = processor_seconds(RUSAGE_SELF) - own;
  state.counters["own_seconds"] = used / all;
  state.counters["all_seconds"] = (used + processor_seconds(RUSAGE_CHILDREN) - others) / all;
}

void module(benchmark::State& state) {
  // Never destroyed, since it would end the providers after their folder has gone.
  static auto& manager = *new broker::ObjectManager(broker::generated_schema(), bench::options());
  const auto service = path("KAVRO_HDDTest_DiagnosticService", "", "Name", "Hard Drive: Self Test");
  const auto drive = path("KAVRO_DiskDrive", "host", "DeviceID", "/dev/sda");
  const auto run = [&] {
    return manager.invoke_method(service, "RunDiagnostic", {{Name("ManagedElement"), drive}});
  };
  run();
  measure(state, [&] {
    for (int i = 0; i < kRuns; ++i)
      if (!run().find("Job")) state.SkipWithError("a run made no job");
  });
  const auto record =
      manager.enumerate_instances("KAVRO_HDDTest_DiagnosticCompletionRecord").back();
  if (record.text("CompletionState") != "2") state.SkipWithError("the drive failed");
}
BENCHMARK(module)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

void shell_loop(benchmark::State& state) {
  const std::string script = "i=0; while [ $i -lt " + std::to_string(kRuns) + R"( ]; do
    information=$(smartctl -i /dev/sda)
    before=$(smartctl -l selftest /dev/sda)
    started=$(smartctl -t short /dev/sda)
    after=$(smartctl -l selftest /dev/sda)
    i=$((i + 1))
  done)";
  measure(state, [&] {
    if (std::system(script.c_str()) != 0) state.SkipWithError("the shell loop failed");
  });
}
BENCHMARK(shell_loop)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int count, char** words) {
  const bench::Workspace workspace;
  std::filesystem::copy_file(HDDTEST_BENCH_FOLDER "/smartctl", workspace.folder() / "bin/smartctl");
  benchmark::Initialize(&count, words);
  benchmark::RunSpecifiedBenchmarks();
}
