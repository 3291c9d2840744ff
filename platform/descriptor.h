// One owner of a file descriptor. A leaf: any folder may use it.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace platform {

// Closes the descriptor that it owns when it goes. Owns none when it was made without one or with a
// negative number, as open() gives where it fails. Neither closing nor going changes errno, so that
// the reason of a failure can be read afterwards. Like an int, not for several threads at once.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) noexcept : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      close();
      number_ = other.release();
    }
    return *this;
  }
  ~Descriptor() { close(); }

  int get() const noexcept { return number_; }
  explicit operator bool() const noexcept { return number_ >= 0; }

  // Owned by the caller from now on.
  [[nodiscard]] int release() noexcept { return std::exchange(number_, -1); }

  void close() noexcept {
    if (number_ < 0) return;
    const int error = errno;
    ::close(release());
    errno = error;
  }

 private:
  int number_ = -1;
};

// Both ends of a pipe, close-on-exec.
struct Pipe {
  Descriptor read_end;
  Descriptor write_end;
};

// Without ends where there can be none; errno says why.
inline Pipe open_pipe(int flags = 0) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC | flags) != 0) return {};
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

}  // namespace platform
