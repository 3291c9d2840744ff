#include "broker/http/users.h"

#include <crypt.h>
#include <gnutls/crypto.h>
#include <sys/random.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "broker/http/users_file.h"

namespace broker::http {
namespace {

bool equal_in_constant_time(const void* a, const void* b, std::size_t size) {
  return gnutls_memcmp(a, b, size) == 0;
}

// What crypt makes of the password; empty when it cannot.
std::string hash_of(const std::string& password, const std::string& setting) {
  const auto data = std::make_unique<crypt_data>();
  // A password beyond a NUL would not be looked at.
  if (password.find('\0') != std::string::npos) return "";
  const char* const made = crypt_rn(password.c_str(), setting.c_str(), data.get(), sizeof *data);
  std::string hash = made ? made : "";
  explicit_bzero(data.get(), sizeof *data);
  return hash;
}

}  // namespace

std::shared_ptr<Users> Users::read(const std::filesystem::path& file) {
  const auto text = read_users_file(file);
  if (!text) {
    throw std::runtime_error("cannot read the users file " + file.string() + ": " +
                             std::strerror(ENOENT) + "; make it with 'hddtest passwd FILE USER'");
  }
  try {
    return std::make_shared<Users>(*text);
  } catch (const std::runtime_error& error) {
    throw std::runtime_error("users file " + file.string() + ": " + error.what());
  }
}

Users::Users(std::string_view text) {
  for (const UsersLine& line : users_lines(text)) {
    if (line.user.empty()) continue;
    const std::string hash(line.hash);
    if (!is_good_hash(hash))
      throw std::runtime_error("line " + std::to_string(line.number) +
                               ": no password hash, or one of a method that is too weak; set the "
                               "password with 'hddtest passwd FILE USER'");
    if (!hashes_.emplace(line.user, hash).second)
      throw std::runtime_error("line " + std::to_string(line.number) + ": the user stands twice");
  }
  if (hashes_.empty())
    throw std::runtime_error("it names no user; add one with 'hddtest passwd FILE USER'");
  if (getentropy(key_.data(), key_.size()) != 0)
    throw std::runtime_error(std::string("no random numbers: ") + std::strerror(errno));
}

Users::Digest Users::digest(const Credentials& credentials, const std::string& hash) const {
  Digest digest{};
  // Neither name nor hash can hold a line feed.
  const std::string text = credentials.user + "\n" + hash + "\n" + credentials.password;
  if (gnutls_hmac_fast(GNUTLS_MAC_SHA256, key_.data(), key_.size(), text.data(), text.size(),
                       digest.data()) != 0)
    throw std::runtime_error("no digest");
  return digest;
}

bool Users::remembers(const Credentials& credentials) const {
  const auto user = hashes_.find(credentials.user);
  if (user == hashes_.end()) return false;
  const Digest now = digest(credentials, user->second);
  const std::lock_guard guard(memory_);
  const auto before = verified_.find(credentials.user);
  return before != verified_.end() &&
         equal_in_constant_time(now.data(), before->second.data(), now.size());
}

bool Users::verify(const Credentials& credentials) {
  const std::lock_guard turn(one_at_a_time_);
  const auto user = hashes_.find(credentials.user);
  // An unknown user costs the hash of a known one, so that time does not tell who is known.
  const std::string& expected = (user == hashes_.end() ? hashes_.begin() : user)->second;
  const std::string made = hash_of(credentials.password, expected);
  const bool right = made.size() == expected.size() &&
                     equal_in_constant_time(made.data(), expected.data(), made.size());
  if (!right || user == hashes_.end()) return false;
  const Digest now = digest(credentials, expected);
  const std::lock_guard guard(memory_);
  verified_[credentials.user] = now;
  return true;
}

}  // namespace broker::http
