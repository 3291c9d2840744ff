#include "broker/turns.h"

#include <chrono>
#include <utility>

namespace broker {
namespace {

// How often waiting calls look whether their clients have gone. A call without a client keeps its
// thread for at most this long.
constexpr std::chrono::milliseconds kLookForGone{500};

}  // namespace

Turns::Turns(const OneAtATime& settings, Note note) : settings_(settings), note_(std::move(note)) {}

Turns::Turn Turns::take(const std::string& subject, const HasGone& gone) {
  try {
    std::unique_lock lock(mutex_);
    if (taken_ || closed_) {
      drop_gone();
      admit(subject);
      Waiting call{subject, gone};
      wait(lock, call);
    }
    taken_ = true;
  } catch (const Error& error) {
    const std::string text =
        settings_.method + " for " + subject + " was not begun: " + error.description();
    note_(text);
    throw Error(error.status(), text);
  }
  Turn turn(*this);
  if (settings_.accompany) turn.company_ = settings_.accompany(subject);
  return turn;
}

void Turns::admit(const std::string& subject) const {
  for (const Waiting* other : queue_) {
    if (other->subject == subject)
      throw Error(Status::ServerLimitsExceeded,
                  "another call waits for the same " + settings_.argument + " already");
  }
  if (queue_.size() >= settings_.most_waiting)
    throw Error(Status::ServerLimitsExceeded, std::to_string(queue_.size()) +
                                                  " calls wait for their turn already; try again "
                                                  "later");
}

void Turns::wait(std::unique_lock<std::mutex>& lock, Waiting& call) {
  const std::string note = settings_.method + " for " + call.subject + " waits for its turn";
  queue_.push_back(&call);
  lock.unlock();
  note_(note);
  lock.lock();
  drop_gone();
  while (call.state == State::Waits && !closed_) {
    changed_.wait_for(lock, kLookForGone);
    drop_gone();
  }
  if (call.state == State::Dropped) throw Error(Status::Failed, "its client has gone");
  if (!closed_) return;
  std::erase(queue_, &call);
  if (call.state == State::Begins) taken_ = false;
  throw Error(Status::ServerIsShuttingDown, "the server is shutting down");
}

void Turns::drop_gone() {
  const std::size_t dropped = std::erase_if(queue_, [](Waiting* call) {
    if (call->gone && call->gone()) call->state = State::Dropped;
    return call->state == State::Dropped;
  });
  if (dropped != 0) changed_.notify_all();
}

// Hands the turn to the next call before that wakes up, so that a call that comes meanwhile finds
// its place in the queue free.
void Turns::give_back() {
  const std::lock_guard lock(mutex_);
  drop_gone();
  taken_ = !queue_.empty();
  if (!taken_) return;
  queue_.front()->state = State::Begins;
  queue_.pop_front();
  changed_.notify_all();
}

void Turns::close() {
  const std::lock_guard lock(mutex_);
  closed_ = true;
  changed_.notify_all();
}

std::size_t Turns::waiting() const {
  const std::lock_guard lock(mutex_);
  return queue_.size();
}

}  // namespace broker
