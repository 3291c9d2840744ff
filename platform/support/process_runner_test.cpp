#include "platform/support/process_runner_test.h"

#include <gmock/gmock.h>
#include <pthread.h>

#include <limits>
#include <set>

namespace NKVRHVX20 {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

INSTANTIATE_TEST_SUITE_P(Sigchld, ProcessRunner, kEveryArrangement, arrangement_name);

TEST_P(ProcessRunner, EveryExitCodeComesBack) {
  for (int code = 0; code <= 255; ++code)
    EXPECT_EQ(run_script("echo out; exit " + std::to_string(code)), Result(code, "out\n"));
}

TEST_P(ProcessRunner, AMissingProgramIsNoExit) {
  EXPECT_EQ(run("no-program-has-this-name", {}), Result(-1, ""));
  EXPECT_EQ(run("/no/such/program", {}), Result(-1, ""));
  EXPECT_EQ(run("", {}), Result(-1, ""));
}

TEST_P(ProcessRunner, WhatCannotBeExecutedIsNoExit) {
  TemporaryFolder folder;
  write_file(folder / "not-executable", "#!/bin/sh\n", 0644);
  write_file(folder / "no-interpreter", "#!/no/such/interpreter\n", 0755);
  write_file(folder / "no-program", "exit 3\n", 0755);  // only a shell would run it
  for (const char* name : {"not-executable", "no-interpreter", "no-program"})
    EXPECT_EQ(run(folder / name, {}), Result(-1, "")) << name;
  EXPECT_EQ(run(folder.path(), {}), Result(-1, ""));
}

TEST_P(ProcessRunner, WhatCannotBeStartedIsInTheLogWithTheReason) {
  TemporaryFolder folder;
  write_file(folder / "not-executable", "#!/bin/sh\n", 0644);
  write_file(folder / "no-interpreter", "#!/no/such/interpreter\n", 0755);
  write_file(folder / "no-program", "exit 3\n", 0755);
  static std::vector<std::string> lines;
  lines.clear();
  set_log_sink([](ILogger::EHVXLogSeverity severity, const std::string& text,
                  void*) { lines.push_back(std::to_string(severity) + " " + text); },
               nullptr);
  run("no-program-has-this-name", {});
  for (const char* name : {"not-executable", "no-interpreter", "no-program", "none", "."})
    run(folder / name, {});
  run("echo", {std::string("a\0b", 3)});
  run("sh", {"-c", "exit 1"});
  set_log_sink(nullptr, nullptr);
  const std::string begin = "0 TOSSpecific::SpawnProcess -- cannot start ";
  const std::string at = begin + folder.path() + "/";
  EXPECT_THAT(lines,
              testing::ElementsAre(
                  begin + "no-program-has-this-name: there is no executable file of that "
                          "name on PATH, in /usr/sbin, /sbin or /usr/local/sbin",
                  at + "not-executable: Permission denied",
                  at + "no-interpreter: No such file or directory",
                  at + "no-program: Exec format error", at + "none: No such file or directory",
                  at + ".: not a regular file", begin + "echo: an argument holds a NUL"));
}

TEST_P(ProcessRunner, AProgramKilledByASignalIsNoExit) {
  std::set<int> signals;
  for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal) signals.insert(signal);
  for (int signal = 1; signal <= 31; ++signal) signals.insert(signal);
  for (const int harmless : {SIGCHLD, SIGCONT, SIGURG, SIGWINCH}) signals.erase(harmless);
  for (const int stopping : {SIGSTOP, SIGTSTP, SIGTTIN, SIGTTOU}) signals.erase(stopping);
  for (const int signal : signals)
    EXPECT_EQ(
        run_script("ulimit -c 0; echo out; kill -" + std::to_string(signal) + " $$; sleep 60"),
        Result(-1, "out\n"))
        << signal;
}

// At return nothing of the group exists, and the return is at most a second later than the
// time-out. A machine under load may not get round to a killed process in that time, and then the
// helper gives up as it should; a runner that leaves processes behind, or waits for them, does so
// every time.
TEST_P(ProcessRunner, ATimeOutEndsTheWholeGroupWithinASecondAndKeepsTheOutput) {
  using std::chrono::steady_clock;
  bool ended = false;
  std::string found;
  for (int attempt = 0; attempt < 5 && !ended; ++attempt) {
    const auto begin = steady_clock::now();
    const auto [status, output] =
        run_script("trap '' TERM HUP INT; sleep 300 & echo $!; echo $$; sleep 300", 1);
    const std::vector<std::string> processes = lines_of(output);
    ASSERT_EQ(processes.size(), 2u);
    const pid_t group = std::stoi(processes[1]);
    const bool gone = group_is_gone(group);
    const auto taken = steady_clock::now() - begin;
    EXPECT_EQ(status, -1);
    EXPECT_GE(taken, std::chrono::seconds(1));
    ended = gone && taken < std::chrono::seconds(2);
    found += gone ? " late" : " not gone";
    // However long it takes, they do go.
    EXPECT_TRUE(eventually([&] { return is_gone(group) && is_gone(std::stoi(processes[0])); }));
  }
  EXPECT_TRUE(ended) << found;
}

TEST_P(ProcessRunner, AStoppedProgramTimesOut) {
  EXPECT_EQ(run_script("echo out; kill -STOP $$; echo never", 1), Result(-1, "out\n"));
}

TEST_P(ProcessRunner, NoTimeAtAllIsATimeOut) {
  EXPECT_EQ(run("sleep", {"300"}, 0).first, -1);
  EXPECT_EQ(run("sleep", {"300"}, -5).first, -1);
}

TEST_P(ProcessRunner, TheLongestTimeOutIsAccepted) {
  EXPECT_EQ(run_script("exit 3", std::numeric_limits<int>::max()), Result(3, ""));
}

TEST_P(ProcessRunner, AGrandchildThatHoldsTheOutputDoesNotHoldTheCaller) {
  const auto begin = std::chrono::steady_clock::now();
  const auto [status, output] = run_script("sleep 300 & echo $!; exit 7");
  EXPECT_EQ(status, 7);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(50));
  EXPECT_TRUE(eventually([&, process = std::stoi(output)] { return is_gone(process); }));
}

TEST_P(ProcessRunner, ADaemonThatHoldsTheOutputDoesNotHoldTheCaller) {
  // The script ends when the daemon has told its number.
  const auto [status, output] = run_script(
      "setsid sh -c 'echo $$; exec sleep 300' & until read name < /proc/$!/comm && "
      "[ \"$name\" = sleep ]; do sleep 0.1; done; exit 8");
  EXPECT_EQ(status, 8);
  ASSERT_THAT(output, testing::Not(IsEmpty()));
  kill(std::stoi(output), SIGKILL);
}

TEST_P(ProcessRunner, WorksWhateverStandardStreamsTheHostHasClosed) {
  for (int closed = 0; closed < 8; ++closed) {
    const std::string result = in_child([closed] {
      for (int stream = 0; stream < 3; ++stream)
        if (closed & (1 << stream)) close(stream);
      const auto [status, output] = run_script("cat; echo lost >&2; echo out; exit 9");
      return std::to_string(status) + " " + output;
    });
    EXPECT_EQ(result, "9 out\n") << closed;
  }
}

TEST_P(ProcessRunner, StandardInputIsEmpty) { EXPECT_EQ(run("cat", {}), Result(0, "")); }

TEST_P(ProcessRunner, StandardErrorIsNotCaptured) {
  EXPECT_EQ(run("readlink", {"/proc/self/fd/0", "/proc/self/fd/2"}),
            Result(0, "/dev/null\n/dev/null\n"));
  EXPECT_EQ(run_script("echo error >&2; echo out"), Result(0, "out\n"));
}

TEST_P(ProcessRunner, SignalsAreDefaultAndNoneIsBlocked) {
  const std::string status = in_child([] {
    // Makes the C library install its own handlers.
    pthread_t thread;
    pthread_create(
        &thread, nullptr,
        [](void*) -> void* {
          pause();
          return nullptr;
        },
        nullptr);
    pthread_cancel(thread);
    pthread_join(thread, nullptr);
    if (setgid(getgid()) != 0) return std::string("setgid");
    for (int signal = 1; signal <= 64; ++signal)
      if (signal != SIGCHLD) ::signal(signal, SIG_IGN);
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, nullptr);
    return run("cat", {"/proc/self/status"}).second;
  });
  for (const char* set : {"SigPnd", "SigBlk", "SigIgn", "SigCgt"})
    EXPECT_THAT(status, HasSubstr(std::string(set) + ":\t0000000000000000\n"));
}

TEST_P(ProcessRunner, NoDescriptorIsInherited) {
  const int inheritable = fcntl(0, F_DUPFD, 200);
  // The directory that ls reads is the fourth.
  EXPECT_EQ(run("ls", {"/proc/self/fd"}), Result(0, "0\n1\n2\n3\n"));
  close(inheritable);
}

TEST_P(ProcessRunner, TheProgramLeadsAProcessGroupOfItsOwn) {
  const auto [status, output] = run_script("echo $$; cut -d' ' -f5 /proc/$$/stat");
  ASSERT_EQ(status, 0);
  EXPECT_EQ(std::stoi(lines_of(output)[0]), std::stoi(lines_of(output)[1]));
}

TEST_P(ProcessRunner, BinaryOutputIsKept) {
  TemporaryFolder folder;
  std::string bytes;
  for (unsigned i = 0; i < 200'000; ++i) bytes += static_cast<char>(i * i >> 3);
  write_file(folder / "bytes", bytes);
  EXPECT_TRUE(run("cat", {folder / "bytes"}) == Result(0, bytes));
}

TEST_P(ProcessRunner, ArgumentsArriveUnchanged) {
  const std::vector<std::string> odd{"",    " ",      "a b", "*",       "$HOME", "`id`", "'",
                                     "\"",  "\\",     "\n",  ";exit 3", "-",     "\x01", "\xff\xfe",
                                     "ä€𝄞", "--help", "%s",  "| tail",  "&"};
  std::vector<std::string> arguments{"-c", R"(printf '[%s]' "$@")", "sh"};
  arguments.insert(arguments.end(), odd.begin(), odd.end());
  std::string expected;
  for (const std::string& argument : odd) expected += "[" + argument + "]";
  EXPECT_EQ(run("sh", arguments), Result(0, expected));
}

TEST_P(ProcessRunner, AnArgumentWithANulIsRefused) {
  EXPECT_EQ(run("echo", {std::string("a\0b", 3)}), Result(-1, ""));
  EXPECT_EQ(run(std::string("echo\0x", 6), {}), Result(-1, ""));
}

TEST_P(ProcessRunner, ArgumentsTooLongForTheKernelAreNoExit) {
  EXPECT_EQ(run("echo", {std::string(1 << 20, 'x')}), Result(-1, ""));
}

TEST_P(ProcessRunner, TheProgramSeesTheNameGiven) {
  EXPECT_EQ(run("sh", {"-c", "echo $0"}), Result(0, "sh\n"));
}

TEST_P(ProcessRunner, ACommandLineIsSplitAtBlanks) {
  EXPECT_EQ(TOSSpecific::SpawnProcess("  printf \t[%s]  a   'b c'\t", 60), "[a]['b][c']");
  EXPECT_EQ(TOSSpecific::SpawnProcess("echo $HOME *;exit", 60), "$HOME *;exit\n");
}

TEST_P(ProcessRunner, ACommandLineThatFailsKeepsItsOutput) {
  TemporaryFolder folder;
  write_file(folder / "fails", "#!/bin/sh\necho out; exit 4\n", 0755);
  EXPECT_EQ(TOSSpecific::SpawnProcess(folder / "fails", 60), "out\n");
}

TEST_P(ProcessRunner, ACommandLineThatDoesNotEndGivesTheEmptyText) {
  TemporaryFolder folder;
  write_file(folder / "hangs", "#!/bin/sh\necho out; sleep 300\n", 0755);
  write_file(folder / "dies", "#!/bin/sh\necho out; kill -9 $$\n", 0755);
  EXPECT_EQ(TOSSpecific::SpawnProcess(folder / "hangs", 1), "");
  EXPECT_EQ(TOSSpecific::SpawnProcess(folder / "dies", 60), "");
  EXPECT_EQ(TOSSpecific::SpawnProcess("no-program-has-this-name at all", 60), "");
}

TEST_P(ProcessRunner, AnEmptyCommandLineGivesTheEmptyText) {
  EXPECT_EQ(TOSSpecific::SpawnProcess("", 60), "");
  EXPECT_EQ(TOSSpecific::SpawnProcess(" \t ", 60), "");
}

TEST_P(ProcessRunner, TheProgramDiesWithTheHelper) {
  const auto begin = std::chrono::steady_clock::now();
  const auto [status, output] = run_script("echo $$; kill -9 $PPID; exec sleep 300");
  EXPECT_EQ(status, -1);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(50));
  EXPECT_TRUE(eventually([&, process = std::stoi(output)] { return is_gone(process); }));
}

TEST_P(ProcessRunner, TheProgramDiesWithTheHost) {
  TemporaryFolder folder;
  const std::string note = folder / "process";
  const pid_t host = fork();
  if (host == 0) {
    run_script("sleep 300 & echo $! > " + note + ".new; mv " + note + ".new " + note + "; wait");
    _exit(0);
  }
  ASSERT_TRUE(eventually([&] { return std::filesystem::exists(note); }));
  const pid_t grandchild = std::stoi(read_file(note));
  EXPECT_FALSE(is_gone(grandchild));
  kill(host, SIGKILL);
  EXPECT_TRUE(eventually([&] { return is_gone(grandchild); }));
  while (waitpid(host, nullptr, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace
}  // namespace NKVRHVX20
