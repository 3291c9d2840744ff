#include "cli/interrupt.h"

#include <signal.h>

#include <atomic>
#include <thread>

namespace cli {

struct Interrupt::State {
  std::function<void()> on_interrupt;
  sigset_t watched;
  sigset_t before;
  std::atomic<bool> ended = false;
  std::thread thread;

  void watch() {
    int signal = 0;
    do {
      if (sigwait(&watched, &signal) != 0) return;
      if (ended) return;
    } while (signal == SIGUSR1);
    on_interrupt();
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, signal);
    ::signal(signal, SIG_DFL);
    raise(signal);
    pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
  }
};

Interrupt::Interrupt(std::function<void()> on_interrupt) : state_(std::make_unique<State>()) {
  State& state = *state_;
  state.on_interrupt = std::move(on_interrupt);
  sigemptyset(&state.watched);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction present {};
    if (sigaction(signal, nullptr, &present) == 0 && present.sa_handler != SIG_IGN)
      sigaddset(&state.watched, signal);
  }
  sigaddset(&state.watched, SIGUSR1);  // wakes the thread when this ends
  pthread_sigmask(SIG_BLOCK, &state.watched, &state.before);
  state.thread = std::thread([&state] { state.watch(); });
}

Interrupt::~Interrupt() {
  state_->ended = true;
  pthread_kill(state_->thread.native_handle(), SIGUSR1);
  state_->thread.join();
  pthread_sigmask(SIG_SETMASK, &state_->before, nullptr);
}

}  // namespace cli
