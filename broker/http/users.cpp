#include "broker/http/users.h"

#include <crypt.h>
#include <gnutls/crypto.h>
#include <sys/random.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <stdexcept>

#include "broker/http/password_hash.h"
#include "broker/http/users_file.h"

namespace broker::http {
namespace {

bool equal_in_constant_time(const void* a, const void* b, std::size_t size) {
  return gnutls_memcmp(a, b, size) == 0;
}

// What crypt makes of the password; empty when it cannot.
std::string hash_of(const std::string& password, const std::string& setting) {
  const auto data = std::make_unique<crypt_data>();
  // crypt would not look at what stands behind a NUL.
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
    if (const std::string fault = hash_fault(hash); !fault.empty())
      throw std::runtime_error("line " + std::to_string(line.number) + ": " + fault +
                               "; set the password with 'hddtest passwd FILE USER'");
    if (!hashes_.emplace(line.user, hash).second)
      throw std::runtime_error("line " + std::to_string(line.number) + ": the user stands twice");
  }
  if (hashes_.empty())
    throw std::runtime_error("it names no user; add one with 'hddtest passwd FILE USER'");
  memory_ = std::make_shared<Memory>();
  if (getentropy(memory_->key.data(), memory_->key.size()) != 0)
    throw std::runtime_error(std::string("no random numbers: ") + std::strerror(errno));
}

void Users::follow(const Users& before) {
  memory_ = before.memory_;
  const std::lock_guard guard(memory_->lock);
  std::erase_if(memory_->verified, [this](const auto& entry) { return !knows(entry.first); });
}

Users::Digest Users::digest(const std::string& text) const {
  Digest digest{};
  if (gnutls_hmac_fast(GNUTLS_MAC_SHA256, memory_->key.data(), memory_->key.size(), text.data(),
                       text.size(), digest.data()) != 0)
    throw std::runtime_error("no digest");
  return digest;
}

// The digest changes with the hash, so a user whose password was set anew is not remembered.
Users::Digest Users::digest(const Credentials& credentials, const std::string& hash) const {
  // Neither name nor hash can hold a line feed.
  return digest(credentials.user + "\n" + hash + "\n" + credentials.password);
}

// An unknown user is checked against the hash of a known one, always the same one. So the time of a
// log-in does not tell who is known, even where hashes differ in cost.
const std::string& Users::hash_for(const std::string& user) const {
  const auto known = hashes_.find(user);
  if (known != hashes_.end()) return known->second;
  const Digest number = digest(user);
  std::uint32_t place = 0;
  std::memcpy(&place, number.data(), sizeof place);
  return std::next(hashes_.begin(), static_cast<std::ptrdiff_t>(place % hashes_.size()))->second;
}

bool Users::remembers(const Credentials& credentials) const {
  const auto user = hashes_.find(credentials.user);
  if (user == hashes_.end()) return false;
  const Digest now = digest(credentials, user->second);
  const std::lock_guard guard(memory_->lock);
  const auto before = memory_->verified.find(credentials.user);
  return before != memory_->verified.end() &&
         equal_in_constant_time(now.data(), before->second.data(), now.size());
}

bool Users::verify(const Credentials& credentials) {
  const std::lock_guard turn(memory_->one_at_a_time);
  const std::string& expected = hash_for(credentials.user);
  const std::string made = hash_of(credentials.password, expected);
  const bool right = made.size() == expected.size() &&
                     equal_in_constant_time(made.data(), expected.data(), made.size());
  if (!right || !knows(credentials.user)) return false;
  const Digest now = digest(credentials, expected);
  const std::lock_guard guard(memory_->lock);
  memory_->verified[credentials.user] = now;
  return true;
}

}  // namespace broker::http
