// For tests of calls that run one at a time: the method Do("get missing") of TEST_Widget does not
// return before let_go().
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <utility>

#include "broker/tables.h"
#include "broker/test_classes.h"

namespace broker {

// There may be one at a time in a process, as the functions for the provider's tables are static.
class HeldCalls {
 public:
  HeldCalls() {
    begun_ = 0;
    let_go_ = false;
    within_ = nullptr;
  }
  ~HeldCalls() { let_go(); }
  HeldCalls(const HeldCalls&) = delete;

  // Calls of Do run one at a time, but for those of the widget "free". The others work on what the
  // name of their widget says.
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
  // The function is called on the provider's thread, within its call.
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
