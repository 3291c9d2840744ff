#include "broker/cimxml/budget.h"

#include <utility>

#include "broker/error.h"

namespace broker::cimxml {
namespace {

bool fits(const Budget::Amount& taken, const Budget::Amount& more, const Budget::Amount& limit) {
  return taken.number + more.number <= limit.number && taken.bytes + more.bytes <= limit.bytes;
}

void add(Budget::Amount& taken, const Budget::Amount& more) {
  taken.number += more.number;
  taken.bytes += more.bytes;
}

void subtract(Budget::Amount& taken, const Budget::Amount& less) {
  taken.number -= less.number;
  taken.bytes -= less.bytes;
}

}  // namespace

void Budget::take(const std::string& principal, const Amount& amount) {
  const std::lock_guard lock(mutex_);
  const auto found = users_.find(principal);
  const Amount own = found == users_.end() ? Amount() : found->second;
  if (!fits(taken_, amount, all_) || (!principal.empty() && !fits(own, amount, each_))) {
    throw Error(Status::ServerLimitsExceeded, amount.number != 0
                                                  ? "there are too many open enumerations"
                                                  : "the open enumerations hold too many objects");
  }
  add(users_[principal], amount);
  add(taken_, amount);
}

void Budget::give_back(const std::string& principal, const Amount& amount) {
  const std::lock_guard lock(mutex_);
  subtract(taken_, amount);
  const auto found = users_.find(principal);
  subtract(found->second, amount);
  if (found->second.number == 0) users_.erase(found);
}

Room::Room(Budget& budget, const std::string& principal)
    : budget_(&budget), principal_(principal), held_{1, 0} {
  budget.take(principal_, held_);
}

Room::Room(Room&& other) noexcept
    : budget_(std::exchange(other.budget_, nullptr)),
      principal_(std::move(other.principal_)),
      held_(other.held_) {}

Room::~Room() {
  if (budget_) budget_->give_back(principal_, held_);
}

void Room::grow_to(std::size_t bytes) {
  budget_->take(principal_, {0, bytes - held_.bytes});
  held_.bytes = bytes;
}

}  // namespace broker::cimxml
