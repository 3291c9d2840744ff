// What open enumerations hold: how many there are and how many bytes wait in them, counted for
// each user and for all together, so that one user leaves room for the others.
//
// Threads: every function may be called by any thread; a Room by one at a time.
#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <string>

namespace broker::cimxml {

class Budget {
 public:
  struct Amount {
    std::size_t number = 0;
    std::size_t bytes = 0;
  };

  Budget(const Amount& all, const Amount& each) : all_(all), each_(each) {}
  Budget(const Budget&) = delete;

  // Throws Error (ServerLimitsExceeded) and takes nothing when that would be too much. Without
  // authentication (an empty principal) users cannot be told apart: the limits of all hold alone.
  void take(const std::string& principal, const Amount& amount);
  void give_back(const std::string& principal, const Amount& amount);

 private:
  const Amount all_, each_;
  std::mutex mutex_;
  Amount taken_;
  std::map<std::string, Amount> users_;
};

// What one enumeration takes of it, given back by the destructor.
class Room {
 public:
  Room(Budget& budget, const std::string& principal);  // throws as Budget::take
  Room(Room&& other) noexcept;
  ~Room();

  void grow_to(std::size_t bytes);  // throws as Budget::take
  const std::string& principal() const { return principal_; }

 private:
  Budget* budget_;  // null when moved from
  std::string principal_;
  Budget::Amount held_;
};

}  // namespace broker::cimxml
