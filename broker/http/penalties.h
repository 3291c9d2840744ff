// How long the answer to a failed log-in is held back, and how many may be.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace broker::http {

// Who wants to log in: the network (address.h) and the name that was given, whether there is such a
// user or not.
struct Claimant {
  std::string network;
  std::string user;
  bool operator==(const Claimant&) const = default;
};

// Counts failures by network and user, so that one client's failures do not keep its neighbours
// out. They are forgotten when none is added for a while. The number of records is bounded. Those
// of the few that fail often outlast those of the many that fail once, so that a flood of names
// wipes out nobody's record. Safe from any thread.
class Penalties {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // most_held: answers held back at a time, for each claimant.
  Penalties(std::chrono::milliseconds first, std::chrono::milliseconds longest,
            unsigned most_held = 1)
      : first_(first), longest_(longest), most_held_(most_held) {}

  // False while as many answers are held back as may be: no other log-in is looked at then.
  // waiting: those that wait to be looked at, which count as well.
  bool admits(const Claimant& claimant, std::size_t waiting,
              Time now = std::chrono::steady_clock::now());
  // Counts one more failure, of a log-in that came at this time. Returns how long after that its
  // answer goes; the delay doubles with each failure, up to the longest.
  std::chrono::milliseconds failed(const Claimant& claimant, Time came);

  // What has failed before. Who has failed less goes first.
  struct Past {
    std::size_t network = 0, user = 0;
    auto operator<=>(const Past&) const = default;
  };
  Past past(const Claimant& claimant);

  std::size_t size();  // records that are kept

 private:
  struct User {
    std::size_t failures = 0;
    std::chrono::milliseconds delay{};
    Time last{};
    std::vector<Time> held;  // until when
  };
  struct Network {
    std::size_t failures = 0;
    Time last{};
    std::map<std::string, User> users;
  };

  static bool is_forgotten(const User& record, Time now);
  void make_room(const Claimant& claimant, Time now);
  void drop_least(std::map<std::string, Network>::iterator network, Time now);

  const std::chrono::milliseconds first_, longest_;
  const unsigned most_held_;
  std::mutex lock_;
  std::map<std::string, Network> networks_;
  std::size_t records_ = 0;  // of all networks
  Time tidied_{};
};

}  // namespace broker::http
