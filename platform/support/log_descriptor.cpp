#include "platform/support/log_descriptor.h"

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <limits>

namespace NKVRHVX20 {

namespace {

int duplicate(int file) {
  const int number = fcntl(file, F_DUPFD_CLOEXEC, LogDescriptor::kLowestNumber);
  return number >= 0 ? number : fcntl(file, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

// Larger than any file of the host, small enough for every file system, and different each time.
// 0: there is none.
off_t new_mark() {
  std::uint32_t random = 0;
  const bool has_random = getrandom(&random, sizeof random, GRND_NONBLOCK) == sizeof random;
  return has_random ? (off_t{1} << 40) + random : 0;
}

}  // namespace

LogDescriptor::~LogDescriptor() {
  if (is_marked()) close(number_);
}

bool LogDescriptor::is_marked() const noexcept {
  return number_ >= 0 && lseek(number_, 0, SEEK_CUR) == mark_;
}

std::optional<LogDescriptor::Kept> LogDescriptor::look() const noexcept {
  const std::uint64_t version = version_;
  if (version % 2 != 0) return std::nullopt;
  const Kept kept{number_, seen_};
  if (!is_marked() || version_ != version) return std::nullopt;
  return kept;
}

// On Linux pwrite appends to a file that was opened for it, whatever the offset, and leaves the
// position as it is. Where the descriptor has come to be something else between the look and now,
// no file takes anything at this offset.
bool LogDescriptor::append(const Kept& kept, std::string_view line) noexcept {
  constexpr off_t kNowhere = std::numeric_limits<off_t>::max() - (off_t{1} << 20);
  return pwrite(kept.number, line.data(), line.size(), kNowhere) >= 0;
}

void LogDescriptor::keep(int file, Time seen) noexcept {
  std::uint64_t version = version_;
  if (version % 2 != 0 || !version_.compare_exchange_strong(version, version + 1)) return;
  const off_t mark = new_mark();
  int number = -1;
  if (mark != 0 && lseek(file, mark, SEEK_SET) == mark)
    number = is_marked() ? dup3(file, number_, O_CLOEXEC) : duplicate(file);
  if (number >= 0) {
    number_ = number;
    mark_ = mark;
    seen_ = seen;
  }
  ++version_;
}

// Not where another file has been kept meanwhile, which comes with a time of its own.
void LogDescriptor::seen(const Kept& kept, Time time) noexcept {
  Time before = kept.seen;
  seen_.compare_exchange_strong(before, time);
}

}  // namespace NKVRHVX20
