#include "drivetest/history_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <thread>

#include "drivetest/history_error.h"
#include "drivetest/time_text.h"

namespace drivetest {

namespace {

constexpr std::string_view kName = "history.sqlite";
constexpr std::array<std::string_view, 2> kChanges = {"-wal", "-journal"};
constexpr std::string_view kMarks = "history.lock";
constexpr mode_t kOfOthers = 077;

HistoryFault fault_of(int error) {
  switch (error) {
    case EACCES:
    case EPERM:
      return HistoryFault::NotPermitted;
    case EROFS:
      return HistoryFault::ReadOnly;
    case ENOSPC:
    case EDQUOT:
      return HistoryFault::Full;
    default:
      return HistoryFault::Broken;
  }
}

std::string remedy_of(HistoryFault fault) {
  switch (fault) {
    case HistoryFault::NotPermitted:
      return "root sees the history";
    case HistoryFault::ReadOnly:
      return "mount its file system for writing, or set HVX_STATE_DIR to another folder";
    case HistoryFault::Full:
      return "make room on its file system";
    default:
      return "";
  }
}

[[noreturn]] void throw_errno(const std::string& what) {
  const int error = errno;
  const HistoryFault fault = fault_of(error);
  throw HistoryError(fault, what + ": " + std::generic_category().message(error), remedy_of(fault),
                     "; ");
}

// What is wrong with a folder or file that is to be ours alone.
void expect_own(const std::string& path, const struct stat& status, const char* mode) {
  if (status.st_uid != geteuid()) {
    if (status.st_uid == 0)
      throw HistoryError(HistoryFault::NotPermitted, "the history in " + path + " is root's",
                         "root sees it, as with sudo");
    throw HistoryError(HistoryFault::Unsafe,
                       path + " belongs to the user with the number " +
                           std::to_string(status.st_uid) + ", who could change the history",
                       "chown " + std::to_string(geteuid()) + " " + path +
                           ", or set HVX_STATE_DIR to another folder");
  }
  if ((status.st_mode & kOfOthers) != 0)
    throw HistoryError(HistoryFault::Unsafe, path + " is open to other users",
                       std::string("chmod ") + mode + " " + path);
}

[[noreturn]] void throw_link(const std::string& path, const std::string& what) {
  throw HistoryError(HistoryFault::Unsafe, path + " is " + what,
                     "move it away, or set HVX_STATE_DIR to another folder");
}

// Without links on the way to it, since SQLite refuses those.
std::string resolved(const std::string& path) {
  std::filesystem::path folder = std::filesystem::absolute(path).lexically_normal();
  if (!folder.has_filename()) folder = folder.parent_path();
  std::error_code error;
  const std::filesystem::path parent = std::filesystem::canonical(folder.parent_path(), error);
  if (error) {
    errno = error.value();
    throw_errno(folder.parent_path().string() + ", where the history's folder belongs");
  }
  return parent / folder.filename();
}

// The byte of the file of marks that is the test's: as many of the id's digits as its size may
// have.
struct flock byte_of(const std::string& id) {
  constexpr std::size_t kDigits = 15;
  constexpr int kHexadecimal = 16;
  std::int64_t place = 0;
  std::from_chars(id.data(), id.data() + std::min(id.size(), kDigits), place, kHexadecimal);
  struct flock byte {};
  byte.l_type = F_WRLCK;
  byte.l_whence = SEEK_SET;
  byte.l_start = place;
  byte.l_len = 1;
  return byte;
}

void synchronize(int folder) {
  // Some file systems cannot do this to folders, and need not.
  if (fsync(folder) != 0 && errno != EINVAL && errno != EROFS)
    throw_errno("the history's folder cannot be written");
}

void make_folder(const std::string& path) {
  if (mkdir(path.c_str(), 0700) != 0) {
    if (errno == EEXIST) return;
    throw_errno(path + " cannot be made");
  }
  const std::string parent = std::filesystem::path(path).parent_path();
  const platform::Descriptor folder(open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder) synchronize(folder.get());
}

}  // namespace

HistoryFolder::HistoryFolder(const std::string& path)
    : path_(resolved(path)), file_(path_ + "/" + std::string(kName)) {
  make_folder(path_);
  struct stat status {};
  if (lstat(path_.c_str(), &status) != 0) throw_errno(path_);
  if (S_ISLNK(status.st_mode)) throw_link(path_, "a link");
  if (!S_ISDIR(status.st_mode)) throw_link(path_, "no folder");
  expect_own(path_, status, "700");
  folder_ =
      platform::Descriptor(open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!folder_) throw_errno(path_);
}

platform::Descriptor HistoryFolder::lock(bool is_exclusive,
                                         std::chrono::milliseconds patience) const {
  constexpr std::chrono::milliseconds kPause{5};
  // A descriptor of its own, whose closing ends the lock.
  platform::Descriptor lock(openat(folder_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!lock) throw_errno(path_);
  const auto end = std::chrono::steady_clock::now() + patience;
  while (flock(lock.get(), (is_exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) throw_errno(path_ + " cannot be locked");
    if (std::chrono::steady_clock::now() >= end)
      throw HistoryError(HistoryFault::Busy, "other programs keep " + file_ + " busy",
                         "try again later");
    std::this_thread::sleep_for(kPause);
  }
  return lock;
}

// A byte for each test, which is never written. Not in the history's file: closing a descriptor of
// that would end SQLite's locks in this process.
platform::Descriptor HistoryFolder::mark_starting(const std::string& id) const {
  platform::Descriptor mark(openat(folder_.get(), kMarks.data(),
                                   O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
  struct flock byte = byte_of(id);
  if (mark && fcntl(mark.get(), F_OFD_SETLK, &byte) != 0) mark.close();
  return mark;
}

bool HistoryFolder::is_marked_starting(const std::string& id) const {
  const platform::Descriptor marks(
      openat(folder_.get(), kMarks.data(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct flock byte = byte_of(id);
  return marks && fcntl(marks.get(), F_OFD_GETLK, &byte) == 0 && byte.l_type != F_UNLCK;
}

std::optional<HistoryFolder::FileId> HistoryFolder::file_id() const {
  struct stat status {};
  if (fstatat(folder_.get(), kName.data(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) return std::nullopt;
    throw_errno(file_);
  }
  if (S_ISLNK(status.st_mode)) throw_link(file_, "a link");
  if (!S_ISREG(status.st_mode)) throw_link(file_, "no file");
  if (status.st_nlink > 1) throw_link(file_, "a file with further names");
  expect_own(file_, status, "600");
  return FileId{status.st_dev, status.st_ino, status.st_size};
}

// Not by opening it: closing a descriptor of the file would end SQLite's locks in this process.
void HistoryFolder::make_file() const {
  if (mknodat(folder_.get(), kName.data(), S_IFREG | 0600, 0) != 0 && errno != EEXIST)
    throw_errno(file_ + " cannot be made");
  synchronize(folder_.get());
}

bool HistoryFolder::has_bytes(const std::string& name) const {
  struct stat status {};
  return fstatat(folder_.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         status.st_size > 0;
}

bool HistoryFolder::has_changes() const {
  return std::any_of(kChanges.begin(), kChanges.end(), [&](std::string_view suffix) {
    return has_bytes(std::string(kName) + std::string(suffix));
  });
}

bool HistoryFolder::has_changes_alone() const {
  const std::optional<FileId> file = file_id();
  if (!file) return has_changes();
  // When making the tables was interrupted, an empty file with a journal beside it is left.
  return file->size == 0 && has_bytes(std::string(kName) + std::string(kChanges[0]));
}

std::string HistoryFolder::set_aside(Time now) const {
  std::string date = time_text(now);
  std::replace(date.begin(), date.end(), ':', '-');
  const std::string name(kName);
  const auto move = [&](const std::string& from, const std::string& to) {
    return renameat2(folder_.get(), from.c_str(), folder_.get(), to.c_str(), RENAME_NOREPLACE) ==
               0 ||
           errno == ENOENT;
  };
  constexpr unsigned kMostOfASecond = 99;  // which is what removing the package looks for
  for (unsigned number = 1; number <= kMostOfASecond; ++number) {
    std::string aside = name;
    aside.append(".damaged-").append(date);
    if (number > 1) aside.append(".").append(std::to_string(number));
    // All of them under one name, or none: SQLite finds the changes by the name of the file.
    bool is_free = true;
    for (const std::string_view suffix : {std::string_view(), kChanges[0], kChanges[1]})
      is_free = is_free && faccessat(folder_.get(), (aside + std::string(suffix)).c_str(), F_OK,
                                     AT_SYMLINK_NOFOLLOW) != 0;
    if (!is_free) continue;
    // If this process ends in between, the next one finds changes alone and moves them.
    if (!move(name, aside)) break;
    for (const std::string_view suffix : kChanges)
      if (!move(name + std::string(suffix), aside + std::string(suffix))) throw_errno(file_);
    unlinkat(folder_.get(), (name + "-shm").c_str(), 0);
    synchronize(folder_.get());
    return path_ + "/" + aside;
  }
  throw_errno(file_ + " is damaged and cannot be kept aside");
}

bool HistoryFolder::is_full() const {
  constexpr unsigned kFewBlocks = 32;
  struct statvfs status {};
  return fstatvfs(folder_.get(), &status) == 0 && status.f_bavail < kFewBlocks;
}

bool HistoryFolder::is_read_only() const {
  struct statvfs status {};
  return fstatvfs(folder_.get(), &status) == 0 && (status.f_flag & ST_RDONLY) != 0;
}

}  // namespace drivetest
