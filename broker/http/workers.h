// Threads that are there when there is work and go when there is none.
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

  // Has a task run at once, on an idle thread or a new one; when there are as many as there may be,
  // or the system gives no more, as soon as one is free, the first first. Throws std::system_error,
  // or std::bad_alloc, when it has given none at all. Tasks must not throw.
  void run(std::function<void()> task);
  // From a task that does nothing more that takes long. Its thread counts as idle from then on, so
  // that what follows from the task's result asks for no other one.
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
