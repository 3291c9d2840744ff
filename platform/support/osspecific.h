// What the system asks of the operating system: programs to run, facts of the machine, time.
//
// Runs inside a process that is not ours: nothing here changes signal dispositions, working
// directory, locale, environment or umask, and every descriptor is opened close-on-exec.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/support/cimdatetime.h"
#include "platform/support/logger.h"

namespace NKVRHVX20 {

// All members may be called from any thread. The environment is read at each call.
class HVX_EXPORT TOSSpecific {
 public:
  // Runs a program with arguments and replaces output by what it wrote to its standard output;
  // blocks until it has ended or timeoutSeconds have passed. Returns its exit code (0 to 255), or
  // -1 when it did not end by exiting: not found, not startable, killed, timed out, or more than
  // 256 MiB of output. After a time-out output keeps what was read.
  //
  // The program is looked up as find_program does (program.h). It gets an empty standard input,
  // no standard error, default signals, an empty signal mask, no inherited descriptors, and the
  // host's environment and working directory. It runs in a process group of its own, which is
  // gone at return: what is left of it when the program itself has ended, or at the time-out, is
  // killed, and up to a second more is spent on seeing it go. An argument that holds a NUL is
  // refused.
  //
  // Right however the host handles SIGCHLD; the host may see a child of its own come and go that
  // is the helper program hvx-run. If that program cannot be started, neither can any other, and
  // every attempt logs one line of severity 0.
  static int SpawnProcess(std::string program, std::vector<std::string> arguments,
                          std::string& output, int timeout_seconds);

  // The same, with what the program wrote to its standard error: the first 64 KiB of it. More is
  // lost, and the program's writing of it fails.
  static int SpawnProcess(std::string program, std::vector<std::string> arguments,
                          std::string& output, std::string& errors, int timeout_seconds);

  // Runs a command line, split at blanks and tabs (no shell, no quoting), and returns its
  // standard output, whatever its exit code; the empty text after limitSeconds or when it did not
  // end by exiting.
  static std::string SpawnProcess(const std::string& command_line, int limit_seconds);

  // The machine type in the DMI product name as the kernel publishes it (product_name.h); empty
  // when there is none. Like GetBiosID readable without root, and found under the directory that
  // HVX_SYSFS_ROOT names instead of the root when that is set.
  static std::string GetMachineTypeFromID();

  // The BIOS version, whole, without surrounding blanks; empty when there is none.
  static std::string GetBiosID();

  // The present, local time with its offset.
  static TCIMDateTime GetLocalTime();

  // The working directory; empty when it has been removed.
  static std::string GetCurrentDir();

  // The size in bytes; 0 unless it is a regular file that can be read.
  static std::uint64_t GetFileSize(const std::string& path);
};

}  // namespace NKVRHVX20
