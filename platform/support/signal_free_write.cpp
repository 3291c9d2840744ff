#include "platform/support/signal_free_write.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>

namespace NKVRHVX20 {

namespace {

// Which signal comes with an error; 0: none.
int signal_of(int error) {
  if (error == EPIPE) return SIGPIPE;
  return error == EFBIG ? SIGXFSZ : 0;
}

}  // namespace

int write_without_signal(int descriptor, std::string_view text) {
  sigset_t fatal;
  sigset_t before;
  sigset_t pending;
  sigemptyset(&fatal);
  sigaddset(&fatal, SIGPIPE);
  sigaddset(&fatal, SIGXFSZ);
  sigpending(&pending);
  pthread_sigmask(SIG_BLOCK, &fatal, &before);
  const int error = write(descriptor, text.data(), text.size()) < 0 ? errno : 0;
  const int sent = signal_of(error);
  if (sent != 0 && !sigismember(&pending, sent)) {
    const timespec now{};
    sigset_t ours;
    sigemptyset(&ours);
    sigaddset(&ours, sent);
    sigtimedwait(&ours, nullptr, &now);
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return error;
}

}  // namespace NKVRHVX20
