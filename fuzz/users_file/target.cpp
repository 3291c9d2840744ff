// The file of users and password hashes. No password is checked against it, because that takes
// long.
#include "fuzz/target.h"

#include <stdexcept>

#include "broker/http/users.h"
#include "broker/http/users_file.h"

namespace {

namespace http = broker::http;

// A reason says which line is wrong. It goes into a log, so that it must be one line.
void require_reason(const std::string& reason) {
  fuzz::require(reason.starts_with("line ") || reason.starts_with("it names no user"),
                "a refusal says where");
  fuzz::require(reason.find('\n') == std::string::npos, "a refusal is one line");
}

}  // namespace

void fuzz::read_input(std::string_view input) {
  std::size_t users = 0;
  try {
    std::string joined;
    for (const http::UsersLine& line : http::users_lines(input)) {
      joined.append(line.whole) += '\n';
      if (line.user.empty()) continue;
      ++users;
      require(http::user_name_fault(line.user).empty() && !line.hash.empty(), "users have names");
      require(std::string(line.user) + ":" + std::string(line.hash) == line.whole,
              "a line is user and hash");
    }
    if (!input.empty() && input.back() != '\n') joined.pop_back();
    require(joined == input, "the lines are the whole file");
  } catch (const std::runtime_error& error) {
    require_reason(error.what());
  }
  try {
    const http::Users read(input);
    require(users > 0, "there are users");
    require(!read.remembers({"user", "password"}), "nobody has logged in");
  } catch (const std::runtime_error& error) {
    require_reason(error.what());
  }
}
