// The ways in which a host may treat SIGCHLD, for tests: what the process runner does must come
// out the same under each.
#pragma once

#include <signal.h>
#include <sys/wait.h>

#include <cerrno>

namespace NKVRHVX20 {

enum class SigchldArrangement { Standard, Ignored, NoChildWait, ReapingHandler };

// In the order of SigchldArrangement.
inline constexpr const char* kSigchldNames[] = {"Default", "Ignored", "NoChildWait",
                                                "ReapingHandler"};

inline void reap_any(int) {
  const int error = errno;
  while (waitpid(-1, nullptr, WNOHANG) > 0) {
  }
  errno = error;
}

// Returns what was set before.
inline struct sigaction arrange_sigchld(SigchldArrangement arrangement) {
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = SIG_DFL;
  if (arrangement == SigchldArrangement::Ignored) action.sa_handler = SIG_IGN;
  if (arrangement == SigchldArrangement::NoChildWait) action.sa_flags = SA_NOCLDWAIT;
  if (arrangement == SigchldArrangement::ReapingHandler) action.sa_handler = &reap_any;
  sigaction(SIGCHLD, &action, &before);
  return before;
}

}  // namespace NKVRHVX20
