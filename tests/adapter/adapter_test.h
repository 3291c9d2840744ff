// An object manager that has loaded the test module, and helpers that most tests need.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "broker/object_manager.h"
#include "tests/adapter/habits.h"
#include "tests/adapter/test_module.h"

namespace ovk_cimple {

// For tests of what the adapter must do whatever the object manager's habits are. The habit is the
// tests' parameter.
class AdapterTest : public testing::TestWithParam<Habit> {
 protected:
  AdapterTest();
  ~AdapterTest() override;

  broker::ObjectManager& manager() { return *manager_; }
  // Ends the object manager and starts another one with other habits.
  void restart(const Habit& habit);

  static broker::ObjectPath device_path(const char* name, int number,
                                        const char* class_name = "TEST_Device");
  static broker::ObjectPath owner_path(const char* name);

  // What the provider delivers from now on.
  static void publish(std::vector<Ref<TEST_Device>> devices);
  static Ref<TEST_Device> device(const char* name, int number);
  static Ref<TEST_Owner> owner(const char* name);
  static Ref<TEST_Link> link(Ref<TEST_Device> device, Ref<TEST_Owner> owner);

  // The status of an operation that fails, and its text.
  struct Failed {
    broker::Status status = broker::Status::Ok;
    std::string text;
  };
  template <class Operation>
  static Failed failure_of(Operation operation) {
    try {
      operation();
    } catch (const broker::Error& error) {
      return {error.status(), error.description()};
    }
    return {};
  }

  int alive_before_;  // includes what earlier tests left behind on purpose

 private:
  std::unique_ptr<broker::ObjectManager> manager_;
};

}  // namespace ovk_cimple
