// A machine with drives of the stand-in below the real smartctl, and hddtest run on it.
#pragma once

#include <fcntl.h>
#include <fmt/format.h>
#include <pty.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "bench/filled_history.h"
#include "platform/descriptor.h"
#include "platform/spawn_plan.h"
#include "tests/scratch_folder.h"

namespace bench {

// A program whose standard output is read here. It has ended when this is destroyed: by itself, or
// else it is killed.
class Program {
 public:
  enum class Output { Pipe, Terminal };

  explicit Program(const std::vector<std::string>& words, Output output = Output::Pipe) {
    platform::Pipe ends = output == Output::Pipe ? platform::open_pipe() : open_terminal();
    if (!ends.read_end) return;
    std::vector<char*> arguments;
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    platform::SpawnPlan plan;
    plan.give(ends.write_end.get(), STDOUT_FILENO);
    if (plan.start(process_, arguments[0], arguments.data()) != 0) process_ = -1;
    output_ = fdopen(ends.read_end.release(), "r");
  }
  Program(const Program&) = delete;
  ~Program() {
    if (output_) fclose(output_);
    if (process_ < 0) return;
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }

  // Without its end; empty: there is none.
  std::string line() {
    std::string text;
    for (int next = read(); next != EOF && next != '\n'; next = read())
      text += static_cast<char>(next);
    return text;
  }

  // The number of lines that are left.
  int lines() {
    int count = 0;
    for (int next = read(); next != EOF; next = read()) count += next == '\n';
    return count;
  }

 private:
  // With a terminal at the end that is written to.
  static platform::Pipe open_terminal() {
    int here = -1;
    int there = -1;
    if (openpty(&here, &there, nullptr, nullptr, nullptr) != 0) return {};
    for (const int end : {here, there}) fcntl(end, F_SETFD, FD_CLOEXEC);
    return {platform::Descriptor(here), platform::Descriptor(there)};
  }

  int read() { return output_ ? getc_unlocked(output_) : EOF; }

  pid_t process_ = -1;
  FILE* output_ = nullptr;
};

// While it lives, programs that this process starts are on that machine. There is one at a time.
class StandInMachine {
 public:
  // The drives are those of the filled histories, but for the last `nvme` of them, which are NVMe
  // drives. The first `slow` take so many milliseconds for each answer, of which a look needs about
  // ten.
  explicit StandInMachine(int slow = 0, int milliseconds = 0, int nvme = 0)
      : first_nvme_(kDrives - nvme) {
    std::filesystem::create_directory(folder() / "drives");
    for (int number = 0; number < kDrives; ++number)
      std::ofstream(folder() / "drives" / fmt::format("disk{:02}", number))
          << (number < first_nvme_ ? ata_lines(number) : nvme_lines(number)) << "serial "
          << drive(number).serial_number << "\nslow " << (number < slow ? milliseconds : 0) << "\n";
    const std::string make = fmt::format("'{0}/standin_drive' '{1}' make '{0}/libstandin.so'",
                                         HDDTEST_STANDIN_FOLDER, folder().string());
    if (std::system(make.c_str()) != 0) std::abort();
    setenv("PATH", (folder() / "bin:/usr/bin:/bin").c_str(), 1);
    setenv("HVX_SYSFS_ROOT", (folder() / "machine").c_str(), 1);
    setenv("HVX_LOG_FILE", (folder() / "log").c_str(), 1);
    setenv("LC_ALL", "C.UTF-8", 1);
  }
  StandInMachine(const StandInMachine&) = delete;
  ~StandInMachine() {
    // The tools of a command that was killed end soon after it, and write there until then.
    std::error_code error;
    for (int tries = 0; tries < 100; ++tries) {
      std::filesystem::remove_all(folder(), error);
      if (!error) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  }

  static std::string node(int number) {
    return std::string("/dev/sd") + static_cast<char>('a' + number);
  }
  static std::string nvme_node(int number) { return fmt::format("/dev/nvme{}", number); }
  // For a history of its own.
  std::string history() const { return folder() / "history"; }

 private:
  static std::string ata_lines(int number) {
    return fmt::format("protocol ata\nnodes {}\nwwn {}\n", node(number), world_wide_name(number));
  }
  static std::string nvme_lines(int number) {
    return fmt::format("protocol nvme\nnodes {0} {0}n1\nwwn {1:016x}\ntests short long\n",
                       nvme_node(number), number + 1);
  }

  const std::filesystem::path& folder() const { return folder_.path(); }

  int first_nvme_;
  ScratchFolder folder_;
};

}  // namespace bench
