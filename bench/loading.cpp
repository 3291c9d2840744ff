// What it costs to load the module and to create all interfaces that its entry points give,
// against a library with the same symbols and nothing behind them. Each is loaded by a process of
// its own that has an object manager already. Time and memory are the difference between before the
// loading and after the last interface.
//
//   loading load LIBRARY    loads it once and prints seconds, bytes of resident memory, interfaces
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <stdio.h>

#include <chrono>
#include <sstream>

#include "bench/workspace.h"
#include "broker/core.h"

namespace {

constexpr char kModuleLibrary[] = HDDTEST_LIBRARY_FOLDER "/libhddtest.cmpi.so";
constexpr char kEmptyLibrary[] = HDDTEST_BENCH_FOLDER "/libbench_empty.so";

// The providers' entry points.
constexpr const char* kEntryPoints[] = {
#define INSTANCE(Class) #Class "_Provider_Create_InstanceMI", #Class "_Provider_Create_MethodMI",
#define ASSOCIATION(Class) INSTANCE(Class) #Class "_Provider_Create_AssociationMI",
#include "module/providers.def"
};

int load(const char* library) {
  const auto core = std::make_shared<broker::Core>(broker::generated_schema(), broker::Options());
  broker::Operation operation(*core, {}, 0);
  const double memory = bench::resident_bytes();
  const auto start = std::chrono::steady_clock::now();
  void* const handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
  if (!handle) {
    fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  int made = 0;
  for (const char* name : kEntryPoints) {
    using EntryPoint = void* (*)(const CMPIBroker*, const CMPIContext*, CMPIStatus*);
    CMPIStatus status{CMPI_RC_OK, nullptr};
    const auto create = reinterpret_cast<EntryPoint>(dlsym(handle, name));
    if (!create) {
      fprintf(stderr, "%s\n", dlerror());
      return 1;
    }
    made += create(&core->tables().broker, operation.context(), &status) != nullptr;
  }
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  printf("%.9f %.0f %d\n", time.count(), bench::resident_bytes() - memory, made);
  return 0;
}

void measure(benchmark::State& state, const char* library, int expected) {
  const std::string command =
      std::filesystem::read_symlink("/proc/self/exe").string() + " load " + library;
  double least_memory = 1e18;
  while (state.KeepRunning()) {
    FILE* const child = popen(command.c_str(), "re");
    char line[128] = "";
    const bool read = child && fgets(line, sizeof line, child);
    double time = 0, memory = 0;
    int made = -1;
    std::istringstream(line) >> time >> memory >> made;
    if (!child || pclose(child) != 0 || !read || made != expected)
      return state.SkipWithError("the library could not be loaded");
    state.SetIterationTime(time);
    least_memory = std::min(least_memory, memory);
  }
  state.counters["memory_bytes"] = least_memory;
}

BENCHMARK_CAPTURE(measure, module, kModuleLibrary, static_cast<int>(std::size(kEntryPoints)))
    ->Name("module")
    ->Iterations(1)
    ->UseManualTime();
BENCHMARK_CAPTURE(measure, empty, kEmptyLibrary, 0)->Name("empty")->Iterations(1)->UseManualTime();

}  // namespace

int main(int count, char** words) {
  if (count == 3 && std::string(words[1]) == "load") return load(words[2]);
  const bench::Workspace workspace;
  benchmark::Initialize(&count, words);
  benchmark::RunSpecifiedBenchmarks();
}
