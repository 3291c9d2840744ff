// hddtest passwd: sets the password of a user of the server.
#include <memory>

#include "broker/http/users.h"
#include "cli/commands.h"
#include "cli/passphrase.h"

namespace cli {
namespace {

constexpr const char* kDescription = "Sets the password of a user of 'hddtest serve --users FILE'.";

constexpr const char* kFooter =
    "Asks for the password twice, or reads it from standard input when that is no terminal.\n"
    "FILE is made when there is none. Its lines are USER:HASH, and may be deleted. A running\n"
    "server reads it again on SIGHUP.";

struct PasswdOptions {
  std::string file;
  std::string user;
};

int passwd(const PasswdOptions& options) {
  broker::http::check_user_name(options.user);
  broker::http::check_changeable(options.file);
  broker::http::set_password(options.file, {options.user, read_passphrase()});
  return kStatusOk;
}

}  // namespace

Command passwd_command() {
  auto options = std::make_shared<PasswdOptions>();
  return {"passwd",
          kDescription,
          kFooter,
          {{"FILE", &options->file, "Users file"}, {"USER", &options->user, "Name of the user"}},
          [options] { return passwd(*options); },
          failure_as_of_run,
          false};
}

}  // namespace cli
