// A provider module whose providers do what a test tells them to.
#pragma once

#include <atomic>
#include <functional>

#include "model/classes.h"
#include "platform/cmpi/adapter.h"
#include "platform/framework/handler.h"
#include "platform/framework/registration.h"

namespace ovk_cimple {

// What the provider of a class does. An operation that is left empty answers that it is not
// supported, and an enumeration that is left empty delivers nothing.
template <class Class>
struct Hooks {
  std::atomic<int> alive = 0;   // provider objects
  std::atomic<int> loaded = 0;  // of them
  std::atomic<int> enumerations = 0;

  std::function<void()> construct;
  std::function<sint32()> load, unload;
  std::function<sint32(const Class*, Class*&)> get_instance;
  std::function<sint32(const Class*, EnumHandler<Class>*)> enum_instances;
  std::function<sint32(const Class*)> create_instance, delete_instance;
  std::function<sint32(const Class*, const Class*)> modify_instance;
  using Associators =
      std::function<sint32(const Instance*, const char*, const char*, const char*, EnumHandler<>*)>;
  Associators enum_associator_names, enum_associators;
  std::function<sint32(const Instance*, const Class*, const char*, EnumHandler<Class>*)>
      enum_references;

  void clear() {
    construct = {};
    load = {};
    unload = {};
    get_instance = {};
    enum_instances = {};
    create_instance = {};
    delete_instance = {};
    modify_instance = {};
    enum_associator_names = {};
    enum_associators = {};
    enum_references = {};
    enumerations = 0;
  }
};

struct MethodHooks {
  std::function<sint32(const TEST_Device*, TEST_Device_Probe_method&)> probe;
  std::function<sint32(const TEST_Device*, Property<String>&)> describe;
  std::function<sint32(const TEST_Device*, Property<boolean>&)> check;
};

// Of TEST_Device, TEST_Owner and TEST_Link.
template <class Class>
OVK_CIMPLE_EXPORT Hooks<Class>& hooks();
OVK_CIMPLE_EXPORT MethodHooks& method_hooks();
// Resets everything but the counts of providers.
OVK_CIMPLE_EXPORT void clear_hooks();

// For tests that play the object manager themselves.
OVK_CIMPLE_EXPORT const Registration& device_registration();
OVK_CIMPLE_EXPORT const Registration& link_registration();

}  // namespace ovk_cimple
