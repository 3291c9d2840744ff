// The descriptor of the log that a process keeps from one line to the next. Internal to the logger.
//
// The process is not ours: its host may close the descriptor, open something else that gets its
// number, fork at any moment and log in several threads. So:
// - The descriptor is known by a mark, its file position, which is far behind the end of any file.
//   A writer looks for the mark before, and writes so that the position stays. That is
//   cheaper than to ask for device and inode, and tells the log from another opening of the same
//   file too.
// - A number is not given back, since another thread may be about to write to it. A new file takes
//   the place of the old one at the same number, in one step (dup3).
// - Nobody waits: what another thread is changing counts as absent, and the caller opens the file
//   for itself.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

namespace NKVRHVX20 {

class LogDescriptor {
 public:
  // Above the numbers that a host's own files get, where the limit of the process allows it: a host
  // that has closed its standard streams opens other files at the lowest numbers. With such a
  // number the log would get what the host prints.
  static constexpr int kLowestNumber = 500;

  LogDescriptor() = default;
  LogDescriptor(const LogDescriptor&) = delete;
  // Closes the descriptor, if it is still the one that was kept. No thread may use it any more.
  ~LogDescriptor();

  using Time = std::chrono::nanoseconds;

  struct Kept {
    int number;
    Time seen;  // when the log's path last named the file, as far as is known
  };
  // What is kept; none when nothing is, when something else stands at the number, or while another
  // thread changes it.
  std::optional<Kept> look() const noexcept;

  // Appends by one write. False where that failed.
  static bool append(const Kept& kept, std::string_view line) noexcept;

  // Keeps the file from now on, by a descriptor of its own; the one given, which has to append,
  // stays the caller's, but has the same file position. Does nothing if the process may have no
  // further descriptor, if the file system refuses the mark, or while another thread does the same.
  void keep(int file, Time seen) noexcept;

  // The log's path named the file at that time too.
  void seen(const Kept& kept, Time time) noexcept;

 private:
  bool is_marked() const noexcept;

  // Odd while a thread changes the members below, some of which are old then and some new. In a
  // child that was forked meanwhile it stays so: there every line opens the file.
  std::atomic<std::uint64_t> version_{0};
  std::atomic<int> number_{-1};
  std::atomic<off_t> mark_{0};
  std::atomic<Time> seen_{Time{0}};
};

}  // namespace NKVRHVX20
