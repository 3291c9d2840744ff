#include "broker/http/penalties.h"

#include <algorithm>
#include <utility>

namespace broker::http {
namespace {

constexpr std::chrono::minutes forgotten_after{5};
constexpr std::size_t most_entries = 1000;  // then the oldest is forgotten

}  // namespace

bool Penalties::admits(const std::string& network) {
  const std::lock_guard guard(lock_);
  const auto entry = entries_.find(network);
  return entry == entries_.end() || entry->second.held < most_held_;
}

std::chrono::milliseconds Penalties::failed(const std::string& network, Time now) {
  const std::lock_guard guard(lock_);
  std::erase_if(entries_, [&](const auto& entry) {
    return entry.second.held == 0 && now - entry.second.last > forgotten_after;
  });
  if (entries_.size() >= most_entries && !entries_.contains(network)) {
    // One with answers held back only if all have some.
    const auto rank = [](const auto& entry) {
      return std::pair(entry.second.held > 0, entry.second.last);
    };
    entries_.erase(
        std::min_element(entries_.begin(), entries_.end(),
                         [&](const auto& a, const auto& b) { return rank(a) < rank(b); }));
  }
  const auto [entry, added] = entries_.try_emplace(network, Entry{first_, now, 0});
  Entry& counted = entry->second;
  if (!added) counted.delay = std::min(counted.delay * 2, longest_);
  counted.last = now;
  ++counted.held;
  return counted.delay;
}

void Penalties::answered(const std::string& network) {
  const std::lock_guard guard(lock_);
  const auto entry = entries_.find(network);
  if (entry != entries_.end() && entry->second.held > 0) --entry->second.held;
}

}  // namespace broker::http
