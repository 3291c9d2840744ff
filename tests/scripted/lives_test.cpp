// Plays every life and compares what happened with what has to happen, line by line.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cctype>
#include <ostream>
#include <utility>

#include "platform/spawn_plan.h"
#include "tests/scripted/life.h"
#include "tests/scripted/stage.h"

namespace scripted {

namespace {

namespace fs = std::filesystem;

struct Chosen {
  fs::path file;
  std::string case_name;
};

// Names of tests have only letters, digits and underscores.
std::string test_name(const Chosen& life) {
  std::string name = life.file.stem().string();
  if (!life.case_name.empty()) name += "_" + life.case_name;
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return !std::isalnum(c); }, '_');
  return name;
}

void PrintTo(const Chosen& life, std::ostream* stream) { *stream << test_name(life); }

std::vector<Chosen> all_lives() {
  std::vector<Chosen> lives;
  for (const auto& entry : fs::directory_iterator(HDDTEST_LIVES))
    if (entry.path().extension() == ".life")
      for (const std::string& name : cases_of(entry.path())) lives.push_back({entry.path(), name});
  std::sort(lives.begin(), lives.end(),
            [](const Chosen& a, const Chosen& b) { return test_name(a) < test_name(b); });
  return lives;
}

// The first difference, with what came before it.
void expect_same(const std::vector<std::string>& expected,
                 const std::vector<std::string>& happened) {
  const auto [wanted, got] =
      std::mismatch(expected.begin(), expected.end(), happened.begin(), happened.end());
  if (wanted == expected.end() && got == happened.end()) return;
  std::string report;
  const auto at = wanted - expected.begin();
  for (auto i = std::max<std::ptrdiff_t>(at - 5, 0); i < at; ++i)
    report += "            " + escape(expected[static_cast<std::size_t>(i)]) + "\n";
  const auto show = [&](const char* label, auto line, auto end) {
    for (int n = 0; n < 3; ++n)
      report += label + (line == end ? "(no more)" : escape(*line++).substr(0, 2000)) + "\n";
  };
  show("  has to:   ", wanted, expected.end());
  show("  happened: ", got, happened.end());
  ADD_FAILURE() << "line " << at + 1 << " of " << expected.size() << ":\n" << report;
}

// The file has only the beginning of a line over 8 kB, and its length (without "SEVERITY ").
void make_whole(std::vector<std::string>& file, const std::vector<std::string>& logged) {
  for (std::size_t i = 0; i < std::min(file.size(), logged.size()); ++i) {
    const std::string end = "... (" + std::to_string(logged[i].size() - 2) + " bytes)";
    if (logged[i].size() < 8000 || !file[i].ends_with(end)) continue;
    if (logged[i].starts_with(file[i].substr(0, file[i].size() - end.size()))) file[i] = logged[i];
  }
}

class Lives : public testing::TestWithParam<Chosen> {
 protected:
  // The module's state lasts as long as the process, so every life after the first has a process of
  // its own. True when this life was played in one.
  bool played_in_another_process() {
    static bool first = true;
    if (std::exchange(first, false)) return false;
    std::string program = fs::read_symlink("/proc/self/exe");
    const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
    std::string filter =
        std::string("--gtest_filter=") + test.test_suite_name() + "." + test.name();
    std::string output = "--gtest_output=";
    char* arguments[] = {program.data(), filter.data(), output.data(), nullptr};
    pid_t process = 0;
    int status = -1;
    EXPECT_EQ(platform::SpawnPlan().start(process, program.c_str(), arguments), 0);
    EXPECT_EQ(waitpid(process, &status, 0), process);
    EXPECT_EQ(status, 0);
    return true;
  }
};

TEST_P(Lives, GoAsWritten) {
  if (played_in_another_process()) return;
  const Life life = read_life(GetParam().file, GetParam().case_name);
  ASSERT_EQ(std::count(life.transcript.begin(), life.transcript.end(), "> end"), 1);

  std::vector<std::string> happened, logged, log_file;
  try {
    Stage stage(life);
    stage.play();
    for (const Event& event : stage.events()) happened.push_back(event.line);
    log_file = stage.log_file();
  } catch (const CannotHide&) {
    GTEST_SKIP() << "this machine has a smartctl, and it may not be hidden from the test";
  }
  expect_same(life.transcript, happened);

  for (const std::string& line : happened)
    if (std::isdigit(line[0])) logged.push_back(line);
  SCOPED_TRACE("the log file");
  make_whole(log_file, logged);
  expect_same(logged, log_file);
}

INSTANTIATE_TEST_SUITE_P(, Lives, testing::ValuesIn(all_lives()),
                         [](const auto& info) { return test_name(info.param); });

}  // namespace

}  // namespace scripted
