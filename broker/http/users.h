// Who may use the server: names and password hashes of a file.
//
// A line of the file is USER:HASH, with a hash as crypt(5) describes it. Empty lines and those that
// begin with # do not count. Only its owner may read or write the file, and that is the caller or
// root.
#pragma once

#include <array>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace broker::http {

struct Credentials {
  std::string user;
  std::string password;
};

// The users of one state of the file. Safe from any thread.
class Users {
 public:
  // Throws std::runtime_error, which names the file and what to do.
  static std::shared_ptr<Users> read(const std::filesystem::path& file);
  // The text of such a file. Throws std::runtime_error ("line 3: ...").
  explicit Users(std::string_view text);
  Users(const Users&) = delete;

  // Remembers whom the users before this one have verified and whose hash is still the same. To be
  // called before the first use.
  void follow(const Users& before);

  bool knows(const std::string& user) const { return hashes_.contains(user); }
  // Whether verify has found these credentials right before. Quick.
  bool remembers(const Credentials& credentials) const;
  // Takes some ten milliseconds, for an unknown user too. One at a time; others wait.
  bool verify(const Credentials& credentials);

 private:
  using Digest = std::array<unsigned char, 32>;
  // What is handed on when the file is read again.
  struct Memory {
    Digest key{};
    std::mutex lock;
    std::map<std::string, Digest> verified;  // keyed hash of each user's last good password
    std::mutex one_at_a_time;                // a hash takes megabytes and a whole processor
  };
  Digest digest(const std::string& text) const;
  Digest digest(const Credentials& credentials, const std::string& hash) const;
  const std::string& hash_for(const std::string& user) const;

  std::map<std::string, std::string> hashes_;
  std::shared_ptr<Memory> memory_;
};

// Throws std::runtime_error when nobody can have this name.
void check_user_name(std::string_view user);

// Throws std::runtime_error when set_password could not change the file. For use before somebody is
// asked for the password.
void check_changeable(const std::filesystem::path& file);

// Sets a user's password, in a new file when there is none. Other lines stay as they are. The file
// is replaced at once or not at all, and has mode 0600. Throws std::runtime_error.
void set_password(const std::filesystem::path& file, const Credentials& credentials);

}  // namespace broker::http
