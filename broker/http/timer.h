// Does things later, on a thread of its own.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace broker::http {

// Safe from any thread. What is due runs one after the other under the timer's lock, so it must be
// short and must not call the timer.
class Timer {
 public:
  using Time = std::chrono::steady_clock::time_point;

  Timer();
  ~Timer();  // forgets what is not yet due
  Timer(const Timer&) = delete;

  void after(std::chrono::milliseconds delay, std::function<void()> what);
  void hurry();       // runs everything now
  void hurry_next();  // runs what is due first now

 private:
  void run();

  std::mutex lock_;
  std::condition_variable changed_;
  std::multimap<Time, std::function<void()>>
      due_;  // those of one time in the order in which they came
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace broker::http
