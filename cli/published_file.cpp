#include "cli/published_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "cli/failure.h"
#include "platform/descriptor.h"

namespace cli {

using platform::Descriptor;

namespace {

[[noreturn]] void fail(const std::string& file, const std::string& why) {
  throw CommandFailure(fmt::format("cannot write '{}': {}", file, why));
}

[[noreturn]] void fail(const std::string& file) {
  fail(file, std::generic_category().message(errno));
}

// What would be lost, such as a device, or is not what its name says.
void expect_replaceable(const std::string& file, int folder, const std::string& name) {
  struct stat status {};
  if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno != ENOENT) fail(file);
    return;
  }
  if (S_ISDIR(status.st_mode)) fail(file, "it is a folder");
  if (S_ISLNK(status.st_mode)) fail(file, "it is a link; name the file itself");
  if (!S_ISREG(status.st_mode)) fail(file, "it is no regular file");
}

// A name of its own beside the file. Programs that read all files of one ending do not read it.
std::string name_beside(const std::string& file, const std::string& name) {
  std::uint64_t number = 0;
  if (getrandom(&number, sizeof number, 0) != sizeof number) fail(file);
  return fmt::format(".{}.{:016x}", name.substr(0, 200), number);
}

bool is_written(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(descriptor, text.data(), text.size());
    if (written < 0 && errno != EINTR) return false;
    if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
  }
  return fchmod(descriptor, 0644) == 0 && fsync(descriptor) == 0;
}

}  // namespace

void publish(const std::string& file, std::string_view text) {
  const std::filesystem::path path(file);
  const std::string name = path.filename();
  if (name.empty()) fail(file, file.empty() ? "it has no name" : "it is a folder");
  const std::string parent = path.has_parent_path() ? path.parent_path().string() : ".";
  const Descriptor folder(open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder) fail(file);
  expect_replaceable(file, folder.get(), name);
  const std::string beside = name_beside(file, name);
  const Descriptor made(openat(folder.get(), beside.c_str(),
                               O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!made) fail(file);
  const bool is_good = is_written(made.get(), text) &&
                       renameat(folder.get(), beside.c_str(), folder.get(), name.c_str()) == 0;
  if (!is_good) {
    const int error = errno;
    unlinkat(folder.get(), beside.c_str(), 0);
    errno = error;
    fail(file);
  }
  fsync(folder.get());
}

}  // namespace cli
