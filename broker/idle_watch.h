// Ends idle providers in time.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace broker {

class Core;

// Ends what is due at each interval, on a thread of its own that is named idle_watch. The
// destructor waits for the thread.
class IdleWatch {
 public:
  IdleWatch(Core& core, std::chrono::milliseconds interval);
  ~IdleWatch();
  IdleWatch(const IdleWatch&) = delete;

 private:
  void run();

  Core& core_;
  const std::chrono::milliseconds interval_;
  std::mutex lock_;
  std::condition_variable changed_;
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace broker
