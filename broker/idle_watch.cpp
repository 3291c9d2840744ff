#include "broker/idle_watch.h"

#include <pthread.h>

#include <exception>

#include "broker/core.h"

namespace broker {

IdleWatch::IdleWatch(Core& core, std::chrono::milliseconds interval)
    : core_(core), interval_(interval), thread_([this] { run(); }) {}

IdleWatch::~IdleWatch() {
  {
    const std::lock_guard guard(lock_);
    ending_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void IdleWatch::run() {
  pthread_setname_np(pthread_self(), "idle_watch");
  std::unique_lock guard(lock_);
  while (!changed_.wait_for(guard, interval_, [this] { return ending_; })) {
    guard.unlock();  // the end of a provider may take its time
    try {
      core_.end_idle();
    } catch (const std::exception&) {
      // Out of memory, which is no reason for the process to end. The next look may do.
    }
    guard.lock();
  }
}

}  // namespace broker
