// The command line as a whole, and the one place where failures become lines and exit statuses.
#include "broker/error.h"
#include "cli/commands.h"
#include "cli/failure.h"
#include "cli/manager.h"
#include "cli/output.h"
#include "cli/places.h"

namespace cli {
namespace {

constexpr const char* description =
    "Tests hard drives with their SMART short self-test, through its CIM classes.";

constexpr const char* footer =
    "Exit status: 3 if what was asked for could not be done; else see COMMAND --help.\n"
    "The log is /var/log/hvx/diagnostics.log, or the file that HVX_LOG_FILE names\n"
    "(- for standard error).";

void add_shared_options(CLI::App& app, Invocation& invocation) {
  app.add_flag("--json", invocation.json, "Print JSON");
  app.add_option("--data", invocation.data, "Folder of message file and registration")
      ->type_name("DIR");
}

// The line for a command line that cannot be understood.
std::string wrong_command_line(const CLI::App& program, const CLI::ParseError& error) {
  const auto commands = program.get_subcommands();
  const std::vector<std::string> unread = program.remaining();
  if (commands.empty() && dynamic_cast<const CLI::RequiredError*>(&error)) {
    if (unread.empty()) return "no command was given; see hddtest --help";
    const char* const kind = unread.front().starts_with('-') ? "option" : "command";
    return std::string("there is no ") + kind + " '" + unread.front() + "'; see hddtest --help";
  }
  std::string text = error.what();
  while (text.ends_with('\n')) text.pop_back();
  const std::string command = commands.empty() ? "" : commands.front()->get_name() + " ";
  return text + "; see hddtest " + command + "--help";
}

}  // namespace

int perform(const Invocation& invocation) {
  try {
    return invocation.action();
  } catch (const broker::Error& error) {
    complain(error_text(error));
  } catch (const std::exception& error) {
    complain(error.what());
  }
  return status_cannot;
}

CLI::App* add_command(CLI::App& program, Invocation& invocation, const std::string& name,
                      const std::string& description) {
  CLI::App* const command = program.add_subcommand(name, description);
  add_shared_options(*command, invocation);
  return command;
}

int run_program(int argc, const char* const* argv, int (*action)(const Invocation&)) {
  extend_program_path();
  Invocation invocation;
  CLI::App program(description, "hddtest");
  program.set_version_flag("--version", "hddtest " HDDTEST_VERSION, "Print the version");
  program.footer(footer);
  program.require_subcommand(1);
  add_shared_options(program, invocation);
  add_drives(program, invocation);
  add_run(program, invocation);
  add_check(program, invocation);
  add_serve(program, invocation);
  add_passwd(program, invocation);
  add_enumerate(program, invocation);
  add_invoke(program, invocation);

  int status = status_cannot;
  try {
    program.parse(argc, argv);
    status = action(invocation);
  } catch (const CLI::CallForVersion& version) {
    standard_output().write(version.what() + std::string("\n"));
    status = status_ok;
  } catch (const CLI::CallForHelp&) {
    standard_output().write(program.help());
    status = status_ok;
  } catch (const CLI::ParseError& error) {
    complain(wrong_command_line(program, error));
  }
  if (!standard_output().failure().empty()) {
    complain("cannot write the output: " + standard_output().failure());
    status = status_cannot;
  }
  return status;
}

}  // namespace cli
