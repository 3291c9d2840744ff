// For tests of calls that run one at a time: Do("get missing") of TEST_Widget stays with its
// provider until it is let go.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <utility>

#include "broker/tables.h"
#include "broker/test_classes.h"

namespace broker {

// One at a time in a process, as its functions for the provider's tables have no object.
class HeldCalls {
 public:
  HeldCalls() { begun_ = 0, let_go_ = false, within_ = nullptr; }
  ~HeldCalls() { let_go(); }
  HeldCalls(const HeldCalls&) = delete;

  // Do runs one at a time; a call works on what its widget's name says, "free" on nothing.
  static Options options() {
    OneAtATime held;
    held.class_name = "test_widget";
    held.method = "Do";
    held.argument = "What";
    held.subject = [](const ObjectPath& target, const Value*) {
      const std::string name = target.key("Name")->as_text();
      return name == "free" ? std::string() : name;
    };
    Options options = test_options();
    options.one_at_a_time = {std::move(held)};
    options.adjust_tables = [](Tables& tables) { tables.operations.getInstance = stay; };
    return options;
  }

  static void wait_for_one() { begun_.wait(0); }
  static int begun() { return begun_; }
  static void let_go() {
    let_go_ = true;
    let_go_.notify_all();
  }
  // Called on the provider's thread, in its call.
  static void within(std::function<void()> function) { within_ = std::move(function); }

 private:
  static CMPIInstance* stay(const CMPIBroker*, const CMPIContext*, const CMPIObjectPath*,
                            const char**, CMPIStatus*) {
    if (within_) within_();
    ++begun_;
    begun_.notify_all();
    let_go_.wait(false);
    return nullptr;
  }

  static inline std::atomic<int> begun_ = 0;
  static inline std::atomic<bool> let_go_ = false;
  static inline std::function<void()> within_;
};

}  // namespace broker
