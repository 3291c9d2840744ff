#include "broker/http/users_file.h"

#include <crypt.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "broker/http/password_hash.h"
#include "broker/http/users.h"
#include "platform/descriptor.h"
#include "platform/words.h"

namespace broker::http {
namespace {

namespace fs = std::filesystem;
using platform::Descriptor;

constexpr std::size_t kMostBytes = std::size_t{1} << 20;

[[noreturn]] void fail(const std::string& doing, const fs::path& file, const std::string& why) {
  throw std::runtime_error("cannot " + doing + " the users file " + file.string() + ": " + why);
}

// For an administrator who named another file by mistake.
constexpr const char* kAdvice =
    "name a file that 'hddtest passwd FILE USER' made, or one that does not exist yet, for it to "
    "make";

std::string access_fault(const struct stat& status) {
  if (!S_ISREG(status.st_mode)) return std::string("not a regular file; ") + kAdvice;
  if (status.st_uid != geteuid() && status.st_uid != 0)
    return "it belongs to another user; name a file of your own or root's";
  return "";
}

// Whether the file was made for this server. Nobody must be told to change the mode of a file that
// serves something else.
bool is_users_text(std::string_view text) {
  try {
    std::size_t users = 0;
    for (const UsersLine& line : users_lines(text)) {
      if (line.user.empty()) continue;
      if (!is_good_hash(std::string(line.hash))) return false;
      ++users;
    }
    return users > 0;
  } catch (const std::runtime_error&) {
    return false;
  }
}

std::string new_hash(const std::string& password) {
  const std::unique_ptr<char, decltype(&std::free)> setting(crypt_gensalt_ra("$y$", 0, nullptr, 0),
                                                            std::free);
  const auto data = std::make_unique<crypt_data>();
  const char* const made =
      setting ? crypt_rn(password.c_str(), setting.get(), data.get(), sizeof *data) : nullptr;
  if (!made) throw std::runtime_error("cannot hash the password");
  return made;
}

// The file itself, so that a link to it stays a link.
fs::path target_of(const fs::path& path) {
  std::error_code error;
  const fs::path resolved = fs::canonical(path, error);
  return error ? path : resolved;
}

fs::path folder_of(const fs::path& file) {
  return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

void check_text(const fs::path& file, const std::string& text) {
  try {
    users_lines(text);
  } catch (const std::runtime_error& error) {
    fail("change", file, error.what());
  }
}

// Puts the text in the file's place.
void replace(const fs::path& file, std::string_view text) {
  std::string name = file.string() + ".XXXXXX";
  const Descriptor descriptor(mkostemp(name.data(), O_CLOEXEC));
  bool good = bool(descriptor);
  while (good && !text.empty()) {
    const ssize_t written = write(descriptor.get(), text.data(), text.size());
    good = written >= 0 || errno == EINTR;
    if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
  }
  if (good && fsync(descriptor.get()) == 0 && rename(name.c_str(), file.c_str()) == 0) return;
  const int error = errno;
  if (descriptor) unlink(name.c_str());
  fail("write", file, std::strerror(error));
}

}  // namespace

std::vector<UsersLine> users_lines(std::string_view text) {
  std::vector<UsersLine> lines;
  while (!text.empty()) {
    UsersLine line{lines.size() + 1, platform::take_to(text, '\n'), {}, {}};
    if (!line.whole.empty() && line.whole.front() != '#') {
      line.hash = line.whole;
      line.user = platform::take_to(line.hash, ':');
      // With a further colon it is a line of the system's own files; no hash holds one.
      if (line.hash.empty() || line.hash.find(':') != line.hash.npos ||
          !user_name_fault(line.user).empty())
        throw std::runtime_error("line " + std::to_string(line.number) + " is not USER:HASH; " +
                                 kAdvice);
    }
    lines.push_back(line);
  }
  return lines;
}

std::string user_name_fault(std::string_view user) {
  const auto bad = [](unsigned char byte) { return byte < 0x20 || byte == 0x7f || byte == ':'; };
  if (user.empty()) return "it is empty";
  if (user.front() == '#') return "it begins with #";
  if (user.size() > 255) return "it is longer than 255 bytes";
  if (std::any_of(user.begin(), user.end(), bad)) return "it holds a colon or a control character";
  return "";
}

std::optional<std::string> read_users_file(const fs::path& file) {
  const Descriptor descriptor(open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!descriptor && errno == ENOENT) return std::nullopt;
  struct stat status {};
  if (!descriptor || fstat(descriptor.get(), &status) != 0)
    fail("read", file, std::strerror(errno));
  if (const std::string fault = access_fault(status); !fault.empty()) fail("use", file, fault);
  std::string text(kMostBytes + 1, '\0');
  std::size_t size = 0;
  while (size < text.size()) {
    const ssize_t count = read(descriptor.get(), text.data() + size, text.size() - size);
    if (count == 0) break;
    if (count > 0) size += static_cast<std::size_t>(count);
    if (count < 0 && errno != EINTR) fail("read", file, std::strerror(errno));
  }
  if (size > kMostBytes) fail("read", file, "it is longer than 1 MiB");
  text.resize(size);
  if ((status.st_mode & 077) == 0) return text;
  fail("use", file,
       is_users_text(text) ? "others may read or write it; chmod 600 it"
                           : std::string("it is no users file; ") + kAdvice);
}

void check_user_name(std::string_view user) {
  if (const std::string fault = user_name_fault(user); !fault.empty())
    throw std::runtime_error("this cannot be the name of a user: " + fault);
}

void check_changeable(const fs::path& path) {
  const fs::path file = target_of(path);
  check_text(file, read_users_file(file).value_or(""));
  if (faccessat(AT_FDCWD, folder_of(file).c_str(), W_OK | X_OK, AT_EACCESS) != 0)
    fail("write", file, std::strerror(errno));
}

void set_password(const fs::path& path, const Credentials& credentials) {
  check_user_name(credentials.user);
  const fs::path file = target_of(path);
  // One process at a time changes users files of this folder.
  const Descriptor lock(open(folder_of(file).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!lock || flock(lock.get(), LOCK_EX) != 0) fail("write", file, std::strerror(errno));

  const std::string before = read_users_file(file).value_or("");
  check_text(file, before);
  const std::string entry = credentials.user + ":" + new_hash(credentials.password) + "\n";
  std::string after;
  bool known = false;
  for (const UsersLine& line : users_lines(before)) {
    const bool same = line.user == credentials.user;
    if (!same) after.append(line.whole) += '\n';
    if (same && !known) after += entry;
    known = known || same;
  }
  replace(file, known ? after : after + entry);
}

}  // namespace broker::http
