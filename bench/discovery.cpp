// What discovery costs beyond hwinfo, through the object manager with the real module and
// inventory, on made-up machines whose drives are all on AHCI:
//
//   discovery ratio [DISK-SECONDS USB-SECONDS]   one enumeration of 1, 8 and 24 drives against the
//                                                runs of hwinfo alone; a stand-in takes the seconds
//                                                given (default: those of this machine's hwinfo)
//   discovery growth [DRIVES]                    time and memory of the 1st, 2nd, 10th, 100th and
//                                                1000th enumeration of one provider
//
// Times are the least of several, which disturbs least. The log goes to a file, as in use.
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "broker/object_manager.h"
#include "inventory/test_tree.h"
#include "platform/support/osspecific.h"

namespace {

struct Cost {
  double wall = 1e9;       // seconds
  double processor = 1e9;  // seconds, of this process and what it started
};

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

double processor_seconds() {
  double sum = 0;
  for (const int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
    rusage usage;
    getrusage(who, &usage);
    sum += seconds(usage.ru_utime) + seconds(usage.ru_stime);
  }
  return sum;
}

template <class Action>
Cost cost_of(Action action) {
  const double processor = processor_seconds();
  const auto start = std::chrono::steady_clock::now();
  action();
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
  return {wall.count(), processor_seconds() - processor};
}

template <class Action>
Cost least_cost_of(int times, Action action) {
  Cost least;
  for (int i = 0; i < times; ++i) {
    const Cost cost = cost_of(action);
    least = {std::min(least.wall, cost.wall), std::min(least.processor, cost.processor)};
  }
  return least;
}

long resident_kilobytes() {
  std::ifstream file("/proc/self/statm");
  long size = 0, resident = 0;
  file >> size >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

void run_hwinfo() {
  NKVRHVX20::TOSSpecific::SpawnProcess("hwinfo --usb", 300);
  NKVRHVX20::TOSSpecific::SpawnProcess("hwinfo --disk", 300);
}

// A machine with so many drives and a hwinfo that lists them after a while.
class Machine {
 public:
  Machine(int drives, double disk_seconds, double usb_seconds) : drives_(drives) {
    std::string report;
    for (int i = 0; i < drives; ++i) {
      const std::string name = std::string("sd") + static_cast<char>('a' + i);
      tree_.ahci_disk(i, name);
      report += "30: IDE 300.0: 10600 Disk\n  Unique ID: x." + name +
                "\n  SysFS BusID: " + std::to_string(i) +
                ":0:0:0\n  Driver: \"ahci\", \"sd\"\n  Device File: /dev/" + name + "\n\n";
    }
    const std::string root = tree_.root();
    tree_.file("/report--disk", report);
    tree_.file("/report--usb", "");
    const auto wait = [](double seconds) {
      return seconds > 0 ? "sleep " + std::to_string(seconds) + "\n" : std::string();
    };
    tree_.file("/bin/hwinfo", "#!/bin/sh\nif [ $1 = --usb ]; then\n:\n" + wait(usb_seconds) +
                                  "else\n:\n" + wait(disk_seconds) + "fi\nexec cat " + root +
                                  "/report$1\n");
    chmod(tree_.place("/bin/hwinfo").c_str(), 0755);
    path_ = std::getenv("PATH");
    setenv("PATH", (root + "/bin:" + path_).c_str(), 1);
    setenv("HVX_SYSFS_ROOT", root.c_str(), 1);
    broker::Options options;
    options.registration = broker::read_registration(HDDTEST_REGISTRATION_FILE);
    options.library_folders = {HDDTEST_LIBRARY_FOLDER};
    manager_ = std::make_unique<broker::ObjectManager>(broker::generated_schema(), options);
  }
  ~Machine() {
    manager_.reset();
    setenv("PATH", path_.c_str(), 1);
  }

  void enumerate() {
    const auto found = manager_->enumerate_instances("KAVRO_HDDTest_AvailableDiagnosticService");
    if (found.size() != static_cast<std::size_t>(drives_)) {
      std::fprintf(stderr, "%zu of %d drives are testable\n", found.size(), drives_);
      std::exit(1);
    }
  }

 private:
  int drives_;
  inventory::Test_Tree tree_;
  std::string path_;
  std::unique_ptr<broker::ObjectManager> manager_;
};

void ratio(double disk_seconds, double usb_seconds) {
  std::printf("hwinfo --disk %.3f s, --usb %.3f s\n", disk_seconds, usb_seconds);
  std::printf("drives  enumeration wall/processor   hwinfo wall/processor    ratio\n");
  for (const int drives : {1, 8, 24}) {
    Machine machine(drives, disk_seconds, usb_seconds);
    const Cost alone = least_cost_of(3, run_hwinfo);
    // The first loads the module as well; each later one sees the bus devices once more.
    const Cost first = cost_of([&] { machine.enumerate(); });
    const Cost second = cost_of([&] { machine.enumerate(); });
    for (const auto& [which, cost] : {std::pair{"1st", first}, {"2nd", second}})
      std::printf("%2d %s  %10.4f s %8.4f s     %8.4f s %8.4f s     %.3f\n", drives, which,
                  cost.wall, cost.processor, alone.wall, alone.processor, cost.wall / alone.wall);
  }
}

void growth(int drives) {
  Machine machine(drives, 0, 0);
  std::printf("%d drives\nenumeration     wall   processor   resident memory\n", drives);
  for (int i = 1; i <= 1000; ++i) {
    const Cost cost = cost_of([&] { machine.enumerate(); });
    if (i == 1 || i == 2 || i == 10 || i == 100 || i == 1000)
      std::printf("%8d  %8.4f s  %8.4f s  %10ld kB\n", i, cost.wall, cost.processor,
                  resident_kilobytes());
  }
}

}  // namespace

int main(int count, char** words) {
  // What is printed must not wait in memory: the probe's children end with exit() and would print
  // it once more.
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  // The log, in a folder of its own.
  std::string folder = std::filesystem::temp_directory_path() / "bench_discovery.XXXXXX";
  if (!mkdtemp(folder.data())) return 1;
  setenv("HVX_LOG_FILE", (folder + "/log").c_str(), 0);
  const std::string what = count > 1 ? words[1] : "";
  if (what == "ratio") {
    double disk = 0, usb = 0;
    if (count > 3) {
      disk = std::atof(words[2]);
      usb = std::atof(words[3]);
    } else {
      const auto run = [](const char* command) {
        return least_cost_of(5, [&] { NKVRHVX20::TOSSpecific::SpawnProcess(command, 300); }).wall;
      };
      disk = run("hwinfo --disk");
      usb = run("hwinfo --usb");
    }
    ratio(disk, usb);
  } else if (what == "growth") {
    growth(count > 2 ? std::atoi(words[2]) : 8);
  } else {
    std::fprintf(stderr, "discovery ratio [DISK-SECONDS USB-SECONDS] | growth [DRIVES]\n");
  }
  std::filesystem::remove_all(folder);
}
