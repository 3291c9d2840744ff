// How instances get from the provider to the object manager one by one, and what may happen between
// two of them.
#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "platform/framework/cimom.h"
#include "tests/adapter/adapter_test.h"

extern "C" CMPIInstanceMI* TEST_Device_Provider_Create_InstanceMI(const CMPIBroker*,
                                                                  const CMPIContext*, CMPIStatus*);

namespace ovk_cimple {
namespace {

using broker::Status;
using broker::Tables;
using testing::ElementsAre;

class Deliveries : public AdapterTest {
 protected:
  // From now on on_result is called before the object manager gets a result, with the result's
  // number from 1 on. If it does not return OK, that is the object manager's answer.
  void restart_with(std::function<CMPIrc(int)> on_result) {
    on_result_ = std::move(on_result);
    results_ = 0;
    restart(combined(GetParam(), [](Tables& tables) {
      broker_ = &tables.broker;
      tables.result.returnInstance = [](const CMPIResult* result, const CMPIInstance* instance) {
        const CMPIrc code = on_result_ ? on_result_(++results_) : CMPI_RC_OK;
        if (code != CMPI_RC_OK) return CMPIStatus{code, nullptr};
        static const Tables& own = *new Tables;
        return own.result.returnInstance(result, instance);
      };
    }));
  }
  ~Deliveries() override { on_result_ = {}; }

  // Ends the provider as an object manager does that stops. A call is still running, so that the
  // provider object stays until the process ends.
  void end_provider() {
    CMPIStatus status{};
    CMPIInstanceMI* const interface =
        TEST_Device_Provider_Create_InstanceMI(broker_, nullptr, &status);
    ASSERT_TRUE(interface);
    EXPECT_EQ(interface->ft->cleanup(interface, nullptr, true).rc, CMPI_RC_OK);
    ++alive_before_;
  }

  // What a client gets of an enumeration.
  Failed enumerate() {
    delivered_.clear();
    return failure_of([&] {
      manager().enumerate_instances(
          broker::ObjectPath("root/cimv2", "TEST_Device"),
          [&](const broker::Instance& instance) { delivered_.push_back(instance.text("Name")); });
    });
  }

  static inline const CMPIBroker* broker_;
  static inline std::function<CMPIrc(int)> on_result_;
  static inline int results_;
  std::vector<std::string> delivered_;
};
INSTANTIATE_TEST_SUITE_P(Habits, Deliveries, testing::ValuesIn(all_habits()),
                         [](const auto& info) { return info.param.name; });

TEST_P(Deliveries, NothingIsDeliveredAfterTheProviderWasEndedBetweenTwoItems) {
  restart_with({});
  hooks<TEST_Device>().enum_instances = [&](const TEST_Device*, EnumHandler<TEST_Device>* handler) {
    handler->handle(device("sda", 1));
    end_provider();
    handler->handle(device("sdb", 2));
    handler->handle(device("sdc", 3));
    return OK;
  };
  EXPECT_EQ(enumerate().status, Status::Failed);
  EXPECT_THAT(delivered_, ElementsAre("sda"));
}

TEST_P(Deliveries, NoNameIsDeliveredAfterTheProviderWasEnded) {
  restart_with({});
  hooks<TEST_Device>().enum_instances = [&](const TEST_Device*, EnumHandler<TEST_Device>* handler) {
    handler->handle(device("sda", 1));
    end_provider();
    handler->handle(device("sdb", 2));
    return OK;
  };
  std::vector<broker::ObjectPath> names;
  const auto failed = failure_of([&] {
    manager().enumerate_instance_names(
        broker::ObjectPath("root/cimv2", "TEST_Device"),
        [&](const broker::ObjectPath& path) { names.push_back(path); });
  });
  EXPECT_EQ(failed.status, Status::Failed);
  EXPECT_THAT(names, ElementsAre(device_path("sda", 1)));
}

TEST_P(Deliveries, NothingIsDeliveredAfterTheProviderWasEndedInsideAnItem) {
  restart_with([&](int number) {
    if (number == 2) end_provider();
    return CMPI_RC_OK;
  });
  publish({device("sda", 1), device("sdb", 2), device("sdc", 3)});
  EXPECT_EQ(enumerate().status, Status::Failed);
  EXPECT_THAT(delivered_, ElementsAre("sda", "sdb")) << "that was already on its way";
  EXPECT_EQ(results_, 2);
}

TEST_P(Deliveries, AnUpCallBetweenTwoItemsWorks) {
  hooks<TEST_Owner>().enum_instances = [](const TEST_Owner*, EnumHandler<TEST_Owner>* handler) {
    for (const char* name : {"one", "two"}) handler->handle(owner(name));
    return OK;
  };
  hooks<TEST_Device>().enum_instances = [](const TEST_Device*, EnumHandler<TEST_Device>* handler) {
    handler->handle(device("sda", 1));
    Instance_Enumerator owners;
    EXPECT_EQ(cimom::enum_instances("root/cimv2", *make<TEST_Owner>(), owners), 0);
    while (const auto instance = owners.next())
      handler->handle(device(cast<TEST_Owner>(instance.get())->Name.value().c_str(), 2));
    return OK;
  };
  EXPECT_EQ(enumerate().status, Status::Ok);
  EXPECT_THAT(delivered_, ElementsAre("sda", "one", "two"));
}

// The provider's enumeration still runs to its end. What it offers after the refused instance is
// dropped.
TEST_P(Deliveries, ARefusalInTheMiddleEndsTheOperationWithItsStatus) {
  restart_with([](int number) { return number == 2 ? CMPI_RC_ERROR_SYSTEM : CMPI_RC_OK; });
  bool ended = false;
  hooks<TEST_Device>().enum_instances = [&](const TEST_Device*, EnumHandler<TEST_Device>* handler) {
    for (const char* name : {"sda", "sdb", "sdc"}) handler->handle(device(name, 1));
    ended = true;
    return OK;
  };
  const auto failed = enumerate();
  EXPECT_EQ(static_cast<int>(failed.status), CMPI_RC_ERROR_SYSTEM) << failed.text;
  EXPECT_THAT(delivered_, ElementsAre("sda"));
  EXPECT_EQ(results_, 2);
  EXPECT_TRUE(ended);
  EXPECT_EQ(enumerate().status, Status::Ok);
  EXPECT_THAT(delivered_, ElementsAre("sda", "sdb", "sdc")) << "the next operation";
}

// The client would take it for an enumeration that is empty or complete.
TEST_P(Deliveries, ARefusalThatSoundsLikeTheEndIsAFailure) {
  for (const CMPIrc code : {CMPI_RC_ERR_NOT_FOUND, CMPI_RC_ERR_NOT_SUPPORTED}) {
    restart_with([=](int number) { return number == 2 ? code : CMPI_RC_OK; });
    publish({device("sda", 1), device("sdb", 2), device("sdc", 3)});
    EXPECT_EQ(enumerate().status, Status::Failed) << code;
  }
}

// TEST_Device with a count of the instances that live.
int living, most_living;

Ref<TEST_Device> counted_device(int number) {
  static const MetaClass& meta = *[] {
    auto* const made = new MetaClass(TEST_Device::static_meta_class);
    made->superclass = &TEST_Device::static_meta_class;
    made->construct = [](const MetaClass& counted, bool defaults) {
      most_living = std::max(most_living, ++living);
      return TEST_Device::static_meta_class.construct(counted, defaults);
    };
    made->destruct = [](const Instance* instance) {
      --living;
      TEST_Device::static_meta_class.destruct(instance);
    };
    return made;
  }();
  auto result = Ref<TEST_Device>::adopt(static_cast<TEST_Device*>(create(meta)));
  result->Name = "sd" + std::to_string(number);
  result->Number = static_cast<uint16>(number);
  return result;
}

TEST_P(Deliveries, InstancesAreNeverThereAllAtOnce) {
  hooks<TEST_Device>().enum_instances = [](const TEST_Device*, EnumHandler<TEST_Device>* handler) {
    for (int number = 0; number < 100; ++number) handler->handle(counted_device(number));
    return OK;
  };
  living = 0;
  most_living = 0;
  EXPECT_EQ(enumerate().status, Status::Ok);
  EXPECT_EQ(delivered_.size(), 100u);
  EXPECT_EQ(manager().enumerate_instance_names("TEST_Device").size(), 100u);
  EXPECT_EQ(most_living, 1);
  EXPECT_EQ(manager().get_instance(device_path("sd50", 50)).text("Name"), "sd50");
  EXPECT_EQ(most_living, 2) << "the one that was found, and the next";
  EXPECT_EQ(living, 0);
}

}  // namespace
}  // namespace ovk_cimple
