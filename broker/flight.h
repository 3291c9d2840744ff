// Counts an operation that came from outside while it runs, so that the end of the manager can wait
// for it. An up-call from within a provider's call belongs to an operation that is counted already;
// an up-call of an attached thread is counted itself.
#pragma once

#include "broker/core.h"

namespace broker {

class Core::Flight {
 public:
  explicit Flight(Core& core) : core_(core), counted_(from_outside()) {
    if (!counted_) return;
    const std::lock_guard lock(core_.mutex_);
    if (core_.closing_) throw Error(Status::Failed, "the object manager is shutting down");
    ++core_.in_flight_;
  }
  ~Flight() {
    if (!counted_) return;
    const std::lock_guard lock(core_.mutex_);
    if (--core_.in_flight_ == 0) core_.landed_.notify_all();
  }
  Flight(const Flight&) = delete;
  Flight& operator=(const Flight&) = delete;

 private:
  static bool from_outside() {
    const Operation* operation = Operation::current();
    return !operation || operation->attached();
  }

  Core& core_;
  const bool counted_;
};

}  // namespace broker
