// What the tests of the probe share: how the program's own fork, waitpid, alarm and setrlimit
// behave (probe_test.cpp), and what they were asked.
#pragma once

#include <sys/wait.h>

#include <cerrno>

#include "providers/discovery_test.h"

namespace ovk_cimple {

enum class Child { Ordinary, FailsToStart, IsKilled, Hangs, ExitsOtherwise };
inline Child child = Child::Ordinary;
inline int forks = 0;
inline int killed_fork = 0;   // the number of the fork whose child is killed
inline int children_met = 0;  // children that were still there when fork was called

enum class Wait { Ordinary, Fails, IsInterrupted, IsLate };
inline Wait wait_for_child = Wait::Ordinary;
inline int waits = 0;

inline void reap_all() {
  while (next<pid_t(pid_t, int*, int)>("waitpid")(-1, nullptr, 0) > 0 || errno == EINTR) {
  }
}

class ProbeTest : public DriveTest {
 protected:
  void SetUp() override {
    DriveTest::SetUp();
    child = Child::Ordinary;
    forks = 0;
    killed_fork = 0;
    children_met = 0;
    waits = 0;
    wait_for_child = Wait::Ordinary;
  }
};

}  // namespace ovk_cimple
