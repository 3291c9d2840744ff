#include "broker/http/loop.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace broker::http {
namespace {

[[noreturn]] void fail(const char* doing) {
  throw std::system_error(errno, std::generic_category(), doing);
}

}  // namespace

Loop::Loop()
    : epoll_(epoll_create1(EPOLL_CLOEXEC)), event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  epoll_event event{};
  event.events = EPOLLIN;
  if (epoll_ && event_ && epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, event_.get(), &event) == 0) return;
  fail("cannot wait for connections");
}

void Loop::add(const std::shared_ptr<SocketOwner>& owner, int socket, std::uint32_t events) {
  const auto place = owners_.insert(owners_.end(), owner);
  try {
    owner->deadline_ = deadlines_.emplace(Time::max(), owner.get());
  } catch (...) {
    owners_.erase(place);
    throw;
  }
  epoll_event event{};
  event.events = events;
  event.data.ptr = owner.get();
  if (epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, socket, &event) != 0) {
    const int error = errno;
    deadlines_.erase(owner->deadline_);
    owners_.erase(place);
    errno = error;
    fail("cannot wait for a connection");
  }
  owner->socket_ = socket;
  owner->events_ = events;
  owner->place_ = place;
  owner->present_ = true;
}

void Loop::want(SocketOwner& owner, std::uint32_t events) noexcept {
  if (!owner.present_ || owner.events_ == events) return;
  epoll_event event{};
  event.events = events;
  event.data.ptr = &owner;
  epoll_ctl(epoll_.get(), EPOLL_CTL_MOD, owner.socket_, &event);
  owner.events_ = events;
}

void Loop::expire_at(SocketOwner& owner, Time time) noexcept {
  if (!owner.present_ || owner.deadline_->first == time) return;
  auto node = deadlines_.extract(owner.deadline_);
  node.key() = time;
  owner.deadline_ = deadlines_.insert(std::move(node));
}

void Loop::remove(SocketOwner& owner) noexcept {
  if (!std::exchange(owner.present_, false)) return;
  epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, owner.socket_, nullptr);
  deadlines_.erase(owner.deadline_);
  removed_.splice(removed_.end(), owners_, owner.place_);
}

void Loop::stop() noexcept {
  {
    const std::lock_guard guard(lock_);
    stopping_ = true;
  }
  eventfd_write(event_.get(), 1);
}

void Loop::wake(SocketOwner& owner) noexcept {
  {
    const std::lock_guard guard(lock_);
    if (std::exchange(owner.woken_, true)) return;
    owner.next_woken_ = std::move(first_woken_);
    first_woken_ = owner.shared_from_this();
    if (owner.next_woken_) return;  // the first of the list has told the loop already
  }
  eventfd_write(event_.get(), 1);
}

void Loop::call_woken() {
  std::shared_ptr<SocketOwner> first;
  std::unique_lock guard(lock_);
  // Wakes are put in front of the list: it is turned round, so that they are called in their order.
  for (auto owner = std::move(first_woken_); owner;) {
    auto next = std::exchange(owner->next_woken_, std::move(first));
    first = std::move(owner);
    owner = std::move(next);
  }
  while (first) {
    auto next = std::move(first->next_woken_);
    first->woken_ = false;  // before the call: a wake from here on needs another one
    guard.unlock();
    if (first->present_) first->woken();
    first = std::move(next);
    guard.lock();
  }
}

void Loop::call_expired() {
  const Time now = std::chrono::steady_clock::now();
  while (!deadlines_.empty() && deadlines_.begin()->first <= now) {
    SocketOwner& owner = *deadlines_.begin()->second;
    expire_at(owner, Time::max());
    owner.expired();
  }
}

void Loop::hurry() {
  std::unique_lock guard(lock_);
  const unsigned mine = ++hurries_asked_;
  eventfd_write(event_.get(), 1);
  changed_.wait(guard, [&] { return hurries_done_ >= mine; });
}

void Loop::call_hurried(bool to_the_end) {
  std::unique_lock guard(lock_);
  const unsigned asked = hurries_asked_;
  if (asked == hurries_done_ && !to_the_end) return;
  guard.unlock();
  for (auto place = owners_.begin(); place != owners_.end();) {
    SocketOwner& owner = **place;
    ++place;  // before the call, which may move the owner to the list of the removed
    owner.hurried(to_the_end);
  }
  guard.lock();
  hurries_done_ = asked;
  changed_.notify_all();
}

int Loop::milliseconds_left() const {
  if (deadlines_.empty() || deadlines_.begin()->first == Time::max()) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadlines_.begin()->first -
                                                                 std::chrono::steady_clock::now());
  return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 60'000));
}

void Loop::run() {
  std::array<epoll_event, 128> events{};
  while (true) {
    ++round_;
    const int count = epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()),
                                 milliseconds_left());
    for (int i = 0; i < count; ++i) {
      SocketOwner* const owner =
          static_cast<SocketOwner*>(events[static_cast<std::size_t>(i)].data.ptr);
      if (!owner) {
        eventfd_t ignored;
        eventfd_read(event_.get(), &ignored);
      } else if (owner->present_) {  // one before it may have ended it
        owner->ready(events[static_cast<std::size_t>(i)].events);
      }
    }
    call_woken();
    call_expired();
    std::unique_lock guard(lock_);
    const bool stopping = stopping_;
    guard.unlock();
    call_hurried(stopping);
    removed_.clear();
    if (stopping) return;
  }
}

}  // namespace broker::http
