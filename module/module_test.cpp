// The module as the framework and the dynamic loader see it.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "model/classes.h"
#include "model/contract.h"
#include "platform/framework/dispatch.h"
#include "platform/support/logger.h"

namespace ovk_cimple {
namespace {

struct Row {
  std::string class_name;
  bool association;

  bool operator==(const Row&) const = default;
};

void PrintTo(const Row& row, std::ostream* stream) {
  *stream << row.class_name << (row.association ? " (association)" : "");
}

// What is registered, in the order of the list from its head.
const std::vector<Row>& rows() {
  static const auto& table = *new std::vector<Row>([] {
    std::vector<Row> pushed = {
#define INSTANCE(Class) {#Class, false},
#define ASSOCIATION(Class) {#Class, true},
#include "module/providers.def"
    };
    std::reverse(pushed.begin(), pushed.end());
    return pushed;
  }());
  return table;
}

class Module : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    library = dlopen(HDDTEST_MODULE_FILE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_TRUE(library) << dlerror();
  }
  static const Registration* head() {
    return reinterpret_cast<const Registration* (*)()>(dlsym(library, "cimple_module"))();
  }
  static void* library;
};
void* Module::library;

// What a provider delivers through its dispatch routine.
struct Calls {
  std::vector<Ref<Instance>> delivered;
  std::vector<sint32> closed;
  static void record(Instance* instance, sint32 status, void* data) {
    auto& calls = *static_cast<Calls*>(data);
    if (!instance) return calls.closed.push_back(status);
    EXPECT_EQ(status, 0);
    calls.delivered.push_back(Ref<Instance>::adopt(instance));
  }
  void* callback() { return reinterpret_cast<void*>(&record); }
};

// One provider object, for the length of a test.
struct Loaded {
  explicit Loaded(const Registration* record) : registration(record) {
    EXPECT_EQ(call(CreateProvider, &provider), 0);
    EXPECT_EQ(call(LOAD, provider), 0);
  }
  ~Loaded() {
    EXPECT_EQ(call(UNLOAD, provider), 0);
    EXPECT_EQ(call(DestroyProvider, provider), 0);
  }
  sint32 call(sint32 operation, void* a0 = nullptr, void* a1 = nullptr, void* a2 = nullptr,
              void* a3 = nullptr, void* a4 = nullptr, void* a5 = nullptr, void* a6 = nullptr) {
    return registration->dispatch(registration, operation, a0, a1, a2, a3, a4, a5, a6, nullptr);
  }
  const Registration* registration;
  void* provider = nullptr;
};

TEST_F(Module, ProvidersAreTheContracts) {
  std::set<std::string> registered, in_contract;
  for (const Row& row : rows()) registered.insert(row.class_name);
  for (const contract::Class& row : contract::kClasses)
    if (row.in_module()) in_contract.insert(row.name);
  EXPECT_EQ(contract::difference(registered, in_contract), "")
      << "module/providers.def lists the providers, model/contract.def the contract's.";
}

TEST_F(Module, ProvidersOfTheContractKeepItsKindsAndOrder) {
  std::vector<Row> registered, in_contract;
  for (const Row& row : rows())
    if (contract::find(row.class_name)) registered.push_back(row);
  for (const contract::Class& row : contract::kClasses)
    if (row.in_module()) in_contract.insert(in_contract.begin(), {row.name, row.association});
  EXPECT_EQ(registered, in_contract)
      << "module/providers.def and model/contract.def have the same rows in the same order.";
}

TEST_F(Module, ListHoldsTheProvidersInOrderAndEndsWithNull) {
  const Registration* record = head();
  for (const Row& row : rows()) {
    ASSERT_TRUE(record) << row.class_name;
    EXPECT_EQ(record->provider_name, row.class_name + "_Provider");
    EXPECT_EQ(record->meta_class, kavro_repository.find(row.class_name.c_str()));
    record = record->next;
  }
  EXPECT_EQ(record, nullptr);
}

TEST_F(Module, EveryRecordBearsTheSameModuleName) {
  for (const Registration* record = head(); record; record = record->next) {
    EXPECT_STREQ(record->module_name, "KAVRO_HDDTest_AffectedJobElement_Module");
    EXPECT_EQ(record->module_name, head()->module_name);
  }
}

TEST_F(Module, UnregisteredAssociationHasNeitherRecordNorEntryPoint) {
  for (const Registration* record = head(); record; record = record->next)
    EXPECT_STRNE(record->provider_name, "KAVRO_HDDTest_AffectedJobElement_Provider");
  for (const char* kind : {"Instance", "Method", "Association"})
    EXPECT_FALSE(dlsym(
        library,
        (std::string("KAVRO_HDDTest_AffectedJobElement_Provider_Create_") + kind + "MI").c_str()));
}

TEST_F(Module, AssociationEntryPointsExistForExactlyTheAssociationProviders) {
  for (const Row& row : rows()) {
    const std::string prefix = row.class_name + "_Provider_Create_";
    const auto exists = [&](const char* kind) {
      return dlsym(library, (prefix + kind + "MI").c_str()) != nullptr;
    };
    EXPECT_TRUE(exists("Instance")) << row.class_name;
    EXPECT_TRUE(exists("Method")) << row.class_name;
    EXPECT_EQ(exists("Association"), row.association) << row.class_name;
  }
}

TEST_F(Module, AnEntryPointWhoseProviderCannotBeAdaptedReturnsNull) {
  // Without a broker there is nothing to adapt to.
  using Factory = void* (*)(const void* broker, const void* context);
  const auto factory =
      reinterpret_cast<Factory>(dlsym(library, "KAVRO_DiskDrive_Provider_Create_InstanceMI"));
  EXPECT_EQ(factory(nullptr, nullptr), nullptr);
}

class EveryProvider : public Module, public testing::WithParamInterface<std::size_t> {
 protected:
  void SetUp() override { NKVRHVX20::set_log_sink(&keep, &log_); }
  // A logging provider logs at least that it was made and loaded; an inert one logs nothing.
  void TearDown() override {
    NKVRHVX20::set_log_sink(nullptr, nullptr);
    if (answers(contract::ProviderKind::Logged)) {
      EXPECT_THAT(log_, testing::Not(testing::IsEmpty()));
    }
    if (answers(contract::ProviderKind::Inert)) {
      EXPECT_THAT(log_, testing::IsEmpty());
    }
  }
  bool answers(contract::ProviderKind as) {
    const contract::Class* const row = contract::find(this->row().class_name);
    return row && row->provider == as;
  }
  // Inert and logging providers refuse the same operations.
  bool refuses() {
    return answers(contract::ProviderKind::Inert) || answers(contract::ProviderKind::Logged);
  }
  const Registration* record() {
    const Registration* record = head();
    for (std::size_t i = 0; i < GetParam(); ++i) record = record->next;
    return record;
  }
  const Row& row() { return rows()[GetParam()]; }

 private:
  static void keep(NKVRHVX20::ILogger::EHVXLogSeverity, const std::string& text, void* data) {
    static_cast<std::vector<std::string>*>(data)->push_back(text);
  }
  std::vector<std::string> log_;
};

TEST_P(EveryProvider, AnswersTheOperationsThatNeedNoObject) {
  Loaded loaded(record());
  const MetaClass* meta = nullptr;
  const MetaRepository* repository = nullptr;
  EXPECT_EQ(loaded.call(GetMetaClass, &meta), 0);
  EXPECT_EQ(meta, record()->meta_class);
  EXPECT_EQ(loaded.call(GetMetaRepository, &repository), 0);
  EXPECT_EQ(repository, &kavro_repository);
  EXPECT_EQ(loaded.call(DestroyProvider, nullptr), 0);
}

TEST_P(EveryProvider, RefusesTheInstanceOperationsWithTheirFixedCodes) {
  Loaded loaded(record());
  Instance* found = nullptr;
  if (!refuses()) GTEST_SKIP() << "it has answers of its own";
  EXPECT_EQ(loaded.call(GetInstance, loaded.provider, nullptr, &found), 61);
  EXPECT_EQ(found, nullptr);
  EXPECT_EQ(loaded.call(CreateInstance, loaded.provider), 81);
  EXPECT_EQ(loaded.call(DeleteInstance, loaded.provider), 91);
  EXPECT_EQ(loaded.call(ModifyInstance, loaded.provider), 101);
}

TEST_P(EveryProvider, EnumeratesSuccessfullyAndClosesOnce) {
  Loaded loaded(record());
  Calls calls;
  EXPECT_EQ(loaded.call(EnumInstances, loaded.provider, nullptr, calls.callback(), &calls), 0);
  EXPECT_EQ(calls.closed, std::vector<sint32>{0});
  if (!refuses()) return;
  // Before the first run there are no jobs and no records, but there is always the service.
  const bool service = row().class_name == "KAVRO_HDDTest_DiagnosticService";
  EXPECT_EQ(calls.delivered.size(), service ? 1u : 0u)
      << "A provider that delivers instances of its own is Own in model/contract.def.";
}

TEST_P(EveryProvider, AssociationOperationsAreUnsupportedOrUnknownAndMakeNoClosingCall) {
  Loaded loaded(record());
  Calls calls;
  const auto names = [&](sint32 operation) {
    return loaded.call(operation, loaded.provider, nullptr, nullptr, nullptr, nullptr,
                       calls.callback(), &calls);
  };
  if (row().association && !refuses()) GTEST_SKIP() << "it has answers of its own";
  EXPECT_EQ(names(EnumAssociatorNames), row().association ? 111 : -1);
  EXPECT_EQ(loaded.call(EnumReferences, loaded.provider, nullptr, nullptr, nullptr,
                        calls.callback(), &calls),
            row().association ? 121 : -1);
  EXPECT_EQ(names(EnumAssociators), row().association ? 171 : -1);
  EXPECT_TRUE(calls.closed.empty());
  EXPECT_TRUE(calls.delivered.empty());
}

TEST_P(EveryProvider, UnknownNumbersAnswerMinusOne) {
  Loaded loaded(record());
  for (const sint32 operation : {-1, 11, 12, 17, 67, 1 << 30})
    EXPECT_EQ(loaded.call(operation, loaded.provider), -1) << operation;
}

TEST_P(EveryProvider, MethodsAreUnsupportedUnknownOnesMinusOneAndNoReturnValueIsSet) {
  Loaded loaded(record());
  for (const MetaClass* method : record()->meta_class->methods) {
    if (!refuses()) break;
    const auto call = Ref<Instance>::adopt(create(*method));
    const bool run = std::string(method->name) == "RunDiagnostic";
    // A run is answered with success when no service is given, as when it has another name.
    EXPECT_EQ(loaded.call(InvokeMethod, loaded.provider, nullptr, call.get()), run ? 0 : 131)
        << method->name;
    for (const MetaProperty& parameter : method->properties)
      EXPECT_TRUE(visit(call.get(), parameter, [](auto& p) { return p.null(); }))
          << method->name << '.' << parameter.name;
  }
  MetaClass unknown = CIM_Service_StopService_method::static_meta_class;
  unknown.name = "StopServices";
  const auto call = Ref<Instance>::adopt(create(unknown));
  EXPECT_EQ(loaded.call(InvokeMethod, loaded.provider, nullptr, call.get()), -1);
}

INSTANTIATE_TEST_SUITE_P(, EveryProvider, testing::Range(std::size_t{0}, rows().size()),
                         [](const auto& info) { return rows()[info.param].class_name.substr(6); });

TEST_F(Module, MethodsAreComparedWithoutRegardToCase) {
  const Registration* service = head();
  while (std::string(service->meta_class->name) != "KAVRO_HDDTest_DiagnosticService")
    service = service->next;
  Loaded loaded(service);
  MetaClass lower = *find_method(*service->meta_class, "RunDiagnostic");
  lower.name = "rundiagnostic";
  const auto call = Ref<Instance>::adopt(create(lower));
  EXPECT_EQ(loaded.call(InvokeMethod, loaded.provider, nullptr, call.get()), 0);
}

}  // namespace
}  // namespace ovk_cimple
