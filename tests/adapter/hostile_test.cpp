// Values that no well-behaved object manager delivers, and the release of the objects that it makes
// for the adapter.
#include <cstring>
#include <map>

#include "tests/adapter/adapter_test.h"

namespace ovk_cimple {
namespace {

using broker::Status;
using broker::Tables;

class Hostile : public AdapterTest {
 protected:
  // From now on the parameter Small arrives with this type and value.
  void give(CMPIType type, CMPIValueState state, const char* text = nullptr) {
    type_ = type;
    state_ = state;
    text_ = text;
  }
  sint32 probe() {
    method_hooks().probe = [this](const TEST_Device*, TEST_Device_Probe_method& call) {
      seen_ = call.Small.null() ? -1 : call.Small.value();
      return OK;
    };
    seen_ = -2;
    status_ = failure_of([&] { manager().invoke_method(device_path("sda", 1), "Probe"); }).status;
    return seen_;
  }
  void restart_with(std::function<void(Tables&)> more) {
    restart(combined(GetParam(), std::move(more)));
  }
  void restart_with_hostile_arguments() {
    restart_with([](Tables& tables) {
      tables.args.getArg = [](const CMPIArgs*, const char* name, CMPIStatus* rc) {
        *rc = {};
        CMPIData data{type_, state_, {}};
        if (strcmp(name, "Small") != 0) return CMPIData{CMPI_null, CMPI_nullValue, {}};
        if (type_ == CMPI_chars) data.value.chars = const_cast<char*>(text_);
        if (type_ == CMPI_sint64) data.value.sint64 = 300;
        if (type_ == CMPI_real32) data.value.real32 = 7.0f;
        return data;
      };
    });
  }

  static inline CMPIType type_;
  static inline CMPIValueState state_;
  static inline const char* text_;
  sint32 seen_ = 0;
  Status status_ = Status::Ok;
};
INSTANTIATE_TEST_SUITE_P(Habits, Hostile, testing::ValuesIn(all_habits()),
                         [](const auto& info) { return info.param.name; });

TEST_P(Hostile, ArgumentsConvertByValueOrAreRefused) {
  restart_with_hostile_arguments();
  give(CMPI_chars, 0, "12");
  EXPECT_EQ(probe(), 12);
  give(CMPI_real32, CMPI_keyValue);
  EXPECT_EQ(probe(), 7);
  give(CMPI_chars, 0, "1x");
  EXPECT_EQ(probe(), -2);
  EXPECT_EQ(status_, Status::InvalidParameter);
  give(CMPI_sint64, 0);  // 300 is no uint8
  EXPECT_EQ(probe(), -2);
  EXPECT_EQ(status_, Status::InvalidParameter);
  give(0x7777, 0);
  EXPECT_EQ(probe(), -1) << "an unknown encapsulated type with a null pointer";
}

TEST_P(Hostile, EverythingWithoutAValueIsNull) {
  restart_with_hostile_arguments();
  for (const CMPIType type : {CMPI_string, CMPI_chars, CMPI_ref, CMPI_instance, CMPI_dateTime,
                              CMPI_uint8A, CMPI_stringA, CMPI_null}) {
    give(type, 0);
    EXPECT_EQ(probe(), -1) << type;
  }
  for (const CMPIValueState state : {CMPI_nullValue, CMPI_notFound, CMPI_badValue}) {
    give(CMPI_sint64, state);
    EXPECT_EQ(probe(), -1) << state;
  }
}

TEST_P(Hostile, StringsWithoutTextAreNull) {
  restart_with([](Tables& tables) {
    tables.string.getCharPtr = [](const CMPIString*, CMPIStatus*) {
      return static_cast<const char*>(nullptr);
    };
  });
  method_hooks().probe = [](const TEST_Device* self, TEST_Device_Probe_method& call) {
    EXPECT_TRUE(self->Name.null());
    EXPECT_TRUE(call.Text.null());
    call.return_value = 1;
    return OK;
  };
  const auto result = manager().invoke_method(device_path("sda", 1), "Probe", {{"Text", "text"}});
  EXPECT_EQ(result.return_value, broker::Value(std::uint32_t{1}));
}

TEST_P(Hostile, ARefusedResultEndsTheOperation) {
  restart_with([](Tables& tables) {
    tables.result.returnInstance = [](const CMPIResult*, const CMPIInstance*) {
      return CMPIStatus{CMPI_RC_ERR_INVALID_HANDLE, nullptr};
    };
  });
  publish({device("sda", 1)});
  EXPECT_EQ(failure_of([&] { manager().enumerate_instances("TEST_Device"); }).status,
            Status::InvalidHandle);
}

TEST_P(Hostile, AnObjectManagerThatMakesNothingGetsAStatusWithoutText) {
  for (const auto member : {0, 1, 2}) {
    restart_with([member](Tables& tables) {
      tables.factories.newString = nullptr;
      if (member == 1) tables.factories.newInstance = nullptr;
      if (member == 2) tables.factories.newObjectPath = nullptr;
    });
    publish({device("sda", 1)});
    EXPECT_EQ(failure_of([&] { manager().enumerate_instances("TEST_Device"); }).status,
              Status::Failed);
  }
}

// Counts the instances and paths that were made for the adapter and that it has not released.
struct Ledger {
  std::map<const void*, int> living;
  std::size_t most = 0;
  int faults = 0;                  // releases of objects that were not made for it
  bool paths_may_be_kept = false;  // by pointer, as object managers without a version do

  void add(const void* object) {
    if (object) ++living[object];
    most = std::max(most, living.size());
  }
  void remove(const void* object) { faults += living.erase(object) != 1; }
};
Ledger ledger;

void count(Tables& tables) {
  static const Tables& own = *new Tables;
  ledger.paths_may_be_kept = tables.broker.bft->brokerVersion < CMPIVersion100;
  tables.factories.newInstance = [](const CMPIBroker* mb, const CMPIObjectPath* path,
                                    CMPIStatus* rc) {
    CMPIInstance* const made = own.factories.newInstance(mb, path, rc);
    ledger.add(made);
    return made;
  };
  tables.factories.newObjectPath = [](const CMPIBroker* mb, const char* name_space,
                                      const char* class_name, CMPIStatus* rc) {
    CMPIObjectPath* const made = own.factories.newObjectPath(mb, name_space, class_name, rc);
    ledger.add(made);
    return made;
  };
  tables.instance.release = [](CMPIInstance* instance) {
    ledger.remove(instance);
    return own.instance.release(instance);
  };
  tables.object_path.release = [](CMPIObjectPath* path) {
    ledger.remove(path);
    return own.object_path.release(path);
  };
}

TEST_P(Hostile, WhatWasMadeIsReleasedAfterItsHandOver) {
  ledger = {};
  restart_with(count);
  publish(std::vector<Ref<TEST_Device>>(500, device("sda", 1)));
  EXPECT_EQ(manager().enumerate_instances("TEST_Special").size(), 0u);
  EXPECT_EQ(manager().enumerate_instances("TEST_Device").size(), 500u);
  EXPECT_EQ(ledger.faults, 0);
  EXPECT_GT(ledger.most, 0u);
  EXPECT_LE(ledger.most, 4u);
  EXPECT_TRUE(ledger.living.empty());
}

TEST_P(Hostile, ReturnedPathsLiveOnWhereTheyMayBeKeptByPointer) {
  ledger = {};
  restart_with(count);
  publish(std::vector<Ref<TEST_Device>>(500, device("sda", 1)));
  const auto names = manager().enumerate_instance_names("TEST_Device");
  EXPECT_EQ(names.size(), 500u);
  EXPECT_LE(ledger.most, ledger.paths_may_be_kept ? 504u : 4u);
  EXPECT_EQ(ledger.living.size(), ledger.paths_may_be_kept ? names.size() : 0u);
  EXPECT_EQ(ledger.faults, 0);
}

}  // namespace
}  // namespace ovk_cimple
