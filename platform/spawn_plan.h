// How a process is to be started: posix_spawn with what it is told. A leaf: any folder may use it.
#pragma once

#include <signal.h>
#include <spawn.h>
#include <unistd.h>

namespace platform {

// A process of its own group, so that what a terminal sends to ours does not reach it, and without
// blocked signals. Everything else is inherited but for what is said here: descriptors other than
// those that are close-on-exec, environment, working directory, ignored signals. What cannot be
// noted, for want of memory, makes the start fail.
class SpawnPlan {
 public:
  SpawnPlan() noexcept {
    note(posix_spawn_file_actions_init(&actions_));
    note(posix_spawnattr_init(&attributes_));
    sigset_t none;
    sigemptyset(&none);
    note(posix_spawnattr_setsigmask(&attributes_, &none));
    note(posix_spawnattr_setpgroup(&attributes_, 0));
    set_flags(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  ~SpawnPlan() {
    posix_spawn_file_actions_destroy(&actions_);
    posix_spawnattr_destroy(&attributes_);
  }

  // The process's descriptor of that number is the file, opened with the flags.
  void open(int number, const char* path, int flags) noexcept {
    note(posix_spawn_file_actions_addopen(&actions_, number, path, flags, 0));
  }
  // The process's descriptor of that number is this one of ours.
  void give(int ours, int number) noexcept {
    note(posix_spawn_file_actions_adddup2(&actions_, ours, number));
  }
  void enter(const char* folder) noexcept {
    note(posix_spawn_file_actions_addchdir_np(&actions_, folder));
  }
  // No signal is ignored.
  void default_signals() noexcept {
    sigset_t all;
    sigfillset(&all);
    note(posix_spawnattr_setsigdefault(&attributes_, &all));
    set_flags(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
  }

  // Starts the program, a path, with the arguments, which end with null. Returns an error number,
  // or 0; then the process is the caller's to wait for.
  int start(pid_t& process, const char* program, char* const* arguments) const {
    if (error_ != 0) return error_;
    return posix_spawn(&process, program, &actions_, &attributes_, arguments, environ);
  }

 private:
  void note(int error) noexcept {
    if (error != 0) error_ = error;
  }
  void set_flags(int flags) noexcept {
    note(posix_spawnattr_setflags(&attributes_, static_cast<short>(flags)));
  }

  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
  int error_ = 0;
};

}  // namespace platform
