// What the entry points pass to the CMPI adapter, and what they return. This program's adapter
// stands in for the library's.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "platform/cmpi/adapter.h"

namespace {

using ovk_cimple::Registration;

// Whether each row is an association. Every provider has two entry points, and the provider of an
// association has a third.
constexpr bool kIsAssociation[] = {
#define INSTANCE(Class) false,
#define ASSOCIATION(Class) true,
#include "module/providers.def"
};
constexpr std::size_t kProviders = std::size(kIsAssociation);
const std::size_t kAssociations = std::ranges::count(kIsAssociation, true);
const std::size_t kEntryPoints = 2 * kProviders + kAssociations;

// The arguments of a call of the adapter.
struct Call {
  int caller;
  const void* static_data;
  const Registration* registration;
  const void* broker;
  const void* context;
  const char* provider_name;
  char kind;
};
std::vector<Call> calls;
void* answer;  // what the adapter writes into the slot; null: it leaves the slot untouched
int status;

}  // namespace

int ovk_cimple_cmpi_adapter(int caller, CmpiStaticData* static_data,
                            const Registration* registration, const CMPIBroker* broker,
                            const CMPIContext* context, const char* provider_name, char kind,
                            void** result) {
  calls.push_back({caller, static_data, registration, broker, context, provider_name, kind});
  EXPECT_EQ(*result, nullptr);
  EXPECT_EQ(static_data->adapter, nullptr);
  if (answer) *result = answer;
  return status;
}

namespace {

using EntryPoint = void* (*)(const void* broker, const void* context);

class EntryPoints : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    library = dlopen(HDDTEST_MODULE_FILE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_TRUE(library) << dlerror();
  }
  void SetUp() override {
    calls.clear();
    answer = nullptr;
    status = 0;
  }

  struct Entry {
    const Registration* registration;
    char kind;
    EntryPoint function;
  };
  static std::vector<Entry> entries() {
    std::vector<Entry> found;
    using List = const Registration* (*)();
    for (auto record = reinterpret_cast<List>(dlsym(library, "cimple_module"))(); record;
         record = record->next)
      for (const std::string kind : {"Instance", "Method", "Association"}) {
        const std::string name = std::string(record->provider_name) + "_Create_" + kind + "MI";
        if (void* const function = dlsym(library, name.c_str()))
          found.push_back({record, kind[0], reinterpret_cast<EntryPoint>(function)});
      }
    return found;
  }
  static void* library;
  const char broker_ = 0, context_ = 0;
};
void* EntryPoints::library;

TEST_F(EntryPoints, PassTheirOwnProvidersDataToTheAdapter) {
  std::map<const void*, const Registration*> owners;
  std::map<char, std::size_t> kinds;
  for (const Entry& entry : entries()) {
    SCOPED_TRACE(entry.registration->provider_name + std::string(1, ' ') + entry.kind);
    ++kinds[entry.kind];
    calls.clear();
    entry.function(&broker_, &context_);
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].caller, 67);
    EXPECT_EQ(calls[0].registration, entry.registration);
    EXPECT_EQ(calls[0].broker, &broker_);
    EXPECT_EQ(calls[0].context, &context_);
    EXPECT_EQ(static_cast<const void*>(calls[0].provider_name), entry.registration->provider_name);
    EXPECT_EQ(calls[0].kind, entry.kind);
    // One block of static data per provider, in the module, shared by its kinds.
    const auto& owner = owners.emplace(calls[0].static_data, entry.registration).first->second;
    EXPECT_EQ(owner, entry.registration);
    Dl_info module = {}, data = {};
    EXPECT_TRUE(dladdr(reinterpret_cast<const void*>(entry.function), &module));
    EXPECT_TRUE(dladdr(calls[0].static_data, &data));
    EXPECT_EQ(data.dli_fbase, module.dli_fbase);
  }
  EXPECT_EQ(owners.size(), kProviders);
  EXPECT_EQ(kinds, (std::map<char, std::size_t>{
                       {'A', kAssociations}, {'I', kProviders}, {'M', kProviders}}));
}

TEST_F(EntryPoints, ReturnNullWhenTheAdapterLeavesTheSlotAlone) {
  for (const int returned : {0, 1, -1}) {
    status = returned;
    for (const Entry& entry : entries()) EXPECT_EQ(entry.function(&broker_, &context_), nullptr);
  }
  EXPECT_EQ(calls.size(), 3 * kEntryPoints);
}

TEST_F(EntryPoints, ReturnWhatTheAdapterWroteWhateverItReturns) {
  for (const int returned : {0, 1, -1}) {
    status = returned;
    for (const Entry& entry : entries()) {
      char interface;
      answer = &interface;
      EXPECT_EQ(entry.function(&broker_, &context_), &interface);
    }
  }
  EXPECT_EQ(calls.size(), 3 * kEntryPoints);
}

}  // namespace
