#include "broker/http/timer.h"

#include <utility>

namespace broker::http {

Timer::Timer() : thread_([this] { run(); }) {}

Timer::~Timer() {
  {
    const std::lock_guard guard(lock_);
    ending_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void Timer::after(std::chrono::milliseconds delay, std::function<void()> what) {
  const std::lock_guard guard(lock_);
  const auto added = due_.emplace(std::chrono::steady_clock::now() + delay, std::move(what));
  if (added == due_.begin()) changed_.notify_one();
}

void Timer::hurry() {
  const std::lock_guard guard(lock_);
  for (const auto& [when, what] : due_) what();
  due_.clear();
}

void Timer::hurry_next() {
  const std::lock_guard guard(lock_);
  if (due_.empty()) return;
  due_.begin()->second();
  due_.erase(due_.begin());
}

void Timer::run() {
  std::unique_lock guard(lock_);
  while (!ending_) {
    if (due_.empty()) {
      changed_.wait(guard);
    } else if (const auto first = due_.begin(); first->first > std::chrono::steady_clock::now()) {
      const Time when = first->first;
      changed_.wait_until(guard, when);
    } else {
      first->second();
      due_.erase(first);
    }
  }
}

}  // namespace broker::http
