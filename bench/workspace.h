// What a measurement needs around the parts that it measures: a folder of its own with message file
// and log, and an object manager that loads the real modules.
#pragma once

#include <stdlib.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "broker/object_manager.h"
#include "tests/scratch_folder.h"

namespace bench {

// The working directory of the process while it lives, removed with all that is in it at the end.
// The log goes to a file in it, as in use, unless HVX_LOG_FILE says otherwise; HVX_LOG_LEVEL=-1
// cuts logging off. Programs in its folder "bin" are found before those of the machine.
class Workspace {
 public:
  Workspace() {
    std::filesystem::create_directory(folder() / "bin");
    std::filesystem::create_directory(folder() / "hddtest");
    std::filesystem::copy_file(HDDTEST_MESSAGE_FILE, folder() / "hddtest/hddtest.msg.xml");
    setenv("HVX_LOG_FILE", (folder() / "log").c_str(), 0);
    setenv("PATH", (folder() / "bin:").string().append(getenv("PATH")).c_str(), 1);
    std::filesystem::current_path(folder());
  }
  Workspace(const Workspace&) = delete;
  ~Workspace() { std::filesystem::current_path("/"); }
  const std::filesystem::path& folder() const { return folder_.path(); }

 private:
  ScratchFolder folder_;
};

inline broker::Options options() {
  broker::Options options;
  options.registration = broker::read_registration(HDDTEST_REGISTRATION_FILE);
  options.library_folders = {HDDTEST_LIBRARY_FOLDER};
  return options;
}

// User and system time in seconds; RUSAGE_SELF or, of what has been started and has ended,
// RUSAGE_CHILDREN.
inline double processor_seconds(int who) {
  rusage usage{};
  getrusage(who, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

inline double resident_bytes() {
  std::ifstream file("/proc/self/statm");
  long size = 0, resident = 0;
  file >> size >> resident;
  return static_cast<double>(resident * sysconf(_SC_PAGESIZE));
}

}  // namespace bench
