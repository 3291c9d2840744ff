#include "platform/support/log_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "platform/descriptor.h"
#include "platform/support/log_text.h"
#include "platform/support/signal_free_write.h"

namespace NKVRHVX20 {

namespace {

using platform::Descriptor;

Descriptor open_log(const std::string& path) {
  // A named pipe that nobody reads must not hold up the caller.
  return Descriptor(
      open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0640));
}

bool is_full(const struct stat& status) {
  return S_ISREG(status.st_mode) && status.st_size >= kLogFileLimit;
}

// Whether writing may send a signal even for a file. Every line asks, since the host may set a
// limit at any moment. By the kernel's own call: with the C library's, which takes twice the time,
// an enumeration with the log takes 2.52 times one without, and the goal is 2.5.
bool sizes_are_limited() {
  rlimit limit{};
  return syscall(SYS_getrlimit, RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur != RLIM_INFINITY;
}

bool names(const std::string& path, const struct stat& file) {
  struct stat present {};
  return stat(path.c_str(), &present) == 0 && present.st_dev == file.st_dev &&
         present.st_ino == file.st_ino;
}

// Moves the full file away, unless another thread or process has done so or is about to. A
// writer that does not get the lock writes on where it is. The lock belongs to the opening of the
// file, so the descriptor has to be one that was opened for this, and not the one that all threads
// and forked children share.
void move_away(const Descriptor& file, const std::string& path, const struct stat& full) {
  if (flock(file.get(), LOCK_EX | LOCK_NB) != 0) return;
  if (names(path, full)) std::rename(path.c_str(), (path + ".1").c_str());
  flock(file.get(), LOCK_UN);
}

timespec time_of(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return time;
}

// Severities 0 to 4 are the journal's priorities error to debug; it adds time and process itself.
void send_to_journal(const std::string& socket_path, int severity, const std::string& text) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (socket_path.size() >= sizeof address.sun_path) return;
  std::memcpy(address.sun_path, socket_path.data(), socket_path.size());

  std::string message = "SYSLOG_IDENTIFIER=hddtest\nPRIORITY=";
  message += std::to_string(std::clamp(severity, 0, 4) + 3);
  message += "\nMESSAGE=";
  append_escaped(message, text, kLogLineLimit);
  message += '\n';

  const Descriptor connection(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!connection) return;
  sendto(connection.get(), message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
         reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

}  // namespace

std::chrono::nanoseconds monotonic_time() {
  const timespec time = time_of(CLOCK_MONOTONIC_COARSE);
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

bool LogFile::append(std::string_view line) {
  return append_to_kept(line) || append_to_opened(line);
}

// False when the line has not been written: it is to go to a file that is opened for it.
bool LogFile::append_to_kept(std::string_view line) {
  const auto kept = descriptor_.look();
  return kept && is_in_place(*kept, line.size()) && !sizes_are_limited() &&
         LogDescriptor::append(*kept, line);
}

// Where the look finds something else, every line looks again until another file is kept.
bool LogFile::is_in_place(const LogDescriptor::Kept& kept, std::size_t size) {
  const std::chrono::nanoseconds now = clock_();
  const bool has_room = room_.fetch_sub(static_cast<std::int64_t>(size)) > 0;
  if (has_room && now >= kept.seen && now - kept.seen < kLogFileLookTime) return true;
  struct stat status {};
  if (fstat(kept.number, &status) != 0 || is_full(status) || !names(path_, status)) return false;
  room_ = kLogFileLimit - status.st_size - static_cast<std::int64_t>(size);
  descriptor_.seen(kept, now);
  return true;
}

bool LogFile::append_to_opened(std::string_view line) {
  const std::chrono::nanoseconds begin = clock_();
  Descriptor file = open_log(path_);
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) return false;
  if (is_full(status)) {
    move_away(file, path_, status);
    Descriptor fresh = open_log(path_);
    if (fresh && fstat(fresh.get(), &status) == 0) file = std::move(fresh);
  }
  write_without_signal(file.get(), line);
  if (S_ISREG(status.st_mode) && !sizes_are_limited()) {
    descriptor_.keep(file.get(), begin);
    room_ = kLogFileLimit - status.st_size - static_cast<std::int64_t>(line.size());
  }
  return true;
}

void LogDestination::write(int severity, const std::string& text) {
  // In microseconds, since nanoseconds end with the year 2262.
  const timespec time = time_of(CLOCK_REALTIME);
  const std::int64_t microseconds = std::int64_t{time.tv_sec} * 1'000'000 + time.tv_nsec / 1000;
  const std::string line = format_log_line(microseconds, severity, getpid(), text);
  const bool opened =
      to_standard_error_ ? write_without_signal(STDERR_FILENO, line) != EBADF : file_.append(line);
  if (!opened) send_to_journal(journal_socket_, severity, text);
}

}  // namespace NKVRHVX20
