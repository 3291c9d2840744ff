// How many connections there may be, and who has to go when there are too many.
//
// A connection is unknown until a user's log-in on it was right. Known and unknown ones have places
// of their own, so that nobody without a password can keep out those who have one. When the places
// of the unknown are short, a connection goes of the network that has the most of them: the oldest
// that holds nobody up but itself. Where all others have work, that is the newcomer only if he is
// of that network. Not safe from several threads.
#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <string>

namespace broker::http {

class Places {
 public:
  // A connection's part in it.
  struct Place {
    std::string network;    // address.h
    bool known = false;     // read only
    bool has_work = false;  // its request or log-in is with a worker: the last to go
    void* owner = nullptr;  // for the caller's use
    bool held = false;      // read only: it has a place
    std::list<Place*>::iterator position;
    std::map<std::string, std::size_t>::iterator count;
  };

  Places(std::size_t most_unknown, std::size_t most_known)
      : unknown_(most_unknown), known_(most_known) {}
  Places(const Places&) = delete;

  // Takes a place among the unknown. Returns who has to go for it, or null. The place must stay
  // where it is until it leaves. Throws std::bad_alloc, and nothing has happened then.
  Place* enter(Place& place);
  // The same for the known. The one to go is never this one; where all others have work this one
  // stays unknown, and the result is this one.
  Place* become_known(Place& place);
  // The one to go when there is want of something else, or null.
  Place* crowd_out() { return unknown_.crowded_out(); }
  void leave(Place& place) noexcept;

 private:
  struct Kind {
    explicit Kind(std::size_t limit) : most(limit) {}
    Place* crowded_out();
    bool is_fullest(const Place& place) const;  // whether no network has more places than its own

    const std::size_t most;
    std::list<Place*> places;  // the oldest first
    std::map<std::string, std::size_t> networks;
  };
  Kind unknown_, known_;
};

}  // namespace broker::http
