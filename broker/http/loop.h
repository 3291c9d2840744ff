// One thread for all connections of a server: waits for sockets, for times and for other threads,
// and calls whom it concerns.
//
// An owner that is called must be quick and must not block, since all others wait for it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <mutex>

#include "platform/descriptor.h"

namespace broker::http {

class Loop {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // Somebody with a socket. Called on the loop's thread.
  class SocketOwner : public std::enable_shared_from_this<SocketOwner> {
   public:
    virtual ~SocketOwner() = default;
    virtual void ready(std::uint32_t events) noexcept = 0;  // those of epoll(7)
    virtual void woken() noexcept = 0;                      // after a wake
    virtual void expired() noexcept = 0;                    // its time has come (expire_at)
    // The server is ending. to_the_end: this is the last call; the loop lets go of the owner.
    virtual void hurried(bool to_the_end) noexcept = 0;

   private:
    friend class Loop;
    int socket_ = -1;
    std::uint32_t events_ = 0;
    std::list<std::shared_ptr<SocketOwner>>::iterator place_;
    std::multimap<Time, SocketOwner*>::iterator deadline_;
    bool present_ = false;  // in the loop
    bool woken_ = false;
    std::shared_ptr<SocketOwner> next_woken_;
  };

  Loop();  // throws std::system_error
  Loop(const Loop&) = delete;

  // Calls owners until stop, and then each of them once more. The thread that calls this is the
  // loop's.
  void run();

  // From any thread. Neither asks for memory, so neither fails.
  void stop() noexcept;
  // Has the owner called, once for several wakes. Does nothing to one that was removed.
  void wake(SocketOwner& owner) noexcept;

  // From another thread, while the loop runs. Returns when every owner has been hurried.
  void hurry();

  // On the loop's thread, or before it runs. The socket stays the owner's. Throws
  // std::system_error or std::bad_alloc, and has done nothing then.
  void add(const std::shared_ptr<SocketOwner>& owner, int socket, std::uint32_t events);
  // The events that an owner waits for; EPOLLHUP and EPOLLERR come unasked. It is called as long as
  // they hold (level-triggered).
  void want(SocketOwner& owner, std::uint32_t events) noexcept;
  // Time::max(): never. Replaces the time before.
  void expire_at(SocketOwner& owner, Time time) noexcept;
  // The owner is not called any more. The loop lets go of it at the end of the round, when nobody
  // is being called.
  void remove(SocketOwner& owner) noexcept;
  // Counts rounds. In each, everybody who was ready is called once.
  std::uint64_t round() const { return round_; }

 private:
  void call_woken();
  void call_expired();
  void call_hurried(bool to_the_end);
  int milliseconds_left() const;

  platform::Descriptor epoll_;
  platform::Descriptor event_;  // readable when a thread wants the loop to look
  std::list<std::shared_ptr<SocketOwner>> owners_;
  std::list<std::shared_ptr<SocketOwner>> removed_;
  std::multimap<Time, SocketOwner*> deadlines_;
  std::uint64_t round_ = 0;

  std::mutex lock_;
  std::shared_ptr<SocketOwner> first_woken_;
  std::condition_variable changed_;
  unsigned hurries_asked_ = 0, hurries_done_ = 0;
  bool stopping_ = false;
};

}  // namespace broker::http
