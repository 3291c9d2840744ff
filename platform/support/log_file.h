// Where log lines go: a file, or the journal in its place. Internal to the logger.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "platform/support/log_descriptor.h"

namespace NKVRHVX20 {

// At this size a log file is renamed to FILE.1.
constexpr std::int64_t kLogFileLimit = std::int64_t{64} << 20;

// After a rotation, lines may go to the old file for so long: with the step of the clock (10 ms at
// most) a tenth of a second.
constexpr std::chrono::milliseconds kLogFileLookTime{90};

using LogClock = std::chrono::nanoseconds (*)();  // may jump: then the path is looked at

// CLOCK_MONOTONIC_COARSE: it costs least.
std::chrono::nanoseconds monotonic_time();

// A log file that is kept open, and followed when its path comes to name another one. May be used
// by any thread, and by a child after fork; several processes may share the file.
class LogFile {
 public:
  explicit LogFile(std::string path, LogClock clock = monotonic_time)
      : path_(std::move(path)), clock_(clock) {}

  // By one write, without waiting for anybody. Creates the file with mode 0640, and moves one away
  // that has reached the limit. False when it cannot be opened; a line that it does not take is
  // dropped. Only a regular file is kept open: a pipe is opened for each line, so that its reader
  // sees an end. Nothing is kept open in a process that has a limit of file sizes, since a write
  // past that limit would send a signal.
  bool append(std::string_view line);

 private:
  bool append_to_kept(std::string_view line);
  bool append_to_opened(std::string_view line);
  bool is_in_place(const LogDescriptor::Kept& kept, std::size_t size);

  const std::string path_;
  const LogClock clock_;
  LogDescriptor descriptor_;
  // How much this process may write before the file is to be looked at for its size.
  std::atomic<std::int64_t> room_{0};
};

class LogDestination {
 public:
  static constexpr const char* kJournalSocket = "/run/systemd/journal/socket";

  // A file named "-" is standard error. The journal listens at the socket (native protocol of
  // systemd's journal, one datagram for each line).
  explicit LogDestination(std::string file, std::string journal_socket = kJournalSocket,
                          LogClock clock = monotonic_time)
      : to_standard_error_(file == "-"),
        file_(std::move(file), clock),
        journal_socket_(std::move(journal_socket)) {}

  // Writes one line. When the file cannot be opened, sends the text to the journal without waiting;
  // when nobody listens there or its queue is full, the line is dropped. Of a long text both get
  // the beginning (kLogLineLimit).
  void write(int severity, const std::string& text);

 private:
  const bool to_standard_error_;
  LogFile file_;
  const std::string journal_socket_;
};

}  // namespace NKVRHVX20
