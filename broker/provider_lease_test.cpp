// How provider libraries are found, made and ended.
#include "broker/provider_lease.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "broker/object_manager.h"
#include "broker/tables.h"
#include "broker/test_classes.h"

namespace broker {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class ProviderTest : public testing::Test {
 protected:
  // A manager with these registrations alone.
  ObjectManager make(std::vector<RegistrationEntry> registration) {
    Options options = test_options();
    options.registration = std::move(registration);
    options.log = [this](int, const std::string& text) { lines_.push_back(text); };
    options.adjust_tables = adjust_;
    options.idle_time = idle_time_;
    options.longest_life = longest_life_;
    return ObjectManager(test_schema(), std::move(options));
  }

  static void expect_failure(ObjectManager& manager, const char* text) {
    try {
      manager.enumerate_instances("TEST_Widget");
      ADD_FAILURE() << "no error, wanted " << text;
    } catch (const Error& error) {
      EXPECT_EQ(error.status(), Status::Failed);
      EXPECT_THAT(error.description(), HasSubstr(text));
    }
  }

  std::vector<std::string> lines_;
  std::function<void(Tables&)> adjust_;
  std::chrono::milliseconds idle_time_{0}, longest_life_ = std::chrono::hours(1);
};

TEST_F(ProviderTest, InterfacesAreMadeOnceAndEndedInOrder) {
  {
    ObjectManager manager = make({test_entry("TEST_Widget", "Widget", "iam")});
    EXPECT_THAT(lines_, IsEmpty());
    manager.invoke_method(ObjectPath({}, "TEST_Widget"), "Text");
    manager.enumerate_instances("TEST_Widget");
    manager.enumerate_instances("TEST_Widget");
  }
  EXPECT_THAT(lines_, ElementsAre("Widget: make method", "Widget: make instance",
                                  "Widget: cleanup instance at the end",
                                  "Widget: cleanup method at the end"));
}

TEST_F(ProviderTest, AMissingLibraryNamesTheFoldersAndIsTriedAgain) {
  RegistrationEntry entry = test_entry("TEST_Widget", "Widget", "i");
  entry.location = "nowhere";
  ObjectManager manager = make({entry});
  expect_failure(manager, "libnowhere.so is not in /");
  expect_failure(manager, "libnowhere.so is not in /");
}

TEST_F(ProviderTest, AMissingEntryPointIsNamed) {
  ObjectManager manager = make({test_entry("TEST_Widget", "Nobody", "i")});
  expect_failure(manager, "libtest_provider.so has no function Nobody_Create_InstanceMI");
}

TEST_F(ProviderTest, AFactoryThatReturnsNullOrAStatusFailsWithItsText) {
  ObjectManager null = make({test_entry("TEST_Widget", "Null", "i")});
  expect_failure(null, "provider Null offers no instance interface: no hardware");
  ObjectManager refusing = make({test_entry("TEST_Widget", "Refusing", "i")});
  expect_failure(refusing, "not this kind");
  EXPECT_THAT(lines_, IsEmpty());  // no cleanup for what was never made
}

TEST_F(ProviderTest, AFactoryThatAsksForItselfDoesNotLockUp) {
  ObjectManager manager = make({test_entry("TEST_Widget", "Circular", "i")});
  expect_failure(manager, "provider Circular called itself while starting or ending");
}

// The same thread asks again, and must not count as still inside the factory or the cleanup.
TEST_F(ProviderTest, AfterAFactoryOrCleanupThatThrewItIsAskedAgain) {
  ObjectManager manager = make({test_entry("TEST_Widget", "Throwing", "i")});
  EXPECT_THROW(manager.enumerate_instances("TEST_Widget"), std::runtime_error);
  EXPECT_EQ(manager.enumerate_instances("TEST_Widget").size(), 2u);
  EXPECT_EQ(manager.end_idle(), 0u);
  EXPECT_THAT(lines_.back(), HasSubstr("provider Throwing failed to end: "));
  EXPECT_EQ(manager.enumerate_instances("TEST_Widget").size(), 2u);
  EXPECT_EQ(manager.end_idle(), 1u);
}

TEST_F(ProviderTest, WhateverACleanupThrowsIsLoggedAndTheOthersEndAllTheSame) {
  ObjectManager manager =
      make({test_entry("TEST_Widget", "Odd", "i"), test_entry("TEST_Gadget", "Gadget", "i")});
  manager.enumerate_instances("TEST_Widget");
  lines_.clear();
  EXPECT_EQ(manager.end_idle(), 0u);
  EXPECT_THAT(lines_, ElementsAre("provider Odd failed to end: unknown exception",
                                  "Gadget: cleanup instance"));
  EXPECT_EQ(manager.end_idle(), 1u);
}

TEST_F(ProviderTest, AMissingFunctionIsNotSupported) {
  ObjectManager manager = make({test_entry("TEST_Widget", "Hollow", "i")});
  EXPECT_THROW(
      {
        try {
          manager.enumerate_instances("TEST_Widget");
        } catch (const Error& error) {
          EXPECT_EQ(error.status(), Status::NotSupported);
          throw;
        }
      },
      Error);
}

TEST_F(ProviderTest, OneThatSupportsNothingDoesNotHideTheOthers) {
  ObjectManager manager = make(
      {test_entry("TEST_Widget", "Unsupported", "i"), test_entry("TEST_Gadget", "Gadget", "i")});
  EXPECT_EQ(manager.enumerate_instances("TEST_Widget").size(), 2u);
}

TEST_F(ProviderTest, NotFoundIsAnOldWordForEmpty) {
  ObjectManager manager = make({test_entry("TEST_Widget", "Nothing", "i")});
  EXPECT_THAT(manager.enumerate_instances("TEST_Widget"), IsEmpty());
}

TEST_F(ProviderTest, AnErrorHalfWayReachesTheCallerAfterTheItems) {
  ObjectManager manager = make({test_entry("TEST_Widget", "HalfWay", "i")});
  int seen = 0;
  EXPECT_THROW(manager.enumerate_instances(ObjectPath({}, "TEST_Widget"),
                                           [&seen](const Instance&) { ++seen; }),
               Error);
  EXPECT_EQ(seen, 1);
  expect_failure(manager, "half way");
}

TEST_F(ProviderTest, IdleProvidersAreUnloadedAndMadeAnew) {
  ObjectManager manager = make({test_entry("TEST_Widget", "Widget", "im")});
  manager.enumerate_instances("TEST_Widget");
  EXPECT_EQ(manager.end_idle(), 1u);
  EXPECT_EQ(manager.end_idle(), 0u);
  EXPECT_EQ(manager.enumerate_instances("TEST_Widget").size(), 2u);
  EXPECT_THAT(lines_, ElementsAre("Widget: make instance", "Widget: cleanup instance",
                                  "Widget: make instance"));
}

TEST_F(ProviderTest, AnswersOfCleanupAreHonoured) {
  ObjectManager manager =
      make({test_entry("TEST_Widget", "Keeper", "i"), test_entry("TEST_Gadget", "Never", "i")});
  manager.enumerate_instances("TEST_Widget");
  lines_.clear();
  EXPECT_EQ(manager.end_idle(), 0u);
  EXPECT_EQ(manager.end_idle(), 0u);
  EXPECT_THAT(lines_, ElementsAre("Keeper: cleanup instance", "Never: cleanup instance",
                                  "Keeper: cleanup instance"));
}

bool is_loaded() {
  const auto file = test_options().library_folders[0] / "libtest_provider.so";
  void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (library) dlclose(library);
  return library != nullptr;
}

TEST_F(ProviderTest, UnloadNeverKeepsTheLibraryAndMakesTheProviderAnew) {
  RegistrationEntry entry = test_entry("TEST_Widget", "Widget", "im");
  entry.unload_never = true;
  ObjectManager manager = make({entry});
  manager.invoke_method(ObjectPath({}, "TEST_Widget"), "Text");
  manager.enumerate_instances("TEST_Widget");
  lines_.clear();
  EXPECT_EQ(manager.end_idle(), 0u);
  EXPECT_EQ(manager.end_idle(), 0u);
  EXPECT_THAT(lines_, ElementsAre("Widget: cleanup instance at the end",
                                  "Widget: cleanup method at the end"));
  EXPECT_TRUE(is_loaded());
  lines_.clear();
  EXPECT_EQ(manager.enumerate_instances("TEST_Widget").size(), 2u);
  EXPECT_THAT(lines_, ElementsAre("Widget: make instance"));
}

TEST_F(ProviderTest, UnloadNeverDoesNotAsk) {
  RegistrationEntry keeper = test_entry("TEST_Widget", "Keeper", "i");
  RegistrationEntry never = test_entry("TEST_Gadget", "Never", "i");
  keeper.unload_never = true;
  never.unload_never = true;
  ObjectManager manager = make({keeper, never});
  for (int round = 0; round < 2; ++round) {
    manager.enumerate_instances("TEST_Widget");
    lines_.clear();
    manager.end_idle();
    EXPECT_THAT(lines_, ElementsAre("Keeper: cleanup instance at the end",
                                    "Never: cleanup instance at the end"));
  }
}

TEST_F(ProviderTest, WhoIsNotDueStays) {
  idle_time_ = longest_life_;
  ObjectManager manager = make({test_entry("TEST_Widget", "Widget", "i")});
  manager.enumerate_instances("TEST_Widget");
  EXPECT_EQ(manager.end_idle(), 0u);
  EXPECT_THAT(lines_, ElementsAre("Widget: make instance"));
}

TEST_F(ProviderTest, WhoIsOldEndsWithoutBeingIdle) {
  idle_time_ = longest_life_;
  longest_life_ = std::chrono::milliseconds(0);
  ObjectManager manager = make({test_entry("TEST_Widget", "Widget", "i")});
  manager.enumerate_instances("TEST_Widget");
  EXPECT_EQ(manager.end_idle(), 1u);
}

TEST_F(ProviderTest, WhoIsAtWorkStays) {
  longest_life_ = std::chrono::milliseconds(0);
  for (const bool stays : {false, true}) {
    RegistrationEntry entry = test_entry("TEST_Widget", "Widget", "i");
    entry.unload_never = stays;
    ObjectManager manager = make({entry});
    lines_.clear();
    manager.enumerate_instances(ObjectPath({}, "TEST_Widget"),
                                [&](const Instance&) { EXPECT_EQ(manager.end_idle(), 0u); });
    EXPECT_THAT(lines_, ElementsAre("Widget: make instance"));
    manager.end_idle();
    EXPECT_THAT(lines_, SizeIs(2));
  }
}

TEST_F(ProviderTest, OtherNameSpacesAreNotServed) {
  RegistrationEntry entry = test_entry("TEST_Widget", "Widget", "i");
  entry.name_spaces = {"root/interop"};
  ObjectManager manager = make({entry});
  EXPECT_THAT(manager.enumerate_instances("TEST_Widget"), IsEmpty());
}

TEST_F(ProviderTest, TheRegistrationMustFitTheSchemaAndItself) {
  try {
    make({test_entry("TEST_None", "Widget", "i")});
    ADD_FAILURE();
  } catch (const Error& error) {
    EXPECT_EQ(error.status(), Status::InvalidClass);
  }
  RegistrationEntry other = test_entry("TEST_Gadget", "Widget", "i");
  other.location = "elsewhere";
  EXPECT_THROW(make({test_entry("TEST_Widget", "Widget", "i"), other}), Error);
  EXPECT_THROW(
      make({test_entry("TEST_Widget", "Widget", "i"), test_entry("test_widget", "Gadget", "i")}),
      Error);
}

TEST_F(ProviderTest, ATestCanChangeTheTablesThatProvidersSee) {
  static int strings;
  static decltype(CMPIBrokerEncFT::newString) original;
  strings = 0;
  adjust_ = [](Tables& tables) {
    tables.operations.brokerVersion = 0;
    tables.instance.setPropertyWithOrigin = nullptr;
    original = tables.factories.newString;
    tables.factories.newString = [](const CMPIBroker* mb, const char* text, CMPIStatus* rc) {
      ++strings;
      return original(mb, text, rc);
    };
  };
  ObjectManager manager = make({test_entry("TEST_Widget", "Widget", "i")});
  EXPECT_EQ(manager.enumerate_instances("TEST_Widget").size(), 2u);
  EXPECT_EQ(strings, 4);  // two texts in the array of each instance
}

}  // namespace
}  // namespace broker
