#include "broker/http/clock.h"

namespace broker::http {

Clock::Clock() : thread_([this] { run(); }) {}

Clock::~Clock() {
  {
    const std::lock_guard guard(lock_);
    ending_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

Clock::Appointment Clock::after(std::chrono::milliseconds delay, std::function<void()> what,
                                Hurry hurry) {
  const std::lock_guard guard(lock_);
  const auto added = due_.emplace(Appointment{std::chrono::steady_clock::now() + delay, ++last_},
                                  Due{std::move(what), hurry});
  if (added.first == due_.begin()) changed_.notify_one();
  return added.first->first;
}

void Clock::cancel(const Appointment& appointment) {
  const std::lock_guard guard(lock_);
  due_.erase(appointment);
}

void Clock::hurry() {
  const std::lock_guard guard(lock_);
  std::erase_if(due_, [](const auto& entry) {
    const bool now = entry.second.hurry == Hurry::yes;
    if (now) entry.second.what();
    return now;
  });
}

void Clock::hurry_next() {
  const std::lock_guard guard(lock_);
  if (due_.empty()) return;
  due_.begin()->second.what();
  due_.erase(due_.begin());
}

void Clock::run() {
  std::unique_lock guard(lock_);
  while (!ending_) {
    if (due_.empty()) {
      changed_.wait(guard);
    } else if (const auto first = due_.begin();
               first->first.first > std::chrono::steady_clock::now()) {
      const Time when = first->first.first;
      changed_.wait_until(guard, when);
    } else {
      first->second.what();
      due_.erase(first);
    }
  }
}

}  // namespace broker::http
