// Threads that are made when there is work, and end when there has been none for a while.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <limits>
#include <mutex>

namespace broker::http {

// Safe from any thread.
class Workers {
 public:
  explicit Workers(std::size_t most = std::numeric_limits<std::size_t>::max()) : most_(most) {}
  ~Workers();  // waits until everything is done
  Workers(const Workers&) = delete;

  // Has a task run at once, on an idle thread or a new one. When there are as many as there may be,
  // or the system gives no more, the task waits in a line until one is free. Throws
  // std::system_error or std::bad_alloc when there is no thread at all. Tasks must not throw.
  void run(std::function<void()> task);
  // Called by a task that has nothing long left to do. Its thread counts as idle from then on, so
  // that no new one is made for what follows from the task's result.
  void end_soon() noexcept;

 private:
  void work();

  const std::size_t most_;  // threads at a time
  std::mutex lock_;
  std::condition_variable changed_;
  std::condition_variable ended_;
  std::deque<std::function<void()>> tasks_;
  std::size_t idle_ = 0;
  std::size_t threads_ = 0;
  bool ending_ = false;
};

}  // namespace broker::http
