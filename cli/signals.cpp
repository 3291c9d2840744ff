#include "cli/signals.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "cli/failure.h"

namespace cli {
namespace {

constexpr int kHandled[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

std::atomic<int> write_end = -1;  // of the pipe, for the handler

void catch_signal(int signal) {
  const int error = errno;
  const auto byte = static_cast<unsigned char>(signal);
  // A full pipe has woken the reader already.
  if (signal != SIGPIPE && write(write_end, &byte, 1) < 0) errno = error;
  errno = error;
}

void set_action(void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  for (const int signal : kHandled) sigaction(signal, &action, nullptr);
}

}  // namespace

Signals::Signals() : pipe_(platform::open_pipe()) {
  if (!pipe_.read_end) throw CommandFailure("cannot make a pipe");
  write_end = pipe_.write_end.get();
  fcntl(write_end, F_SETFL, O_NONBLOCK);
  set_action(catch_signal);
}

Signals::~Signals() { set_action(SIG_DFL); }

int Signals::wait(std::chrono::milliseconds most) {
  pollfd end{pipe_.read_end.get(), POLLIN, 0};
  if (poll(&end, 1, static_cast<int>(most.count())) != 1) return 0;
  unsigned char byte = 0;
  while (read(pipe_.read_end.get(), &byte, 1) != 1) continue;
  return byte;
}

}  // namespace cli
