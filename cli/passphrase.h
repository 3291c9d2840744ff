// Reads a password from the user.
#pragma once

#include <string>

namespace cli {

// On a terminal asks twice, without showing what is typed; otherwise takes the first line of
// standard input. Throws CommandFailure when the two differ, or when none is given.
std::string read_passphrase();

}  // namespace cli
