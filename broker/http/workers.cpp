#include "broker/http/workers.h"

#include <chrono>
#include <exception>
#include <thread>
#include <utility>

namespace broker::http {
namespace {

constexpr std::chrono::seconds kPatience{10};  // how long an idle thread waits for work

thread_local bool ends_soon = false;

}  // namespace

Workers::~Workers() {
  std::unique_lock guard(lock_);
  ending_ = true;
  changed_.notify_all();
  ended_.wait(guard, [this] { return threads_ == 0; });
}

void Workers::run(std::function<void()> task) {
  std::unique_lock guard(lock_);
  tasks_.push_back(std::move(task));
  if (tasks_.size() <= idle_) {
    guard.unlock();
    changed_.notify_one();
    return;
  }
  if (threads_ >= most_) return;
  try {
    std::thread([this] { work(); }).detach();
    ++threads_;
  } catch (const std::exception&) {
    if (threads_ > 0) return;
    tasks_.pop_back();
    throw;
  }
}

void Workers::end_soon() noexcept {
  if (std::exchange(ends_soon, true)) return;
  const std::lock_guard guard(lock_);
  ++idle_;
}

void Workers::work() {
  std::unique_lock guard(lock_);
  while (true) {
    if (tasks_.empty() && !ending_) {
      ++idle_;
      changed_.wait_for(guard, kPatience, [this] { return ending_ || !tasks_.empty(); });
      --idle_;
    }
    if (tasks_.empty()) break;
    {  // the task and what it holds go before the lock is taken again
      const std::function<void()> task = std::exchange(tasks_.front(), nullptr);
      tasks_.pop_front();
      guard.unlock();
      task();
    }
    guard.lock();
    if (std::exchange(ends_soon, false)) --idle_;
  }
  --threads_;
  ended_.notify_all();
}

}  // namespace broker::http
