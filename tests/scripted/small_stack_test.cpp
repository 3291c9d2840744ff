// The whole module on the smallest stack that an object manager gives its requests.
#include <gtest/gtest.h>
#include <pthread.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "discovery/scratch_file_lock.h"
#include "tests/scripted/life.h"
#include "tests/scripted/stage.h"

namespace scripted {

namespace {

void on_small_stack(const std::function<void()>& work) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 256 * 1024);
  pthread_t thread;
  ASSERT_EQ(pthread_create(
                &thread, &attributes,
                [](void* data) -> void* {
                  (*static_cast<const std::function<void()>*>(data))();
                  return nullptr;
                },
                const_cast<std::function<void()>*>(&work)),
            0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

TEST(SmallStack, IsEnoughForATestAndForEveryClass) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "instrumented code takes more stack";
#endif
  const discovery::ScratchFileLock lock;  // drives are classified
  const Life life = read_life(std::filesystem::path(HDDTEST_LIVES) / "passed_at_once.life", "");
  Stage stage(life);
  std::size_t classes = 0;
  on_small_stack([&] {
    stage.run(stage.drive(), service_name);
    for (const auto& entry : broker::read_registration(HDDTEST_REGISTRATION_FILE)) {
      if (!entry.instance) continue;
      stage.manager().enumerate_instances(entry.class_name);
      stage.manager().enumerate_instance_names(entry.class_name);
      ++classes;
    }
  });
  EXPECT_EQ(classes, 25u);
  EXPECT_EQ(stage.manager().enumerate_instances("KAVRO_HDDTest_DiagnosticCompletionRecord").size(),
            1u);
}

}  // namespace

}  // namespace scripted
