// Open enumerations: what clients have not yet pulled, as text that is ready to send. An
// enumeration that has expired is dropped at the next call for any of them, or by drop_expired, and
// counts towards the limits until then.
//
// Threads: every function may be called by any thread.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "broker/cimxml/budget.h"
#include "broker/cimxml/service.h"
#include "broker/cimxml/xml_text.h"

namespace broker::cimxml {

// Objects as text, one element each.
class Batch {
 public:
  Text& text() { return text_; }
  void end_object() { ends_.push_back(text_.size()); }
  std::size_t bytes() const { return text_.size(); }
  std::size_t count() const { return ends_.size() - next_; }  // left
  std::string_view take(std::size_t count);                   // at most that many

 private:
  Text text_;
  std::vector<std::size_t> ends_;
  std::size_t next_ = 0;
};

class Contexts {
 public:
  using Time = std::chrono::steady_clock::time_point;
  struct Pulled {
    std::string objects;
    bool end;
  };

  Contexts(const Limits& limits, Now now)
      : life_(limits.context_life_seconds),
        now_(std::move(now)),
        budget_({limits.contexts, limits.context_bytes},
                {limits.contexts_of_one, limits.context_bytes_of_one}) {}

  // The room of a new enumeration, from the gathering of its objects to its end. Throws Error
  // (ServerLimitsExceeded) when there are too many already.
  Room reserve(const std::string& principal);
  // seconds: how long the enumeration stays open without a pull. However often it is pulled, it
  // ends when its life is over. Returns its name, which nobody can guess.
  std::string open(Batch batch, Room room, bool paths, unsigned seconds);
  // Throws Error (21, invalid enumeration context) when no open enumeration of this principal and
  // kind has that name.
  Pulled pull(const std::string& name, bool paths, const std::string& principal, std::size_t count);
  void close(const std::string& name, const std::string& principal);
  // Returns how many there were.
  std::size_t drop_expired();

 private:
  struct Entry {
    Batch batch;
    Room room;
    bool paths;
    std::chrono::seconds time;
    Time deadline;
    Time end;  // of its life
  };
  using Entries = std::map<std::string, Entry, std::less<>>;

  // The lock is held.
  Entries::iterator find(const std::string& name, const std::string& principal);
  std::size_t erase_expired();

  const std::chrono::seconds life_;
  const Now now_;
  Budget budget_;
  std::mutex mutex_;
  Entries entries_;
  std::random_device random_;
};

}  // namespace broker::cimxml
