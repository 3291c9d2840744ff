// The users file as text. Internal to users.h.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace broker::http {

struct UsersLine {
  std::size_t number;
  std::string_view whole;
  std::string_view user;  // empty: the line names none
  std::string_view hash;
};

// Throws std::runtime_error where a line is neither empty, a comment nor USER:HASH.
std::vector<UsersLine> users_lines(std::string_view text);

// What is wrong with it; empty for a good name.
std::string user_name_fault(std::string_view user);

// What the file holds; unset when there is none. Throws std::runtime_error when it cannot be read
// or others than its owner may read or write it.
std::optional<std::string> read_users_file(const std::filesystem::path& file);

}  // namespace broker::http
