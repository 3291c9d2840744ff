// How many connections there may be, and who has to go when there are too many.
//
// A connection is unknown until a user's log-in on it was right. Known and unknown ones have places
// of their own, so that nobody without a password can keep out those who have one. When there are
// too many unknown ones, one has to go of the network that has the most of them: the oldest for
// which no worker is busy. Where all others have work, the new connection is closed, if it comes
// from that network. Not safe from several threads.
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
    bool has_work = false;  // others work for its request or log-in: the last to go
    void* owner = nullptr;  // for the caller's use
    bool held = false;      // read only: it has a place
    std::list<Place*>::iterator position;
    std::map<std::string, std::size_t>::iterator count;
  };

  Places(std::size_t most_unknown, std::size_t most_known)
      : unknown_(most_unknown), known_(most_known) {}
  Places(const Places&) = delete;

  // Takes a place among the unknown. Returns who has to go for it, or null. The object must stay
  // where it is until it leaves. Throws std::bad_alloc, and nothing has happened then.
  Place* enter(Place& place);
  // The same among the known, but that a newcomer does not go. Where all others have work, it stays
  // unknown and is the result.
  Place* become_known(Place& place);
  // The one to go when something else is short, or null.
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
