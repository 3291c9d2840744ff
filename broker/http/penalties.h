// How long the answer to a failed log-in is held back, and how many may be.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>

namespace broker::http {

// Counts failures by network (address.h); one that shows none for a while is forgotten. Safe from
// any thread.
class Penalties {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // most_held: answers held back at a time, for each network.
  Penalties(std::chrono::milliseconds first, std::chrono::milliseconds longest,
            unsigned most_held = 1)
      : first_(first), longest_(longest), most_held_(most_held) {}

  // False while as many answers are held back as may be: no other log-in is looked at.
  bool admits(const std::string& network);
  // Counts one more, whose answer is held back for that time. The delay doubles with each, up to
  // the longest.
  std::chrono::milliseconds failed(const std::string& network,
                                   Time now = std::chrono::steady_clock::now());
  void answered(const std::string& network);  // an answer held back is on its way

 private:
  struct Entry {
    std::chrono::milliseconds delay;
    Time last;
    unsigned held;
  };

  const std::chrono::milliseconds first_, longest_;
  const unsigned most_held_;
  std::mutex lock_;
  std::map<std::string, Entry> entries_;
};

}  // namespace broker::http
