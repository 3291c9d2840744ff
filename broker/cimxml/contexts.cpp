#include "broker/cimxml/contexts.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "broker/cimxml/enumeration_status.h"

namespace broker::cimxml {

std::string_view Batch::take(std::size_t count) {
  const std::size_t last = next_ + std::min(count, this->count());
  const std::size_t begin = next_ == 0 ? 0 : ends_[next_ - 1];
  const std::size_t end = last == 0 ? 0 : ends_[last - 1];
  next_ = last;
  return text_.view().substr(begin, end - begin);
}

std::size_t Contexts::erase_expired() {
  const Time now = now_();
  return std::erase_if(entries_, [now](const auto& entry) { return entry.second.deadline <= now; });
}

std::size_t Contexts::drop_expired() {
  const std::lock_guard lock(mutex_);
  return erase_expired();
}

Room Contexts::reserve(const std::string& principal) {
  const std::lock_guard lock(mutex_);
  erase_expired();
  return Room(budget_, principal);
}

std::string Contexts::open(Batch batch, Room room, bool paths, unsigned seconds) {
  const std::lock_guard lock(mutex_);
  char name[33];
  do {
    std::snprintf(name, sizeof name, "%08x%08x%08x%08x", random_(), random_(), random_(),
                  random_());
  } while (entries_.contains(name));
  const std::chrono::seconds time(seconds);
  const Time now = now_();
  entries_.emplace(name, Entry{std::move(batch), std::move(room), paths, time,
                               now + std::min(time, life_), now + life_});
  return name;
}

Contexts::Entries::iterator Contexts::find(const std::string& name, const std::string& principal) {
  erase_expired();
  const auto found = entries_.find(name);
  if (found == entries_.end() || found->second.room.principal() != principal) {
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
  entry.deadline = std::min(now_() + entry.time, entry.end);
  if (result.end) entries_.erase(found);
  return result;
}

void Contexts::close(const std::string& name, const std::string& principal) {
  const std::lock_guard lock(mutex_);
  entries_.erase(find(name, principal));
}

}  // namespace broker::cimxml
