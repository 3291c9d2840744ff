#include "broker/http/connection.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <exception>
#include <utility>

#include "broker/http/job.h"

namespace broker::http {
namespace {

using std::chrono::steady_clock;

constexpr int kTurns = 16;  // parts of one connection's work before others have their turn

}  // namespace

// On a worker.
void Connection::Job::answer() noexcept {
  Shared& shared = connection->shared_;
  try {
    head.call.body = body;
    shared.handler(head.call, exchange);
    exchange.finish();
  } catch (const cimxml::Reply::Gone&) {
    exchange.finish();
  } catch (const std::exception& error) {
    log_failure(shared.log, "a request could not be answered", error);
    exchange.fail();
  }
}

Connection::Connection(Shared& shared, platform::Descriptor socket, const Address& peer)
    : shared_(shared),
      socket_(std::move(socket)),
      peer_(peer),
      channel_(shared.channel(socket_.get())),
      patience_(steady_clock::now() + shared.limits.unknown),
      request_end_(patience_),
      reader_(std::in_place, shared.limits.header) {
  slot_.network = peer.network();
  slot_.owner = this;
}

void Connection::open() {
  shared_.loop.add(shared_from_this(), socket_.get(), EPOLLIN);
  ConnectionSlots::Slot* gone = nullptr;
  try {
    gone = shared_.slots.enter(slot_);
  } catch (...) {
    shared_.loop.remove(*this);
    throw;
  }
  shared_.loop.expire_at(*this, patience_);
  if (gone) static_cast<Connection*>(gone->owner)->close();
}

void Connection::close() noexcept {
  if (is_closed()) return;
  end_request();
  shared_.slots.leave(slot_);
  shared_.loop.remove(*this);
  channel_ = nullptr;
  // Here and not in the destructor: a worker may hold the object for long, and the client is to
  // learn of it now.
  socket_.close();
}

void Connection::hurried(bool to_the_end) noexcept {
  if (to_the_end || stage_ == Stage::Handshake || stage_ == Stage::Head || stage_ == Stage::Body)
    close();
}

// A request for which there is no memory is dropped, and its connection closed.
template <class Part>
void Connection::guarded(Part part) noexcept {
  try {
    part();
  } catch (const std::exception& error) {
    log_failure(shared_.log, "a request was dropped", error);
    close();
  }
}

void Connection::ready(std::uint32_t events) noexcept {
  const bool waits_for_more = stage_ == Stage::Reply && sent_ == out_.size() && !last_;
  const bool sleeps = stage_ == Stage::Admission || stage_ == Stage::Work || waits_for_more;
  if ((events & (EPOLLERR | EPOLLHUP)) != 0 && (sleeps || stage_ == Stage::Reply)) return close();
  if (sleeps) {
    // A client that sends no more may still read the reply. The connection's slot is given up, and
    // a call that waits for its turn need not begin.
    if ((events & EPOLLRDHUP) != 0) {
      client_ended_ = true;
      if (job_) job_->exchange.client_ended();
      if (stage_ != Stage::Admission) shared_.slots.leave(slot_);
      shared_.loop.want(*this, 0);
    }
    return;
  }
  if (stage_ == Stage::Handshake && shared_.secure) {
    // Woken in the order of all who shake hands, since a round of the loop has time for few. A
    // client that leaves before its turn costs no step.
    if ((events & (EPOLLERR | EPOLLHUP | EPOLLRDHUP)) != 0) return close();
    shared_.loop.want(*this, EPOLLRDHUP);
    return shared_.loop.wake(*this);
  }
  guarded([this] { advance(); });
}

void Connection::woken() noexcept {
  guarded([this] {
    // A wake can come late, from an earlier stage: each stage looks for news of its own.
    if (stage_ == Stage::Admission) {
      // While its refusal is held back, a connection may lose its slot to others.
      if (job_->log_in_is_held) slot_.has_work = false;
      if (!job_->log_in_is_answered) return;
      slot_.has_work = false;
      if (job_->log_in == LogIns::Admission::Admitted) {
        become_known();
      } else {
        refusal_ = job_->log_in == LogIns::Admission::Refused ? wrong_log_in() : busy();
      }
      admitted();
    } else if (stage_ == Stage::Work) {
      if (!job_->exchange.has_news()) return;
      stage_ = Stage::Reply;
      reply_end_ = steady_clock::now() + shared_.limits.reply;
    }
    advance();
  });
}

void Connection::advance() {
  for (int turn = 0; !is_closed(); ++turn) {
    if (turn == kTurns) return shared_.loop.wake(*this);
    bool more = false;
    switch (stage_) {
      case Stage::Handshake:
        more = shake_hands();
        break;
      case Stage::Head:
      case Stage::Body:
        more = receive();
        break;
      case Stage::Reply:
        more = send();
        break;
      case Stage::Goodbye:
        more = take_leave();
        break;
      case Stage::Admission:
      case Stage::Work:
        break;
    }
    if (!more) return;
  }
}

bool Connection::wait_for(Channel::State state) {
  switch (state) {
    case Channel::State::WantsRead:
      shared_.loop.want(*this, EPOLLIN);
      break;
    case Channel::State::WantsWrite:
      shared_.loop.want(*this, EPOLLOUT);
      break;
    default:
      close();
  }
  return false;
}

bool Connection::shake_hands() {
  Channel::State state{};
  if (!shared_.take_handshake_step([&] { state = channel_->shake_hands(); })) {
    shared_.loop.wake(*this);
    return false;
  }
  if (state != Channel::State::Good) return wait_for(state);
  stage_ = Stage::Head;
  return true;
}

}  // namespace broker::http
