#include <latch>
#include <thread>

#include "platform/framework/cimom.h"
#include "tests/adapter/adapter_test.h"
#include "tests/small_stack.h"

namespace ovk_cimple {
namespace {

class Threads : public AdapterTest {
 protected:
  static void publish_link() {
    hooks<TEST_Link>().enum_instances = [](const TEST_Link*, EnumHandler<TEST_Link>* handler) {
      handler->handle(link(device("sda", 1), owner("me")));
      return OK;
    };
  }
};
INSTANTIATE_TEST_SUITE_P(Habits, Threads, testing::Values(standard(), old_versions()),
                         [](const auto& info) { return info.param.name; });

constexpr int kThreads = 8;
constexpr int kRounds = 30;

TEST_P(Threads, CallsRunSideBySideAndKeepApart) {
  hooks<TEST_Owner>().enum_instances = [](const TEST_Owner*, EnumHandler<TEST_Owner>* handler) {
    handler->handle(owner("me"));
    return OK;
  };
  hooks<TEST_Device>().enum_instances = [](const TEST_Device*, EnumHandler<TEST_Device>* handler) {
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
  publish_link();

  std::vector<std::thread> running;
  for (int thread = 0; thread < kThreads; ++thread)
    running.emplace_back([&, thread] {
      for (int round = 0; round < kRounds; ++round) {
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
  EXPECT_EQ(hooks<TEST_Device>().alive, alive_before_ + 1);
}

TEST_P(Threads, ASmallStackIsEnough) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "instrumented code takes more stack";
#endif
  publish(std::vector<Ref<TEST_Device>>(100, device("sda", 1)));
  method_hooks().probe = [](const TEST_Device*, TEST_Device_Probe_method& call) {
    call.Job = owner("job");
    return OK;
  };
  publish_link();
  std::size_t found = 0, joined = 0;
  std::string job;
  on_small_stack([&] {
    found = manager().enumerate_instances("TEST_Device").size();
    joined = manager().associator_names(device_path("sda", 1)).size();
    const auto result = manager().invoke_method(device_path("sda", 1), "Probe");
    if (const auto* value = result.find("Job")) job = value->as_path().class_name.str();
  });
  EXPECT_EQ(found, 100u);
  EXPECT_EQ(joined, 1u);
  EXPECT_EQ(job, "TEST_Owner");
}

// An object manager that stops does not wait for requests that are still running.
TEST_P(Threads, AnEndInParallelWithACallWaitsForNobody) {
  CmpiStaticData data{};
  CMPIBroker broker{};
  void* made = nullptr;
  ASSERT_EQ(ovk_cimple_cmpi_adapter(67, &data, &device_registration(), &broker, nullptr,
                                    "TEST_Device_Provider", 'I', &made),
            CMPI_RC_OK);
  auto* const interface = static_cast<CMPIInstanceMI*>(made);
  const int alive = hooks<TEST_Device>().alive;
  std::latch begun{1}, ended{1};
  hooks<TEST_Device>().enum_instances = [&](const TEST_Device*, EnumHandler<TEST_Device>*) {
    begun.count_down();
    ended.wait();
    return OK;
  };
  CMPIrc answer = CMPI_RC_ERR_FAILED;
  std::thread call([&] {
    answer = interface->ft->enumerateInstances(interface, nullptr, nullptr, nullptr, nullptr).rc;
  });
  begun.wait();
  EXPECT_EQ(interface->ft->cleanup(interface, nullptr, true).rc, CMPI_RC_OK);
  EXPECT_EQ(hooks<TEST_Device>().alive, alive) << "the call still needs it";
  ended.count_down();
  call.join();
  EXPECT_EQ(answer, CMPI_RC_OK);
  EXPECT_EQ(hooks<TEST_Device>().alive, alive) << "left to the end of the process";
  ++alive_before_;
}

}  // namespace
}  // namespace ovk_cimple
