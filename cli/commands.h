// The commands of the program, one unit each. A command adds itself to the command line; when it
// is named there, its action runs it and returns the exit status. Actions throw Failure and
// broker::Error.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

namespace cli {

// What all commands share.
struct Invocation {
  bool json = false;
  std::string data;             // argument of --data
  std::function<int()> action;  // of the command that was named; invocation must outlive it
};

void add_drives(CLI::App& program, Invocation& invocation);
void add_run(CLI::App& program, Invocation& invocation);
void add_enumerate(CLI::App& program, Invocation& invocation);
void add_invoke(CLI::App& program, Invocation& invocation);
void add_check(CLI::App& program, Invocation& invocation);
void add_serve(CLI::App& program, Invocation& invocation);
void add_passwd(CLI::App& program, Invocation& invocation);

// A command with the options that all have.
CLI::App* add_command(CLI::App& program, Invocation& invocation, const std::string& name,
                      const std::string& description);

// Runs the action; what it throws becomes a line on standard error. Returns the exit status.
int perform(const Invocation& invocation);

// Reads the command line and has done what it asks for; returns the exit status. Whatever goes
// wrong is one line on standard error.
int run_program(int argc, const char* const* argv, int (*action)(const Invocation&) = perform);

}  // namespace cli
