#include "platform/support/log_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>

#include "platform/support/log_text.h"

namespace NKVRHVX20 {

namespace {

// Whether a write may send a signal: into a pipe or socket, or past a limit of the process.
bool MaySendSignal(const struct stat& status) {
  rlimit limit{};
  return !S_ISREG(status.st_mode) || getrlimit(RLIMIT_FSIZE, &limit) != 0 ||
         limit.rlim_cur != RLIM_INFINITY;
}

// The error number, or 0.
int WriteOnce(int descriptor, std::string_view line) {
  return write(descriptor, line.data(), line.size()) < 0 ? errno : 0;
}

// The same where it may send a signal. A broken pipe or a file size limit sends the thread one that
// would end the host; the signal is held back and taken away again, its disposition stays the
// host's.
int WriteWithoutSignal(int descriptor, std::string_view line) {
  sigset_t fatal;
  sigset_t before;
  sigset_t pending;
  sigemptyset(&fatal);
  sigaddset(&fatal, SIGPIPE);
  sigaddset(&fatal, SIGXFSZ);
  sigpending(&pending);
  pthread_sigmask(SIG_BLOCK, &fatal, &before);
  const int error = WriteOnce(descriptor, line);
  const int sent = error == EPIPE ? SIGPIPE : error == EFBIG ? SIGXFSZ : 0;
  if (sent != 0 && !sigismember(&pending, sent)) {
    const timespec now{};
    sigset_t ours;
    sigemptyset(&ours);
    sigaddset(&ours, sent);
    sigtimedwait(&ours, nullptr, &now);
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return error;
}

int Open(const std::string& path) {
  // A named pipe that nobody reads must not hold up the caller.
  return open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY,
              0640);
}

bool IsFull(int descriptor, struct stat& status) {
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
         status.st_size >= kLogFileLimit;
}

// Moves the full file away, unless another process has done so or is about to: whoever does not
// get the lock writes on where it is.
void MoveAway(int descriptor, const std::string& path, const struct stat& full) {
  if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) return;
  struct stat present {};
  if (stat(path.c_str(), &present) == 0 && present.st_dev == full.st_dev &&
      present.st_ino == full.st_ino)
    std::rename(path.c_str(), (path + ".1").c_str());
  flock(descriptor, LOCK_UN);
}

// False when the file cannot be opened.
bool AppendToFile(const std::string& path, std::string_view line) {
  int file = Open(path);
  if (file < 0) return false;
  struct stat status {};
  if (IsFull(file, status)) {
    MoveAway(file, path, status);
    const int fresh = Open(path);
    if (fresh >= 0) {
      close(file);
      file = fresh;
      status = {};  // whatever it is by now
    }
  }
  MaySendSignal(status) ? WriteWithoutSignal(file, line) : WriteOnce(file, line);
  close(file);
  return true;
}

// Severities 0 to 4 are the journal's priorities error to debug; it adds time and process itself.
void SendToJournal(const std::string& socketPath, int severity, const std::string& text) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (socketPath.size() >= sizeof address.sun_path) return;
  std::memcpy(address.sun_path, socketPath.data(), socketPath.size());

  std::string message = "SYSLOG_IDENTIFIER=hddtest\nPRIORITY=";
  message += std::to_string(std::clamp(severity, 0, 4) + 3);
  message += "\nMESSAGE=";
  AppendEscaped(message, text, kLogLineLimit);
  message += '\n';

  const int connection = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (connection < 0) return;
  sendto(connection, message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
         reinterpret_cast<const sockaddr*>(&address), sizeof address);
  close(connection);
}

std::int64_t Now() {
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  return std::int64_t{time.tv_sec} * 1'000'000 + time.tv_nsec / 1000;
}

}  // namespace

void WriteLogLine(const TLogDestination& destination, int severity, const std::string& text) {
  const std::string line = FormatLogLine(Now(), severity, getpid(), text);
  const bool opened = destination.fFile == "-" ? WriteWithoutSignal(STDERR_FILENO, line) != EBADF
                                               : AppendToFile(destination.fFile, line);
  if (!opened) SendToJournal(destination.fJournalSocket, severity, text);
}

}  // namespace NKVRHVX20
