#include <pthread.h>

#include <thread>

#include "platform/framework/cimom.h"
#include "tests/adapter/manager.h"

namespace ovk_cimple {
namespace {

class Threads : public Adapter_Test {};
INSTANTIATE_TEST_SUITE_P(Habits, Threads, testing::Values(standard(), old_versions()),
                         [](const auto& info) { return info.param.name; });

constexpr int threads = 8;
constexpr int rounds = 30;

TEST_P(Threads, callsRunSideBySideAndKeepApart) {
  hooks<TEST_Owner>().enum_instances = [](const TEST_Owner*, Enum_Handler<TEST_Owner>* handler) {
    handler->handle(owner("me"));
    return OK;
  };
  hooks<TEST_Device>().enum_instances = [](const TEST_Device*, Enum_Handler<TEST_Device>* handler) {
    Instance_Enumerator owners;
    EXPECT_EQ(cimom::enum_instances("root/cimv2", *make<TEST_Owner>(), owners), 0);
    for (int number = 1; number <= 3; ++number) {
      auto instance = device("sda", number);
      instance->Text = owners.more() ? cast<TEST_Owner>(owners.next().get())->Name.value() : "";
      handler->handle(instance);
    }
    return OK;
  };
  method_hooks().probe = [](const TEST_Device* self, TEST_Device_Probe_method& call) {
    call.return_value = self->Number.value() + call.Both.value();
    return OK;
  };
  hooks<TEST_Link>().enum_instances = [](const TEST_Link*, Enum_Handler<TEST_Link>* handler) {
    auto link = make<TEST_Link>();
    link->Device = device("sda", 1);
    link->Owner = owner("me");
    handler->handle(link);
    return OK;
  };

  std::vector<std::thread> running;
  for (int thread = 0; thread < threads; ++thread)
    running.emplace_back([&, thread] {
      for (int round = 0; round < rounds; ++round) {
        EXPECT_EQ(manager().enumerate_instances("TEST_Device").size(), 3u);
        EXPECT_EQ(manager().get_instance(device_path("sda", 2)).path, device_path("sda", 2));
        const auto both = static_cast<std::uint16_t>(1000 * thread + round);
        EXPECT_EQ(manager()
                      .invoke_method(device_path("sda", 3), "Probe", {{"Both", both}})
                      .return_value.as_unsigned(),
                  both + 3u);
        EXPECT_EQ(manager().associator_names(device_path("sda", 1)).size(), 1u);
      }
    });
  for (auto& thread : running) thread.join();
  EXPECT_EQ(hooks<TEST_Device>().alive, 1);
}

TEST_P(Threads, aSmallStackIsEnough) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "instrumented code takes more stack";
#endif
  publish(std::vector<Ref<TEST_Device>>(100, device("sda", 1)));
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 256 * 1024);
  pthread_t thread;
  struct Work {
    broker::ObjectManager& manager;
    std::size_t found = 0;
  } work{manager()};
  ASSERT_EQ(pthread_create(
                &thread, &attributes,
                [](void* data) -> void* {
                  auto& work = *static_cast<Work*>(data);
                  work.found = work.manager.enumerate_instances("TEST_Device").size();
                  return nullptr;
                },
                &work),
            0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  EXPECT_EQ(work.found, 100u);
}

}  // namespace
}  // namespace ovk_cimple
