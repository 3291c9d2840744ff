// The whole module on the smallest stack that an object manager gives its requests.
#include <gtest/gtest.h>

#include <filesystem>

#include "discovery/scratch_file_lock.h"
#include "tests/scripted/life.h"
#include "tests/scripted/stage.h"
#include "tests/small_stack.h"

namespace scripted {

namespace {

TEST(SmallStack, IsEnoughForATestAndForEveryClass) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "instrumented code takes more stack";
#endif
  const discovery::ScratchFileLock lock;  // drives are classified
  const Life life = read_life(std::filesystem::path(HDDTEST_LIVES) / "passed_at_once.life", "");
  Stage stage(life);
  std::size_t classes = 0;
  on_small_stack([&] {
    stage.run(stage.drive(), kServiceName);
    for (const auto& entry : broker::read_registration(HDDTEST_REGISTRATION_FILE)) {
      if (!entry.instance) continue;
      stage.manager().enumerate_instances(entry.class_name);
      stage.manager().enumerate_instance_names(entry.class_name);
      ++classes;
    }
  });
  EXPECT_GT(classes, 0u);
  EXPECT_EQ(stage.manager().enumerate_instances("KAVRO_HDDTest_DiagnosticCompletionRecord").size(),
            1u);
}

}  // namespace

}  // namespace scripted
