#include "cli/children.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <system_error>
#include <thread>

namespace cli {
namespace {

constexpr std::chrono::milliseconds kPauseBetween{2};

void kill_children() {
  std::error_code error;
  // The kernel lists children by thread. The other files of /proc may hide some from us.
  for (std::filesystem::directory_iterator entry("/proc/self/task", error), end;
       !error && entry != end; entry.increment(error)) {
    std::ifstream stream(entry->path() / "children");
    for (pid_t child = 0; stream >> child;) kill(child, SIGKILL);
  }
}

// Whether children are left, alive or dead.
bool reap_children() {
  for (;;) {
    const pid_t child = waitpid(-1, nullptr, WNOHANG);
    if (child <= 0) return child == 0;
  }
}

}  // namespace

bool end_children(std::chrono::milliseconds time) {
  const auto deadline = std::chrono::steady_clock::now() + time;
  // Processes that lose their parent become our children from now on, so that none escapes.
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  while (reap_children()) {
    kill_children();
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(kPauseBetween);
  }
  return true;
}

}  // namespace cli
