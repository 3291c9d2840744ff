#include "broker/cimxml/contexts.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "broker/cimxml/status.h"

namespace broker::cimxml {

std::string_view Batch::take(std::size_t count) {
  const std::size_t last = next_ + std::min(count, this->count());
  const std::size_t begin = next_ == 0 ? 0 : ends_[next_ - 1];
  const std::size_t end = last == 0 ? 0 : ends_[last - 1];
  next_ = last;
  return text_.view().substr(begin, end - begin);
}

void Contexts::drop_expired() {
  const auto now = Clock::now();
  for (auto at = entries_.begin(); at != entries_.end();) {
    at = at->second.deadline <= now ? erase(at) : std::next(at);
  }
}

Contexts::Entries::iterator Contexts::erase(Entries::iterator at) {
  bytes_ -= at->second.batch.bytes();
  return entries_.erase(at);
}

void Contexts::check_room(std::size_t bytes) const {
  if (entries_.size() >= limits_.contexts || bytes_ + bytes > limits_.context_bytes) {
    throw Error(Status::ServerLimitsExceeded, "there are too many open enumerations");
  }
}

void Contexts::check_room() {
  const std::lock_guard lock(mutex_);
  drop_expired();
  check_room(0);
}

std::string Contexts::open(Batch batch, bool paths, const std::string& principal,
                           unsigned seconds) {
  const std::lock_guard lock(mutex_);
  drop_expired();
  check_room(batch.bytes());
  char name[33];
  do {
    std::snprintf(name, sizeof name, "%08x%08x%08x%08x", random_(), random_(), random_(),
                  random_());
  } while (entries_.contains(name));
  const std::chrono::seconds time(seconds);
  const std::size_t bytes = batch.bytes();
  entries_.emplace(name, Entry{std::move(batch), paths, principal, time, Clock::now() + time});
  bytes_ += bytes;
  return name;
}

Contexts::Entries::iterator Contexts::find(const std::string& name, const std::string& principal) {
  drop_expired();
  const auto found = entries_.find(name);
  if (found == entries_.end() || found->second.principal != principal) {
    throw Error(kInvalidEnumerationContext, "there is no such open enumeration");
  }
  return found;
}

Contexts::Pulled Contexts::pull(const std::string& name, bool paths, const std::string& principal,
                                std::size_t count) {
  const std::lock_guard lock(mutex_);
  const auto found = find(name, principal);
  Entry& entry = found->second;
  if (entry.paths != paths) {
    throw Error(kInvalidEnumerationContext, paths ? "the enumeration is one of instances"
                                                  : "the enumeration is one of instance paths");
  }
  Pulled result{std::string(entry.batch.take(count)), entry.batch.count() == 0};
  entry.deadline = Clock::now() + entry.time;
  if (result.end) erase(found);
  return result;
}

void Contexts::close(const std::string& name, const std::string& principal) {
  const std::lock_guard lock(mutex_);
  erase(find(name, principal));
}

}  // namespace broker::cimxml
