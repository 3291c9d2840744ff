#include "broker/http/penalties.h"

#include <algorithm>
#include <iterator>
#include <tuple>

namespace broker::http {
namespace {

constexpr std::chrono::minutes kForgottenAfter{5};
constexpr std::size_t kMostNetworks = 1000;
constexpr std::size_t kMostRecords = 4000;
constexpr std::size_t kMostRecordsOfANetwork = 250;

}  // namespace

bool Penalties::admits(const Claimant& claimant, std::size_t waiting, Time now) {
  const std::lock_guard guard(lock_);
  const auto network = networks_.find(claimant.network);
  if (network != networks_.end()) {
    const auto record = network->second.users.find(claimant.user);
    if (record != network->second.users.end())
      waiting += static_cast<std::size_t>(
          std::ranges::count_if(record->second.held, [now](Time until) { return until > now; }));
  }
  return waiting < most_held_;
}

std::chrono::milliseconds Penalties::failed(const Claimant& claimant, Time came) {
  const std::lock_guard guard(lock_);
  make_room(claimant, came);
  Network& network = networks_[claimant.network];
  const auto [entry, added] = network.users.try_emplace(claimant.user);
  if (added) ++records_;
  User& record = entry->second;
  std::erase_if(record.held, [came](Time until) { return until <= came; });
  record.delay = added ? first_ : std::min(record.delay * 2, longest_);
  record.held.push_back(came + record.delay);
  record.last = std::max(record.last, came);
  network.last = record.last;
  ++record.failures;
  ++network.failures;
  return record.delay;
}

Penalties::Past Penalties::past(const Claimant& claimant) {
  const std::lock_guard guard(lock_);
  const auto network = networks_.find(claimant.network);
  if (network == networks_.end()) return {};
  const auto record = network->second.users.find(claimant.user);
  return {network->second.failures,
          record == network->second.users.end() ? 0 : record->second.failures};
}

std::size_t Penalties::size() {
  const std::lock_guard guard(lock_);
  return records_;
}

bool Penalties::is_forgotten(const User& record, Time now) {
  return now - record.last > kForgottenAfter &&
         std::ranges::all_of(record.held, [now](Time until) { return until <= now; });
}

void Penalties::make_room(const Claimant& claimant, Time now) {
  // All are looked through once a second at most.
  if (now - tidied_ >= std::chrono::seconds(1)) {
    tidied_ = now;
    for (auto network = networks_.begin(); network != networks_.end();) {
      records_ -= std::erase_if(network->second.users,
                                [now](const auto& user) { return is_forgotten(user.second, now); });
      network = network->second.users.empty() ? networks_.erase(network) : std::next(network);
    }
  }
  const auto network = networks_.find(claimant.network);
  const bool is_new_network = network == networks_.end();
  if (!is_new_network && network->second.users.contains(claimant.user)) return;
  if (is_new_network && networks_.size() >= kMostNetworks) {
    const auto least = std::ranges::min_element(networks_, {}, [](const auto& one) {
      return std::tuple(one.second.failures, one.second.last);
    });
    records_ -= least->second.users.size();
    networks_.erase(least);
  }
  if (!is_new_network && network->second.users.size() >= kMostRecordsOfANetwork)
    drop_least(network, now);
  if (records_ >= kMostRecords)
    drop_least(std::ranges::max_element(networks_, {},
                                        [](const auto& one) { return one.second.users.size(); }),
               now);
}

void Penalties::drop_least(std::map<std::string, Network>::iterator network, Time now) {
  auto& users = network->second.users;
  users.erase(std::ranges::min_element(users, {}, [now](const auto& user) {
    const User& record = user.second;
    const bool is_held =
        std::ranges::any_of(record.held, [now](Time until) { return until > now; });
    return std::tuple(record.delay, is_held, record.last);
  }));
  --records_;
  if (users.empty()) networks_.erase(network);
}

}  // namespace broker::http
