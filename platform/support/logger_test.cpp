#include "platform/support/logger.h"

#include <dlfcn.h>
#include <gmock/gmock.h>

#include <map>
#include <sstream>

#include "platform/support/support_test.h"

namespace NKVRHVX20 {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

// The logger reads its environment once in the life of a process: each case has one of its own.
class Logger : public testing::Test {
 protected:
  // Environment settings, then the client's command.
  std::string client(const std::string& environment, const std::string& command) const {
    return shell("cd " + folder_.path() + "; " + environment + " " SUPPORT_CLIENT " " + command);
  }
  std::vector<std::string> lines() const { return lines_of(read_file(log_)); }

  TemporaryFolder folder_;
  const std::string log_ = folder_ / "log";
  const std::string to_log_ = "HVX_LOG_FILE=" + log_;
};

TEST_F(Logger, IsOneObject) {
  ASSERT_NE(TRootObject::GetCoreLogger(), nullptr);
  EXPECT_EQ(TRootObject::GetCoreLogger(), TRootObject::GetCoreLogger());
}

TEST_F(Logger, WritesOneLinePerCall) {
  client(to_log_, "log 3 'Entering x' 2");
  const auto line = MatchesRegex(
      "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{6}Z 3 [0-9]+ Entering x");
  EXPECT_THAT(lines(), ElementsAre(line, line));
}

TEST_F(Logger, TextCannotForgeALine) {
  client(to_log_, "log 0 'text\n2024-01-31T12:00:00.000000Z 0 1 forged\r\\n' 1");
  EXPECT_THAT(
      lines(),
      ElementsAre(testing::EndsWith("text\\n2024-01-31T12:00:00.000000Z 0 1 forged\\r\\\\n")));
}

TEST_F(Logger, TheLevelCutsOffHigherSeverities) {
  const struct {
    const char* environment;
    int highest;  // severity that is written
  } cases[] = {
      {"", 3},
      {"HVX_LOG_LEVEL=0", 0},
      {"HVX_LOG_LEVEL=2", 2},
      {"HVX_LOG_LEVEL=4", 4},
      {"HVX_LOG_LEVEL=-1", -1},
      {"HVX_LOG_LEVEL=", 3},
      {"HVX_LOG_LEVEL=1x", 3},
      {"HVX_LOG_LEVEL=99999999999", 3},
  };
  for (const auto& [environment, highest] : cases) {
    std::filesystem::remove(log_);
    for (int severity = 0; severity <= 4; ++severity)
      client(to_log_ + " " + environment, "log " + std::to_string(severity) + " text 1");
    EXPECT_EQ(lines().size(), static_cast<std::size_t>(highest + 1)) << environment;
  }
}

TEST_F(Logger, TheSinkComesBeforeLevelAndDestination) {
  EXPECT_EQ(client(to_log_ + " HVX_LOG_LEVEL=0", "sink-log 4 'un\\escaped\n'"),
            "4|un\\escaped\n|\n");
  EXPECT_THAT(lines(), IsEmpty());
  EXPECT_EQ(client(to_log_, "sink-log 0 text"), "0|text|\n");
  const std::string text(20'000, 'x');
  EXPECT_EQ(client(to_log_ + " HVX_LOG_LEVEL=0", "sink-log 4 " + text), "4|" + text + "|\n")
      << "a sink that reads answers of programs needs all of each";
  EXPECT_EQ(lines().size(), 2u);  // with and without the sink
}

TEST_F(Logger, TheLaterSinkReplacesTheEarlier) {
  std::map<int, int> calls;
  const auto count = [](ILogger::EHVXLogSeverity, const std::string&, void* data) {
    ++*static_cast<int*>(data);
  };
  set_log_sink(count, &calls[1]);
  set_log_sink(count, &calls[2]);
  TRootObject::GetCoreLogger()->Log(ILogger::eDebug, "text");
  set_log_sink(nullptr, nullptr);
  TRootObject::GetCoreLogger()->Log(ILogger::eDebug, "text");
  EXPECT_THAT(calls, ElementsAre(std::pair(1, 0), std::pair(2, 1)));
}

TEST_F(Logger, StandardErrorIsADestination) {
  EXPECT_THAT(client("HVX_LOG_FILE=-", "log 1 text 1 2>&1"), MatchesRegex(".*Z 1 [0-9]+ text\n"));
}

TEST_F(Logger, ARelativePathIsResolvedBeforeTheDirectoryChanges) {
  client("HVX_LOG_FILE=log", "moved-log / text");
  EXPECT_EQ(lines().size(), 1u);
}

TEST_F(Logger, KeepsTheErrorNumber) {
  set_log_sink([](ILogger::EHVXLogSeverity, const std::string&, void*) { errno = ERANGE; },
               nullptr);
  errno = EDOM;
  TRootObject::GetCoreLogger()->Log(ILogger::eError, "text");
  EXPECT_EQ(errno, EDOM);
  set_log_sink(nullptr, nullptr);
}

TEST_F(Logger, ProcessesAndThreadsShareAFileWithoutTearingLines) {
  const std::string text(3000, 'x');
  const std::string one = to_log_ + " " SUPPORT_CLIENT " threads-log 250 " + text;
  shell(one + " & " + one + " & " + one + " & " + one + " && wait");
  const std::vector<std::string> written = lines();
  EXPECT_EQ(written.size(), 4000u);
  for (const std::string& line : written) {
    ASSERT_EQ(line.find('x') + text.size(), line.size());
    ASSERT_THAT(line.substr(0, line.find('x')), MatchesRegex("[^ ]+Z 3 [0-9]+ "));
  }
}

// The processes that wrote the lines with that end, and how many each wrote.
std::map<std::string, int> processes_of(const std::vector<std::string>& lines,
                                        const std::string& end) {
  std::map<std::string, int> count;
  for (const std::string& line : lines) {
    std::istringstream words(line);
    std::string time, severity, process;
    words >> time >> severity >> process;
    if (line.ends_with(end)) ++count[process];
  }
  return count;
}

TEST_F(Logger, AForkedChildLogsWhileOtherThreadsDo) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the thread sanitizer's own allocator may be locked for ever in a forked child";
#endif
  client(to_log_, "fork-log 50");
  const auto children = processes_of(lines(), " child");
  const auto parents = processes_of(lines(), " parent");
  EXPECT_EQ(children.size(), 50u);
  EXPECT_EQ(parents.size(), 1u);
  EXPECT_FALSE(children.contains(parents.begin()->first));
}

TEST_F(Logger, AChangeOfTheFilesNameDuringTheLifeOfAProcessHasNoEffect) {
  client(to_log_, "renamed-log " + (folder_ / "other") + " text");
  EXPECT_EQ(lines().size(), 2u);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "other"));
}

TEST_F(Logger, SurvivesAHostThatClosesAndReusesEveryDescriptor) {
  client(to_log_, "closed-log " + (folder_ / "host_file") + " text");
  EXPECT_EQ(lines().size(), 2u);
  EXPECT_EQ(read_file(folder_ / "host_file"), "");
}

TEST_F(Logger, LeavesNoDescriptorBehindWhenItIsUnloadedAndLoaded) {
  Dl_info library{};
  ASSERT_NE(dladdr(reinterpret_cast<const void*>(&TRootObject::GetCoreLogger), &library), 0);
  const std::string copy = folder_ / "libcopy.so";  // one that no program has loaded
  std::filesystem::copy_file(library.dli_fname, copy);
  setenv("HVX_LOG_FILE", log_.c_str(), 1);
  const auto log_by_copy = [&] {
    void* const loaded = dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
    const auto logger = reinterpret_cast<ILogger* (*)()>(
        dlsym(loaded, "_ZN9NKVRHVX2011TRootObject13GetCoreLoggerEv"));
    logger()->Log(ILogger::eError, "text");
    dlclose(loaded);
  };
  log_by_copy();
  const std::size_t before = open_descriptors();
  log_by_copy();
  EXPECT_EQ(open_descriptors(), before);
  EXPECT_EQ(lines().size(), 2u);
}

}  // namespace
}  // namespace NKVRHVX20
