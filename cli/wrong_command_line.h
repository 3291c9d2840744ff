// What is said of a command line that cannot be understood.
#pragma once

#include <CLI/App.hpp>
#include <string>

namespace cli {

// The commands with what they do, a line each.
std::string command_list(const CLI::App& program);

// "there is no command 'drvies'; did you mean 'drives'?", with what helps a drive in its place.
std::string no_such_command(const CLI::App& program, const std::string& word);

// Writes what is wrong to standard error: one line, and behind it the list of commands where none
// was named or there is none of that name.
void complain_of(const CLI::App& program, const CLI::ParseError& error);

}  // namespace cli
