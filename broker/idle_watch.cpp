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
    guard.unlock();  // ending a provider may take long, and the destructor needs the lock
    try {
      core_.end_idle();
    } catch (const std::exception&) {
      // Memory ran out. The next look may succeed, and the process need not end for it.
    }
    guard.lock();
  }
}

}  // namespace broker
