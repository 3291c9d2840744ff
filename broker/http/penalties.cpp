#include "broker/http/penalties.h"

#include <algorithm>

namespace broker::http {
namespace {

constexpr std::chrono::minutes forgotten_after{5};
constexpr std::size_t most_entries = 1000;  // then the oldest is forgotten

}  // namespace

std::chrono::milliseconds Penalties::failed(const std::string& address, Time now) {
  const std::lock_guard guard(lock_);
  std::erase_if(entries_,
                [&](const auto& entry) { return now - entry.second.last > forgotten_after; });
  if (entries_.size() >= most_entries && !entries_.contains(address)) {
    entries_.erase(std::min_element(
        entries_.begin(), entries_.end(),
        [](const auto& a, const auto& b) { return a.second.last < b.second.last; }));
  }
  const auto [entry, added] = entries_.try_emplace(address, Entry{first_, now});
  if (!added) entry->second = {std::min(entry->second.delay * 2, longest_), now};
  return entry->second.delay;
}

}  // namespace broker::http
