#include "platform/framework/dispatch.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <stdexcept>

#include "platform/framework/inert.h"
#include "platform/framework/test_class.h"

namespace ovk_cimple {
namespace {

// Modules are built with this layout of a registration record, so that it must not change.
static_assert(offsetof(Registration, module_name) == 0);
static_assert(offsetof(Registration, provider_name) == 8);
static_assert(offsetof(Registration, dispatch) == 16);
static_assert(offsetof(Registration, meta_class) == 24);
static_assert(offsetof(Registration, next) == 32);
static_assert(sizeof(Registration) == 40);

using Arguments = std::vector<const void*>;

// Delivers one drive, answers every operation with a status that a test can choose and keeps
// the arguments.
struct DriveProvider {
  static inline sint32 status = 0;
  Arguments arguments;  // those of the latest call, without slots and handlers
  static inline int created = 0;
  DriveProvider() { ++created; }
  ~DriveProvider() { --created; }

  template <class... Taken>
  sint32 take(sint32 answer, const Taken*... taken) {
    arguments = {taken...};
    return answer;
  }

  sint32 load() { return 3; }
  sint32 unload() { return 4; }
  sint32 get_instance(const Drive* model, Drive*& instance) {
    instance = make<Drive>().release();
    return take(status, model);
  }
  sint32 enum_instances(const Drive* model, EnumHandler<Drive>* handler) {
    if (status < 0) throw std::runtime_error("drive gone");
    handler->handle(make<Drive>());
    return take(status, model);
  }
  sint32 create_instance(const Drive* instance) { return take(7, instance); }
  sint32 delete_instance(const Drive* instance) { return take(8, instance); }
  sint32 modify_instance(const Drive* model, const Drive* instance) {
    return take(9, model, instance);
  }
  sint32 Reset(const Drive* self, const Property<boolean>& hard, const Property<boolean>& quiet,
               Property<uint32>& return_value) {
    return_value = hard.value() ? 1 : 2;
    return take(10, self, &hard, &quiet, &return_value);
  }
  sint32 enum_associator_names(const Instance* source, const char* result_class, const char* role,
                               const char* result_role, EnumHandler<>* handler) {
    handler->handle(make<Drive>());
    return take(status, source, result_class, role, result_role);
  }
  sint32 enum_references(const Instance* source, const Drive* model, const char* role,
                         EnumHandler<Drive>* handler) {
    handler->handle(make<Drive>());
    return take(status, source, model, role);
  }
  sint32 enum_associators(const Instance* source, const char* result_class, const char* role,
                          const char* result_role, EnumHandler<>* handler) {
    handler->handle(make<Drive>());
    return take(status, source, result_class, role, result_role);
  }
};

struct InertProvider : InertAssociation<Drive> {
  static constexpr InertMethod Reset{};
};

struct Calls {
  std::vector<sint32> delivered;  // the status of each delivery
  std::vector<sint32> closed;     // the status of each closing call
  static void record(Instance* instance, sint32 status, void* data) {
    auto& calls = *static_cast<Calls*>(data);
    if (instance)
      calls.delivered.push_back(status);
    else
      calls.closed.push_back(status);
    unref(instance);
  }
  void* callback() { return reinterpret_cast<void*>(&record); }
};

// Calls the routine with untyped arguments, as the framework does through a registration record.
template <class Provider, bool Is_Association = true>
[[gnu::noipa]] sint32 call(sint32 operation, void* a0 = nullptr, void* a1 = nullptr,
                           void* a2 = nullptr, void* a3 = nullptr, void* a4 = nullptr,
                           void* a5 = nullptr, void* a6 = nullptr) {
  return dispatch<Provider, Drive, Is_Association>(operation, a0, a1, a2, a3, a4, a5, a6);
}

class Dispatch : public testing::Test {
 protected:
  void SetUp() override { DriveProvider::status = 0; }
  DriveProvider provider_;
  Calls calls_;
};

TEST_F(Dispatch, GetMetaClassAndRepository) {
  const MetaClass* meta = nullptr;
  const MetaRepository* repository = nullptr;
  EXPECT_EQ(call<DriveProvider>(0, &meta), 0);
  EXPECT_EQ(meta, &Drive::static_meta_class);
  EXPECT_EQ(call<DriveProvider>(13, &repository), 0);
  EXPECT_EQ(repository, &kDeviceRepository);
}

TEST_F(Dispatch, CreateLoadUnloadDestroy) {
  const int before = DriveProvider::created;
  DriveProvider* made = nullptr;
  EXPECT_EQ(call<DriveProvider>(1, &made), 0);
  EXPECT_EQ(DriveProvider::created, before + 1);
  EXPECT_EQ(call<DriveProvider>(3, made), 3);
  EXPECT_EQ(call<DriveProvider>(4, made), 4);
  EXPECT_EQ(call<DriveProvider>(2, made), 0);
  EXPECT_EQ(DriveProvider::created, before);
  EXPECT_EQ(call<DriveProvider>(2, nullptr), 0);
}

TEST_F(Dispatch, InstanceOperationsReturnTheProvidersStatus) {
  Instance* found = nullptr;
  EXPECT_EQ(call<DriveProvider>(5, &provider_, nullptr, &found), 0);
  EXPECT_NE(found, nullptr);
  unref(found);
  EXPECT_EQ(call<DriveProvider>(7, &provider_), 7);
  EXPECT_EQ(call<DriveProvider>(8, &provider_), 8);
  EXPECT_EQ(call<DriveProvider>(9, &provider_), 9);
}

TEST_F(Dispatch, EveryArgumentReachesTheProviderInItsPlace) {
  const Ref<Drive> model = make<Drive>(), drive = make<Drive>();
  const Ref<Device_Reset_method> reset = make<Device_Reset_method>();
  char result_class[] = "Drive", role[] = "Antecedent", result_role[] = "Dependent";
  Instance* found = nullptr;
  void* const callback = calls_.callback();
  const auto run = [&](sint32 operation, auto*... arguments) {
    call<DriveProvider>(operation, &provider_, arguments...);
    return std::exchange(provider_.arguments, {});
  };
  EXPECT_EQ(run(5, model.get(), &found), Arguments{model.get()});
  unref(found);
  EXPECT_EQ(run(6, model.get(), callback, &calls_), Arguments{model.get()});
  EXPECT_EQ(run(7, drive.get()), Arguments{drive.get()});
  EXPECT_EQ(run(8, drive.get()), Arguments{drive.get()});
  EXPECT_EQ(run(9, model.get(), drive.get()), (Arguments{model.get(), drive.get()}));
  EXPECT_EQ(run(10, drive.get(), reset.get()),
            (Arguments{drive.get(), &reset->Hard, &reset->Quiet, &reset->return_value}));
  EXPECT_EQ(run(14, drive.get(), result_class, role, result_role, callback, &calls_),
            (Arguments{drive.get(), result_class, role, result_role}));
  EXPECT_EQ(run(15, drive.get(), model.get(), role, callback, &calls_),
            (Arguments{drive.get(), model.get(), role}));
  EXPECT_EQ(run(16, drive.get(), result_class, role, result_role, callback, &calls_),
            (Arguments{drive.get(), result_class, role, result_role}));
  EXPECT_EQ(calls_.delivered, std::vector<sint32>(4, 0));
  EXPECT_EQ(calls_.closed, std::vector<sint32>(4, 0));
}

TEST_F(Dispatch, EnumerationIsClosedWhateverTheStatus) {
  for (const sint32 status : {0, 1, 61, 111}) {
    DriveProvider::status = status;
    calls_ = {};
    EXPECT_EQ(call<DriveProvider>(6, &provider_, nullptr, calls_.callback(), &calls_), status);
    EXPECT_EQ(calls_.delivered, std::vector<sint32>{0});
    EXPECT_EQ(calls_.closed, std::vector<sint32>{status});
  }
}

TEST_F(Dispatch, AnExceptionPassesWithoutAClosingCall) {
  DriveProvider::status = -1;
  EXPECT_THROW(call<DriveProvider>(6, &provider_, nullptr, calls_.callback(), &calls_),
               std::runtime_error);
  EXPECT_TRUE(calls_.closed.empty());
}

TEST_F(Dispatch, MethodIsFoundWithoutRegardToCaseAndSetsItsReturnValue) {
  const Ref<Device_Reset_method> record = make<Device_Reset_method>();
  record->Hard = true;
  EXPECT_EQ(call<DriveProvider>(10, &provider_, nullptr, record.get()), 10);
  EXPECT_EQ(record->return_value.value(), 1u);
  MetaClass renamed = Device_Reset_method::static_meta_class;
  for (const auto& [name, status] : {std::pair{"rESET", 10}, {"Resets", -1}, {"", -1}}) {
    renamed.name = name;
    const auto other = Ref<Instance>::adopt(create(renamed));
    EXPECT_EQ(call<DriveProvider>(10, &provider_, nullptr, other.get()), status) << name;
  }
}

TEST_F(Dispatch, AssociationEnumerationsAreClosedUnlessUnsupported) {
  const auto run = [&](sint32 operation) {
    calls_ = {};
    return operation == EnumReferences
               ? call<DriveProvider>(operation, &provider_, nullptr, nullptr, nullptr,
                                     calls_.callback(), &calls_)
               : call<DriveProvider>(operation, &provider_, nullptr, nullptr, nullptr, nullptr,
                                     calls_.callback(), &calls_);
  };
  for (const auto& [operation, unsupported] : {std::pair{14, 111}, {15, 121}, {16, 171}})
    for (const sint32 status : {0, 1, 111, 121, 171}) {
      DriveProvider::status = status;
      EXPECT_EQ(run(operation), status);
      EXPECT_EQ(calls_.closed.size(), status == unsupported ? 0u : 1u)
          << operation << ' ' << status;
    }
}

TEST_F(Dispatch, UnknownNumbersAnswerMinusOne) {
  for (const sint32 operation : {-1, 11, 12, 17, 1000})
    EXPECT_EQ(call<DriveProvider>(operation, &provider_), -1) << operation;
  for (const sint32 operation : {14, 15, 16})
    EXPECT_EQ((call<DriveProvider, false>(operation, &provider_)), -1) << operation;
}

TEST(Inert, EveryOperationAnswersItsFixedStatusAndDeliversNothing) {
  InertProvider provider;
  Calls calls;
  Instance* found = nullptr;
  for (const auto& [operation, status] : {std::pair{3, 0},
                                          {4, 0},
                                          {5, 61},
                                          {6, 0},
                                          {7, 81},
                                          {8, 91},
                                          {9, 101},
                                          {14, 111},
                                          {15, 121},
                                          {16, 171}}) {
    void* const third = operation == 5 ? &found : calls.callback();
    EXPECT_EQ(call<InertProvider>(operation, &provider, nullptr, third, &calls), status)
        << operation;
  }
  EXPECT_EQ(found, nullptr);
  EXPECT_TRUE(calls.delivered.empty());
  EXPECT_EQ(calls.closed, std::vector<sint32>{0});  // of operation 6 alone
  const Ref<Device_Reset_method> record = make<Device_Reset_method>();
  EXPECT_EQ(call<InertProvider>(10, &provider, nullptr, record.get()), 131);
  EXPECT_TRUE(record->return_value.null());
  static_assert(std::is_empty_v<InertProvider>);
}

}  // namespace
}  // namespace ovk_cimple
