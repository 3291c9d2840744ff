// What discovery costs beyond hwinfo, through the object manager with the real module and
// inventory, on made-up machines whose drives are all on AHCI:
//
//   enumeration/N    the first enumeration of N testable drives, which loads the module as well
//                    (each later one looks at the bus devices once more); a stand-in for hwinfo
//                    takes as long as that of this machine, and prints the machine's drives
//   hwinfo/N         the runs of hwinfo alone, for the same machine
//   growth/TIMES     so many enumerations of 8 drives one after the other, hwinfo at once, with the
//                    resident memory at the end; one provider does them all
//   later/NUMBER     that enumeration of one server, of 2 drives beside an adapter of another kind,
//                    hwinfo at once, where the provider ends after each as an idle one does
//
// hwinfo's times are taken at the start, once, or given: HDDTEST_HWINFO_SECONDS="DISK USB" with
// those of a machine that has the drives, where hwinfo has more to look at.
#include <benchmark/benchmark.h>
#include <sys/stat.h>

#include <chrono>
#include <sstream>

#include "bench/workspace.h"
#include "inventory/test_tree.h"
#include "platform/support/osspecific.h"

namespace {

using NKVRHVX20::TOSSpecific;

// What a run of hwinfo takes, in seconds; the least of three.
struct Seconds {
  double disk = 0;
  double usb = 0;
};

double seconds_of(const char* command) {
  double least = 1e9;
  for (int i = 0; i < 3; ++i) {
    const auto start = std::chrono::steady_clock::now();
    TOSSpecific::SpawnProcess(command, 300);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    least = std::min(least, time.count());
  }
  return least;
}

const Seconds& of_hwinfo() {
  static const Seconds seconds = [] {
    Seconds given;
    const char* const text = getenv("HDDTEST_HWINFO_SECONDS");
    if (text && std::istringstream(text) >> given.disk >> given.usb) return given;
    return Seconds{seconds_of("/usr/sbin/hwinfo --disk"), seconds_of("/usr/sbin/hwinfo --usb")};
  }();
  return seconds;
}

// A machine with so many drives and a hwinfo that lists them after a while. While it is entered,
// this process finds itself on it.
class Machine {
 public:
  Machine(int drives, const Seconds& seconds) : drives_(drives) {
    broker::Options options = bench::options();
    options.idle_time = std::chrono::milliseconds(0);
    manager_ =
        std::make_unique<broker::ObjectManager>(broker::generated_schema(), std::move(options));
    std::string report;
    for (int i = 0; i < drives; ++i) {
      const std::string name = std::string("sd") + static_cast<char>('a' + i);
      tree_.ahci_disk(i, name);
      report.append("30: IDE 300.0: 10600 Disk\n  Unique ID: x.").append(name);
      report.append("\n  SysFS BusID: ").append(std::to_string(i));
      report.append(":0:0:0\n  Driver: \"ahci\", \"sd\"\n  Device File: /dev/").append(name);
      report.append("\n\n");
    }
    tree_.file("/report--disk", report);
    tree_.file("/report--usb", "");
    const auto wait = [](double time) {
      return time > 0 ? "sleep " + std::to_string(time) + "\n" : std::string();
    };
    tree_.file("/hwinfo", "#!/bin/sh\nif [ $1 = --usb ]; then\n:\n" + wait(seconds.usb) +
                              "else\n:\n" + wait(seconds.disk) + "fi\nexec cat " + tree_.root() +
                              "/report$1\n");
    chmod(tree_.place("/hwinfo").c_str(), 0755);
  }

  // As soon as there is such an adapter, addresses count, and hwinfo is asked for each drive's.
  void add_other_adapter() const { tree_.scsi_host(drives_, "mpt3sas"); }
  void end_idle() const { manager_->end_idle(); }

  void enter() const {
    setenv("HVX_SYSFS_ROOT", tree_.root().c_str(), 1);
    std::filesystem::remove("bin/hwinfo");
    std::filesystem::create_symlink(tree_.place("/hwinfo"), "bin/hwinfo");
  }

  bool enumerate() const {
    return manager_->enumerate_instances("KAVRO_HDDTest_AvailableDiagnosticService").size() ==
           static_cast<std::size_t>(drives_);
  }

 private:
  int drives_;
  inventory::TestTree tree_;
  std::unique_ptr<broker::ObjectManager> manager_;
};

void enumeration(benchmark::State& state) {
  const Machine machine(static_cast<int>(state.range(0)), of_hwinfo());
  machine.enter();
  const double before = bench::processor_seconds(RUSAGE_SELF);
  while (state.KeepRunning())
    if (!machine.enumerate()) state.SkipWithError("not every drive is testable");
  state.counters["own_seconds"] = bench::processor_seconds(RUSAGE_SELF) - before;
}
BENCHMARK(enumeration)->Arg(1)->Arg(8)->Arg(24)->Iterations(1)->UseRealTime();

void hwinfo(benchmark::State& state) {
  const Machine machine(static_cast<int>(state.range(0)), of_hwinfo());
  machine.enter();
  while (state.KeepRunning()) {
    TOSSpecific::SpawnProcess("hwinfo --usb", 300);
    TOSSpecific::SpawnProcess("hwinfo --disk", 300);
  }
}
BENCHMARK(hwinfo)->Arg(1)->Arg(8)->Arg(24)->Iterations(1)->UseRealTime();

void growth(benchmark::State& state) {
  const Machine machine(8, {});
  machine.enter();
  while (state.KeepRunning())
    for (int i = 0; i < state.range(0); ++i)
      if (!machine.enumerate()) return state.SkipWithError("not every drive is testable");
  state.counters["memory_bytes"] = bench::resident_bytes();
}
BENCHMARK(growth)->Arg(10)->Arg(100)->Arg(1000)->Iterations(1)->UseRealTime();

void later(benchmark::State& state) {
  const Machine machine(2, {});
  machine.add_other_adapter();
  machine.enter();
  for (int i = 1; i < state.range(0); ++i) {
    if (!machine.enumerate()) return state.SkipWithError("not every drive is testable");
    machine.end_idle();
  }
  while (state.KeepRunning())
    if (!machine.enumerate()) state.SkipWithError("not every drive is testable");
}
BENCHMARK(later)->Arg(1)->Arg(10)->Arg(100)->Iterations(1)->UseRealTime();

}  // namespace

int main(int count, char** words) {
  // What is printed must not wait in memory: the probe's children end with exit() and would print
  // it once more.
  setvbuf(stdout, nullptr, _IONBF, 0);
  const bench::Workspace workspace;
  benchmark::Initialize(&count, words);
  benchmark::RunSpecifiedBenchmarks();
}
