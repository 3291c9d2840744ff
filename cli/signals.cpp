#include "cli/signals.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>

#include "cli/failure.h"

namespace cli {
namespace {

constexpr int kHandled[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

int ends[2] = {-1, -1};  // of a pipe

void catch_signal(int signal) {
  const int error = errno;
  const auto byte = static_cast<unsigned char>(signal);
  // A full pipe has woken the reader already.
  if (signal != SIGPIPE && write(ends[1], &byte, 1) < 0) errno = error;
  errno = error;
}

void set_action(void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  for (const int signal : kHandled) sigaction(signal, &action, nullptr);
}

}  // namespace

Signals::Signals() {
  if (pipe2(ends, O_CLOEXEC) != 0) throw CommandFailure("cannot make a pipe");
  fcntl(ends[1], F_SETFL, O_NONBLOCK);
  set_action(catch_signal);
}

Signals::~Signals() {
  set_action(SIG_DFL);
  close(ends[0]);
  close(ends[1]);
}

int Signals::wait(std::chrono::milliseconds most) {
  pollfd end{ends[0], POLLIN, 0};
  if (poll(&end, 1, static_cast<int>(most.count())) != 1) return 0;
  unsigned char byte = 0;
  while (read(ends[0], &byte, 1) != 1) continue;
  return byte;
}

}  // namespace cli
