// The commands of the program, one unit each. A command says what it understands and what it does;
// the program reads the command line for all of them. Actions throw CommandFailure and
// broker::Error.
#pragma once

#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "cli/exit_status.h"

namespace cli {

// What a command prints with --json where it cannot answer. cause: kCauseCommandLine or
// kCauseModule.
using FailureText = std::string (*)(const std::string& cause, const std::string& reason);
// The list with one object that 'hddtest run' prints, which most commands share.
std::string failure_as_of_run(const std::string& cause, const std::string& reason);

// What all commands share.
struct Invocation {
  bool json = false;
  bool json_lines = false;      // --json-lines, which few commands know
  std::string data;             // argument of --data
  std::function<int()> action;  // of the command that was named; invocation must outlive it
  FailureText failure = failure_as_of_run;  // of that command
};

struct Number {
  int* value;
  int least;
  int most;
};

// An option, such as "--jobs", or an argument, such as "DEVICE". A single argument must be given,
// a list of them may be empty as a rule.
struct Option {
  std::string name;
  std::variant<bool*, std::string*, std::vector<std::string>*, Number> target;  // what it sets
  std::string help;        // a flag without it is not listed
  std::string value = "";  // what the help calls an option's value
  bool needs_one = false;  // of a list that may not be empty
};

struct Command {
  std::string name;
  std::string description;
  std::string footer;  // of its help
  std::vector<Option> options;
  std::function<int()> action;  // keeps what the options set; returns the exit status
  FailureText failure = failure_as_of_run;
  bool has_json = true;  // --json prints the answer as JSON; else failures alone, and is not listed
};

// The invocation must outlive the command.
Command drives_command(const Invocation& invocation);
Command run_command(const Invocation& invocation);
Command start_command(const Invocation& invocation);
Command status_command(const Invocation& invocation);
Command watch_command(const Invocation& invocation);
Command stop_command(const Invocation& invocation);
Command history_command(const Invocation& invocation);
Command metrics_command(const Invocation& invocation);
Command report_command(const Invocation& invocation);
Command patrol_command(const Invocation& invocation);
Command enumerate_command(const Invocation& invocation);
Command invoke_command(const Invocation& invocation);
Command check_command(const Invocation& invocation);
Command serve_command(const Invocation& invocation);
Command passwd_command();

// Runs the action; what it throws becomes a line on standard error. Returns the exit status.
int perform(const Invocation& invocation);

// Reads the command line and does what it asks for; returns the exit status. Whatever goes wrong is
// one line on standard error.
int run_command_line(int argc, const char* const* argv, int (*action)(const Invocation&) = perform);

}  // namespace cli
