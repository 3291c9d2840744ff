// What the tests of the support library share: temporary folders, small files, other processes.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/descriptor.h"

namespace NKVRHVX20 {

// A folder that goes with its owner.
class TemporaryFolder {
 public:
  TemporaryFolder() : path_((std::filesystem::temp_directory_path() / "support-XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) std::abort();
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }
  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// What can be read of a file; a process's file in /proc may vanish meanwhile.
inline std::string read_file(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

inline void write_file(const std::string& path, const std::string& text, int mode = 0644) {
  std::ofstream(path, std::ios::binary) << text;
  std::filesystem::permissions(path, static_cast<std::filesystem::perms>(mode));
}

inline std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    lines.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return lines;
}

// What a shell command that succeeds prints.
inline std::string shell(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "r");
  std::string output;
  for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) output += static_cast<char>(c);
  EXPECT_EQ(pclose(pipe), 0) << command;
  return output;
}

// Runs the function in a forked child and returns what it returned. Needs no wait for the child,
// whatever is set for SIGCHLD.
template <typename Function>
std::string in_child(Function function) {
  platform::Pipe pipe = platform::open_pipe();
  if (!pipe.read_end) std::abort();
  const pid_t child = fork();
  if (child == 0) {
    pipe.read_end.close();
    const int out = fcntl(pipe.write_end.get(), F_DUPFD_CLOEXEC, 100);
    pipe.write_end.close();
    const std::string result = function();
    _exit(write(out, result.data(), result.size()) == static_cast<ssize_t>(result.size()) ? 0 : 1);
  }
  pipe.write_end.close();
  std::string result;
  char buffer[4096];
  ssize_t count = read(pipe.read_end.get(), buffer, sizeof buffer);
  while (count != 0) {
    if (count > 0) result.append(buffer, static_cast<std::size_t>(count));
    count = read(pipe.read_end.get(), buffer, sizeof buffer);
  }
  while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
  return result;
}

// The fields of /proc/PID/stat after the program's name: state, parent, ...; empty when there is
// no such process.
inline std::string process_state(pid_t process) {
  const std::string text = read_file("/proc/" + std::to_string(process) + "/stat");
  const std::size_t end = text.rfind(") ");
  return end == std::string::npos ? std::string() : text.substr(end + 2);
}

// Gives a condition up to ten seconds to become true.
template <typename Condition>
bool eventually(Condition condition) {
  for (int i = 0; i < 1000; ++i) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return condition();
}

// True once the process has ended, whether or not somebody has reaped it.
inline bool is_gone(pid_t process) {
  const std::string state = process_state(process);
  return state.empty() || state[0] == 'Z';
}

// True when the process group has no member at all, not even one that nobody has reaped.
inline bool group_is_gone(pid_t group) { return kill(-group, 0) != 0 && errno == ESRCH; }

inline std::vector<pid_t> children_of_this_process() {
  std::vector<pid_t> children;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const pid_t process =
        static_cast<pid_t>(std::strtol(entry.path().filename().c_str(), nullptr, 10));
    if (process <= 0) continue;
    const std::string state = process_state(process);
    if (!state.empty() && std::strtol(state.c_str() + 2, nullptr, 10) == getpid())
      children.push_back(process);
  }
  return children;
}

inline std::size_t open_descriptors() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace NKVRHVX20
