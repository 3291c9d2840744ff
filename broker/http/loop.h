// Waits for sockets, for times and for word from other threads, and lets whom it concerns go on:
// one thread for all connections of a server.
//
// What a source does when it is called must be short and must not block: all others wait for it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <mutex>

namespace broker::http {

class Loop {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // Somebody with a socket. Called on the loop's thread; what a source throws is a defect.
  class Source : public std::enable_shared_from_this<Source> {
   public:
    virtual ~Source() = default;
    virtual void ready(std::uint32_t events) noexcept = 0;  // those of epoll(7)
    virtual void woken() noexcept = 0;                      // after a wake
    virtual void expired() noexcept = 0;                    // its time is over
    // The server is ending; to_the_end: this is the last call, after which the loop lets go of it.
    virtual void hurried(bool to_the_end) noexcept = 0;

   private:
    friend class Loop;
    int socket_ = -1;
    std::uint32_t events_ = 0;
    std::list<std::shared_ptr<Source>>::iterator place_;
    std::multimap<Time, Source*>::iterator deadline_;
    bool present_ = false;  // in the loop
    bool woken_ = false;
    std::shared_ptr<Source> next_woken_;
  };

  Loop();  // throws std::system_error
  ~Loop();
  Loop(const Loop&) = delete;

  // Calls sources until stop, and all of them once more then; on the thread that is the loop's from
  // then on.
  void run();

  // From any thread. Neither asks for memory.
  void stop() noexcept;
  // Calls it once for several wakes; one that has gone is left alone.
  void wake(Source& source) noexcept;

  // From another thread, while it runs: returns when every source has been hurried.
  void hurry();

  // On the loop's thread, or before it runs. The socket stays the source's. Throws
  // std::system_error or std::bad_alloc, and has done nothing then.
  void add(const std::shared_ptr<Source>& source, int socket, std::uint32_t events);
  // Events that a source waits for; EPOLLHUP and EPOLLERR come without. They come as long as they
  // hold (level-triggered).
  void want(Source& source, std::uint32_t events) noexcept;
  // Time::max(): never. Replaces the time before.
  void expire_at(Source& source, Time time) noexcept;
  // It is called no more. What the loop holds of it goes when nobody is being called.
  void remove(Source& source) noexcept;
  // How often everybody who was ready has had his turn.
  std::uint64_t round() const { return round_; }

 private:
  void call_woken();
  void call_expired();
  void call_hurried(bool to_the_end);
  int milliseconds_left() const;

  int epoll_ = -1;
  int event_ = -1;  // readable when a thread wants the loop to look
  std::list<std::shared_ptr<Source>> sources_;
  std::list<std::shared_ptr<Source>> removed_;
  std::multimap<Time, Source*> deadlines_;
  std::uint64_t round_ = 0;

  std::mutex lock_;
  std::shared_ptr<Source> first_woken_;
  std::condition_variable changed_;
  unsigned hurries_asked_ = 0, hurries_done_ = 0;
  bool stopping_ = false;
};

}  // namespace broker::http
