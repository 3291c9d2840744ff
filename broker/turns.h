// Lets calls of one method run one at a time. A few others wait for their turn: first come, first
// served. Further ones are refused at once, so that calls do not pile up, each with its thread and
// its client, behind a call that takes minutes.
//
// A call that waits is dropped when its client has gone; one that has its turn keeps it to its end.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "broker/object_manager.h"

namespace broker {

class Turns {
 public:
  using HasGone = std::function<bool()>;
  using Note = std::function<void(const std::string&)>;

  // The right of a call to run, or nothing. When it is destroyed, the next call gets its turn.
  class Turn {
   public:
    Turn() = default;
    explicit Turn(Turns& turns) : turns_(&turns) {}
    Turn(Turn&& other) noexcept
        : turns_(std::exchange(other.turns_, nullptr)), company_(std::move(other.company_)) {}
    ~Turn() {
      company_.reset();
      if (turns_) turns_->give_back();
    }

   private:
    friend class Turns;
    Turns* turns_ = nullptr;
    std::shared_ptr<void> company_;
  };

  // settings must outlive this. note receives a line for every call that begins to wait, and for
  // every call that gets no turn.
  Turns(const OneAtATime& settings, Note note);
  Turns(const Turns&) = delete;

  const OneAtATime& settings() const { return settings_; }

  // Blocks until it is this call's turn. subject: what it works on. gone: whether its client has
  // gone; when it is unset, the client has not. gone is called while the call waits, now and then
  // and whenever another call comes or ends, on the thread of any of them. Throws Error:
  // ServerLimitsExceeded at once where enough others wait, or where one with the same subject does;
  // Failed when the client has gone; ServerIsShuttingDown after close().
  Turn take(const std::string& subject, const HasGone& gone);

  // Refuses the calls that wait and those that follow. The call that has its turn goes on.
  void close();

  std::size_t waiting() const;

 private:
  // A call that waits in the queue.
  enum class State { Waits, Begins, Dropped };
  struct Waiting {
    const std::string& subject;
    const HasGone& gone;
    State state = State::Waits;
  };

  void admit(const std::string& subject) const;
  void wait(std::unique_lock<std::mutex>& lock, Waiting& call);
  void drop_gone();
  void give_back();

  const OneAtATime& settings_;
  const Note note_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Waiting*> queue_;
  bool taken_ = false;
  bool closed_ = false;
};

}  // namespace broker
