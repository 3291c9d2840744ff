// Plays the cases of the tables.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "discovery/scratch_file_lock.h"
#include "tests/faults/case.h"
#include "tests/faults/injection.h"

// The probe's children end with exit; leaks are not looked for in them.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off() { return 1; }

namespace faults {

namespace fs = std::filesystem;

void become_nobody(World& world) {
  if (geteuid() != 0) return;
  for (const auto& entry : fs::recursive_directory_iterator(world.tree.root()))
    if (lchown(entry.path().c_str(), kNobody, kNobody) != 0) throw std::runtime_error("lchown");
  if (chown(world.tree.root().c_str(), kNobody, kNobody) != 0 ||
      setresgid(kNobody, kNobody, kNobody) != 0 || setresuid(kNobody, kNobody, kNobody) != 0)
    throw std::runtime_error("cannot become another user");
}

namespace {

// Whether a user without rights can reach what has been built.
bool others_can_run_it() {
  const pid_t child = fork();
  if (child == 0)
    _exit(setresuid(kNobody, kNobody, kNobody) == 0 && access(HDDTEST_HELPER, X_OK) == 0 ? 0 : 1);
  int status = 1;
  waitpid(child, &status, 0);
  return status == 0;
}

std::string additions(const std::set<std::string>& before, const std::set<std::string>& after) {
  std::string all;
  for (const std::string& one : after)
    if (!before.contains(one)) all += one + "\n";
  return all;
}

// How the text of a record begins.
std::string usual_text(const std::string& outcome) {
  if (outcome == "passed") return "HDST-000: ";
  return outcome == "failed" ? "HDST-100: " : "HDST-200: ";
}

void expect_text(const std::string& text, const std::string& begin) {
  EXPECT_TRUE(begin.empty() ? text.empty() : text.starts_with(begin)) << text;
}

void play(const Case& one, std::string (World::*operation)()) {
  World world;
  world.holds_scratch_file = operation == &World::offered;
  EXPECT_EQ(world.run(), "passed");
  const auto earlier = world.records();

  one.arrange(world);
  const auto before = world.traces();
  const std::string seen = (world.*operation)();
  EXPECT_EQ(seen, one.seen);
  if (one.log) {
    EXPECT_TRUE(world.logged(one.log)) << "no line \"" << one.log << "\" in\n" << world.log();
  } else {
    EXPECT_EQ(world.log(), "");
  }
  if (seen == "passed" || seen == "failed" || seen == "aborted")
    expect_text(world.text_of_last_record(), one.text ? one.text : usual_text(seen));
  if (one.expect) one.expect(world);
  EXPECT_EQ(additions(before, world.traces()), "") << "left behind";
  world.expect_log_unlocked();
  world.mend();
  unsetenv("RESULT");
  world.expect_well(earlier);
}

class Fault : public testing::TestWithParam<Case> {
 protected:
  void SetUp() override {
    const bool is_root = geteuid() == 0;
    if (GetParam().needs == Case::Root && !is_root) GTEST_SKIP() << "only root has other users";
    const bool becomes_another =
        GetParam().needs == Case::Root || GetParam().needs == Case::OtherUser;
    if (becomes_another && is_root && !others_can_run_it())
      GTEST_SKIP() << "the build tree is closed to other users";
#if defined(__SANITIZE_ADDRESS__)
    if (GetParam().needs == Case::OrdinaryBuild)
      GTEST_SKIP() << "instrumented code takes more stack";
#endif
  }
};

class Run : public Fault {};
TEST_P(Run, EndsAsTheTableSays) {
  in_child([] { play(GetParam(), &World::run); });
}

class Discovery : public Fault {
 protected:
  ~Discovery() override { fs::remove_all(kScratchFile); }

 private:
  const discovery::ScratchFileLock lock_;
};
TEST_P(Discovery, EndsAsTheTableSays) {
  in_child([] { play(GetParam(), &World::offered); });
}

std::string name_of(const testing::TestParamInfo<Case>& info) { return info.param.name; }
INSTANTIATE_TEST_SUITE_P(Faults, Run, testing::ValuesIn(run_cases()), name_of);
INSTANTIATE_TEST_SUITE_P(Faults, Discovery, testing::ValuesIn(discovery_cases()), name_of);

}  // namespace
}  // namespace faults
