// The command line as a whole, and the one place where failures become lines and exit statuses.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <string_view>

#include "broker/error.h"
#include "cli/commands.h"
#include "cli/completion.h"
#include "cli/failure.h"
#include "cli/manager.h"
#include "cli/output.h"
#include "cli/places.h"
#include "cli/run_report.h"
#include "cli/verdict.h"
#include "cli/wrong_command_line.h"

namespace cli {
namespace {

constexpr const char* kDescription =
    "Tests drives with the self-tests that they bring along, and keeps what came out.";

constexpr const char* kFooter =
    "Exit status: 3 if what was asked for could not be done; else see COMMAND --help.\n"
    "The log is /var/log/hvx/diagnostics.log, or the file that HVX_LOG_FILE names\n"
    "(- for standard error). The history of tests is /var/lib/hvx/history.sqlite.";

void add_option(CLI::App& app, const Option& option) {
  const bool argument = !option.name.starts_with('-');
  const auto add = [&](auto& target) {
    return app.add_option(option.name, target, option.help)->type_name(option.value);
  };
  if (auto* const flag = std::get_if<bool*>(&option.target)) {
    CLI::Option* const added = app.add_flag(option.name, **flag, option.help);
    if (option.help.empty()) added->group("");
  } else if (auto* const text = std::get_if<std::string*>(&option.target)) {
    add(**text)->required(argument);
  } else if (auto* const texts = std::get_if<std::vector<std::string>*>(&option.target)) {
    // A list takes one word each time; with more the library would write "..." in the help.
    CLI::Option* const added = add(**texts)->allow_extra_args(argument)->required(option.needs_one);
    if (!argument) added->option_text(option.value);
  } else {
    const Number& number = std::get<Number>(option.target);
    // The library checks the range, but its messages differ between its versions.
    const auto within = [number,
                         range = CLI::Range(number.least, number.most)](const std::string& text) {
      return range(text).empty() ? ""
                                 : fmt::format("'{}' is not a number from {} to {}", text,
                                               number.least, number.most);
    };
    add(*number.value)->check(within);
  }
}

void add_shared_options(CLI::App& app, Invocation& invocation, bool has_json) {
  add_option(app, {"--json", &invocation.json, has_json ? "Print JSON" : ""});
  add_option(app, {"--data", &invocation.data, "Folder of message file and registration", "DIR"});
}

int help(const CLI::App& program, const std::vector<std::string>& names) {
  if (names.empty()) {
    // program.help() would show the help of the command that was named, which is this one.
    standard_output().write(program.get_formatter()->make_help(&program, program.get_name(),
                                                               CLI::AppFormatMode::Normal));
  }
  for (const std::string& name : names) {
    const auto commands =
        program.get_subcommands([&](const CLI::App* one) { return one->get_name() == name; });
    if (commands.empty()) throw no_such_command(program, name);
    standard_output().write(commands.front()->help(program.get_name()));
  }
  return kStatusOk;
}

void add_command(CLI::App& program, Invocation& invocation, const Command& command) {
  CLI::App& app = *program.add_subcommand(command.name, command.description);
  // When its name is read, before the rest of the command line can be found wrong.
  app.preparse_callback(
      [&invocation, failure = command.failure](std::size_t) { invocation.failure = failure; });
  app.group("Commands");
  add_shared_options(app, invocation, command.has_json);
  for (const Option& option : command.options) add_option(app, option);
  app.footer(command.footer);
  app.callback([&invocation, action = command.action] { invocation.action = action; });
}

// Another way to COMMAND --help, which people try first.
Command help_command(const CLI::App& program) {
  auto names = std::make_shared<std::vector<std::string>>();
  return {"help",
          "Shows the commands, or what one of them understands.",
          "Exit status: 0, or 3 if there is no such command.",
          {{"COMMAND", names.get(), "Commands; without one the program itself"}},
          [&program, names] { return help(program, *names); },
          failure_as_of_run,
          false};
}

// Says why there is no answer: on standard error, and in JSON in the answer's place.
int refuse(FailureText failure, std::string_view cause, const std::string& reason) {
  if (failure) standard_output().write(failure(std::string(cause), reason));
  complain(reason);
  return kStatusCannot;
}

int refuse(FailureText failure, const WrongCommandLine& wrong) {
  refuse(failure, kCauseCommandLine, wrong.what());
  standard_error().write(wrong.more());
  return kStatusCannot;
}

// Whether the command line has the flag, even if it cannot be read.
bool has_flag(std::string_view flag, int argc, const char* const* argv) {
  for (int i = 1; i < argc && argv[i] != std::string_view("--"); ++i)
    if (argv[i] == flag) return true;
  return false;
}

std::string failure_as_line(const std::string& cause, const std::string& reason) {
  return dump_line(failure_json(cause, reason).front());
}

// What prints a failure where JSON was asked for; null where it was not.
FailureText failure_text(const Invocation& invocation, bool json) {
  if (invocation.json_lines) return failure_as_line;
  return json ? invocation.failure : nullptr;
}

}  // namespace

std::string failure_as_of_run(const std::string& cause, const std::string& reason) {
  return dump(failure_json(cause, reason));
}

int perform(const Invocation& invocation) {
  const FailureText failure = failure_text(invocation, invocation.json);
  try {
    return invocation.action();
  } catch (const WrongCommandLine& wrong) {
    return refuse(failure, wrong);
  } catch (const broker::Error& error) {
    return refuse(failure, kCauseModule, error_text(error));
  } catch (const std::exception& error) {
    return refuse(failure, kCauseModule, reason_of(error));
  }
}

int run_command_line(int argc, const char* const* argv, int (*action)(const Invocation&)) {
  extend_program_path();
  Invocation invocation;
  CLI::App program(kDescription, "hddtest");
  program.set_version_flag("--version", "hddtest " HDDTEST_VERSION, "Print the version");
  program.footer(kFooter);
  program.require_subcommand(1);
  program.get_formatter()->label("SUBCOMMAND", "COMMAND");
  add_shared_options(program, invocation, true);
  for (const Command& command :
       {drives_command(invocation), run_command(invocation), start_command(invocation),
        status_command(invocation), watch_command(invocation), stop_command(invocation),
        history_command(invocation), metrics_command(invocation), report_command(invocation),
        patrol_command(invocation), check_command(invocation), serve_command(invocation),
        passwd_command(), enumerate_command(invocation), invoke_command(invocation),
        help_command(program)})
    add_command(program, invocation, command);
  // For the build, which installs what it prints.
  program.add_subcommand("completion")->group("")->callback([&] {
    invocation.action = [&program] {
      standard_output().write(completion_script(program));
      return kStatusOk;
    };
  });

  int status = kStatusCannot;
  invocation.json_lines = has_flag("--json-lines", argc, argv);
  try {
    program.parse(argc, argv);
    status = action(invocation);
  } catch (const CLI::CallForVersion& version) {
    standard_output().write(version.what() + std::string("\n"));
    status = kStatusOk;
  } catch (const CLI::CallForHelp&) {
    standard_output().write(program.help());
    status = kStatusOk;
  } catch (const CLI::ParseError& error) {
    const FailureText failure = failure_text(invocation, has_flag("--json", argc, argv));
    status = refuse(failure, wrong_command_line(program, error));
  }
  if (!standard_output().failure().empty()) {
    complain("cannot write the output: " + standard_output().failure());
    status = kStatusCannot;
  }
  return status;
}

}  // namespace cli
