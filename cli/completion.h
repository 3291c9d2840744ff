// Completion of the command line in bash. The script is made from the very options that the help
// lists, so that what is new there completes too.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace cli {

// The script that bash reads from /usr/share/bash-completion/completions. What the help does not
// list is left out.
std::string completion_script(const CLI::App& program);

}  // namespace cli
