// What is said of a command line that cannot be understood.
#pragma once

#include <CLI/App.hpp>
#include <string>

#include "cli/failure.h"

namespace cli {

// "there is no command 'drvies'; did you mean 'drives'?", with what helps a drive in its place, and
// the list of commands.
WrongCommandLine no_such_command(const CLI::App& program, const std::string& word);

// In words what the library does not understand.
WrongCommandLine wrong_command_line(const CLI::App& program, const CLI::ParseError& error);

}  // namespace cli
