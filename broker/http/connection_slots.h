// How many connections there may be, and who has to go when there are too many.
//
// A connection is unknown until a user's log-in on it was right. Known and unknown ones have slots
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

class ConnectionSlots {
 public:
  // A connection's part in it.
  struct Slot {
    std::string network;    // address.h
    bool known = false;     // read only
    bool has_work = false;  // others work for its request or log-in: the last to go
    void* owner = nullptr;  // for the caller's use
    bool held = false;      // read only: it has a slot
    std::list<Slot*>::iterator position;
    std::map<std::string, std::size_t>::iterator count;
  };

  ConnectionSlots(std::size_t most_unknown, std::size_t most_known)
      : unknown_(most_unknown), known_(most_known) {}
  ConnectionSlots(const ConnectionSlots&) = delete;

  // Takes a slot among the unknown. Returns who has to go for it, or null. The object must stay
  // where it is until it leaves. Throws std::bad_alloc, and nothing has happened then.
  Slot* enter(Slot& slot);
  // The same among the known, but that a newcomer does not go. Where all others have work, it stays
  // unknown and is the result.
  Slot* become_known(Slot& slot);
  // The one to go when something else is short, or null.
  Slot* crowd_out() { return unknown_.crowded_out(); }
  void leave(Slot& slot) noexcept;

 private:
  struct Group {
    explicit Group(std::size_t limit) : most(limit) {}
    Slot* crowded_out();
    bool is_fullest(const Slot& slot) const;  // whether no network has more slots than its own

    const std::size_t most;
    std::list<Slot*> slots;  // the oldest first
    std::map<std::string, std::size_t> networks;
  };
  Group unknown_, known_;
};

}  // namespace broker::http
