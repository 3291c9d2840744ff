// How long the answer to a failed log-in is held back.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>

namespace broker::http {

// Counts failures by address; one that shows none for a while is forgotten. Safe from any thread.
class Penalties {
 public:
  using Time = std::chrono::steady_clock::time_point;

  Penalties(std::chrono::milliseconds first, std::chrono::milliseconds longest)
      : first_(first), longest_(longest) {}

  // Counts one more. The delay doubles with each, up to the longest.
  std::chrono::milliseconds failed(const std::string& address,
                                   Time now = std::chrono::steady_clock::now());

 private:
  struct Entry {
    std::chrono::milliseconds delay;
    Time last;
  };

  const std::chrono::milliseconds first_, longest_;
  std::mutex lock_;
  std::map<std::string, Entry> entries_;
};

}  // namespace broker::http
