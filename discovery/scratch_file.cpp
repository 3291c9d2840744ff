#include "discovery/scratch_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <new>

#include "discovery/process_lock.h"
#include "platform/descriptor.h"
#include "platform/support/osspecific.h"

namespace discovery {

namespace {

constexpr char kScratchFile[] = "/tmp/sgMap.txt";
constexpr char kRemoval[] = "rm -rf /tmp/sgMap.txt";

constexpr int kLimitSeconds = 300;
// The report on a machine with very many drives has some hundred kB.
constexpr off_t kMostBytes = 16L << 20;

// Whether the command ended within its time. How it ended does not matter: its report shows that.
//
// Kept on purpose: a shell, with the command as it stands. The C library's system() would do, but
// for the host: it holds SIGCHLD back in the calling thread, so that the kernel hands it to another
// one of the object manager's, whose answer to a client breaks off.
bool run(const std::string& command) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point begin = Clock::now();
  std::string output;
  const int status =
      NKVRHVX20::TOSSpecific::SpawnProcess("/bin/sh", {"-c", command}, output, kLimitSeconds);
  return status >= 0 || Clock::now() - begin < std::chrono::seconds(kLimitSeconds);
}

// The scratch file from its making to its removal.
class ScratchFile {
 public:
  ScratchFile() : file_(make()) {}
  ScratchFile(const ScratchFile&) = delete;
  ~ScratchFile() {
    if (file_) remove();
  }

  std::optional<std::string> report_of(const std::string& command) {
    if (!file_ || !run(command) || !is_in_its_place()) return std::nullopt;
    return text();
  }

 private:
  // The date that the file is given when it is made, and that no other file has. A shell that opens
  // the file empties it and so changes the date; where no shell could be started the date stays.
  static constexpr timespec kUnwritten = {0, 0};

  static platform::Descriptor make() {
    if (unlink(kScratchFile) != 0 && errno == EISDIR) run(kRemoval);
    platform::Descriptor file(
        open(kScratchFile, O_RDONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    const timespec times[] = {kUnwritten, kUnwritten};
    if (!file || futimens(file.get(), times) == 0) return file;
    unlink(kScratchFile);
    return {};
  }

  bool is_in_its_place() const {
    struct stat there {};
    struct stat ours {};
    return lstat(kScratchFile, &there) == 0 && fstat(file_.get(), &ours) == 0 &&
           there.st_dev == ours.st_dev && there.st_ino == ours.st_ino;
  }

  std::optional<std::string> text() const {
    struct stat status {};
    if (fstat(file_.get(), &status) != 0 || status.st_size > kMostBytes) return std::nullopt;
    if (status.st_mtim.tv_sec == kUnwritten.tv_sec && status.st_mtim.tv_nsec == kUnwritten.tv_nsec)
      return std::nullopt;
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    for (std::size_t done = 0; done < text.size();) {
      const ssize_t count =
          pread(file_.get(), &text[done], text.size() - done, static_cast<off_t>(done));
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) return std::nullopt;
      done += static_cast<std::size_t>(count);
    }
    text.resize(strnlen(text.data(), text.size()));
    return text;
  }

  // By the shell command, or directly if no shell can be started. A file that somebody has put in
  // its place stays.
  void remove() const noexcept {
    try {
      if (is_in_its_place()) run(kRemoval);
    } catch (...) {
    }
    if (is_in_its_place()) unlink(kScratchFile);
  }

  const platform::Descriptor file_;
};

}  // namespace

std::optional<std::string> through_scratch_file(const std::string& command) {
  try {
    const ProcessLock lock;
    ScratchFile file;
    return file.report_of(command + " > " + kScratchFile);
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
}

}  // namespace discovery
