// Does things later, on a thread of its own.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace broker::http {

// Safe from any thread. What is due runs one after the other, under the clock's lock: it must be
// short and must not call the clock.
class Clock {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Appointment = std::pair<Time, std::uint64_t>;  // a default one is none

  Clock();
  ~Clock();  // forgets what is not yet due
  Clock(const Clock&) = delete;

  enum class Hurry { no, yes };
  Appointment after(std::chrono::milliseconds delay, std::function<void()> what,
                    Hurry hurry = Hurry::yes);
  // Once this has returned it has run or never will. What has run, or is none, is passed over.
  void cancel(const Appointment& appointment);
  // Runs everything now but what was not to be hurried.
  void hurry();
  void hurry_next();  // runs what is due first now

 private:
  struct Due {
    std::function<void()> what;
    Hurry hurry;
  };
  void run();

  std::mutex lock_;
  std::condition_variable changed_;
  std::map<Appointment, Due> due_;
  std::uint64_t last_ = 0;
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace broker::http
