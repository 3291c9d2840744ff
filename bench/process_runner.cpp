// What the process runner costs: runs of /bin/true through it, and posix_spawn and waitpid bare.
// The argument is the host's resident memory in MiB, which a runner that copies its host would pay
// for with every run.
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include "bench/workspace.h"
#include "platform/support/osspecific.h"

namespace {

// So much memory that has been written to.
class Memory {
 public:
  explicit Memory(std::int64_t mebibytes) : size_(static_cast<std::size_t>(mebibytes) << 20) {
    if (size_ == 0) return;
    memory_ = mmap(nullptr, size_, PROT_READ | PROT_WRITE,
                   MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
  }
  Memory(const Memory&) = delete;
  ~Memory() {
    if (size_ != 0 && there()) munmap(memory_, size_);
  }
  bool there() const { return memory_ != MAP_FAILED; }

 private:
  std::size_t size_;
  void* memory_ = nullptr;
};

bool run_by_runner() {
  std::string output;
  return NKVRHVX20::TOSSpecific::SpawnProcess("/bin/true", {}, output, 20) == 0;
}

bool run_bare() {
  pid_t process = 0;
  char name[] = "/bin/true";
  char* arguments[] = {name, nullptr};
  int status = -1;
  return posix_spawn(&process, name, nullptr, nullptr, arguments, environ) == 0 &&
         waitpid(process, &status, 0) == process && status == 0;
}

void measure(benchmark::State& state, bool (*run)()) {
  const Memory memory(state.range(0));
  if (!memory.there()) return state.SkipWithError("there is not so much memory");
  const auto used = [] {
    return bench::processor_seconds(RUSAGE_SELF) + bench::processor_seconds(RUSAGE_CHILDREN);
  };
  const double before = used();
  while (state.KeepRunning())
    if (!run()) state.SkipWithError("/bin/true cannot be run");
  state.counters["all_seconds"] = (used() - before) / static_cast<double>(state.iterations());
  state.counters["resident_bytes"] = bench::resident_bytes();
}

void runner(benchmark::State& state) { measure(state, run_by_runner); }
void spawn(benchmark::State& state) { measure(state, run_bare); }
BENCHMARK(runner)->Arg(0)->Arg(4096)->Iterations(50)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(spawn)->Arg(0)->Arg(4096)->Iterations(50)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int count, char** words) {
  const bench::Workspace workspace;
  benchmark::Initialize(&count, words);
  benchmark::RunSpecifiedBenchmarks();
}
