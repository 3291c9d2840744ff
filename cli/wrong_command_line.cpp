#include "cli/wrong_command_line.h"

#include <algorithm>

#include "cli/listed.h"
#include "cli/near_match.h"
#include "platform/words.h"

namespace cli {
namespace {

// The options of a command that its help lists.
std::vector<std::string> option_names(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::Option* const option : listed_options(command))
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  return names;
}

// What the command does not take.
std::string unexpected(const CLI::App& command, const std::string& caller, const std::string& see,
                       const std::string& word) {
  const std::string name = word.substr(0, word.find('='));
  if (!word.starts_with('-'))
    return "'" + caller + "' takes no further argument '" + word + "'" + see;
  return "'" + caller + "' has no option '" + name + "'" + see +
         near_match_question(name, option_names(command));
}

// Whether the command has the option, by a name such as "--test" or "-t".
bool knows(const CLI::App& command, const std::string& name) {
  const auto options = listed_options(command);
  return std::any_of(options.begin(), options.end(),
                     [&](const CLI::Option* option) { return option->check_name(name); });
}

// In words what the library says of an option and its value.
std::string of_option(std::string_view said) {
  std::string text(platform::trim_end(said, "\n"));
  const std::size_t colon = text.find(": ");
  if (colon == text.npos) return text;
  const std::string name = text.substr(0, colon);
  if (text.find(" required", colon) == text.npos) return text;
  return name + (text.find(" missing", colon) == text.npos ? " is given more than once"
                                                           : " needs a value");
}

// The commands with what they do, a line each.
std::string command_list(const CLI::App& program) {
  std::string list = "The commands are:\n";
  for (const CLI::App* const command : listed_commands(program)) {
    constexpr std::size_t kWidth = 11;
    const std::string& name = command->get_name();
    list += "  " + name + std::string(kWidth - std::min(kWidth - 1, name.size()), ' ') +
            command->get_description() + "\n";
  }
  return list + "'hddtest help COMMAND' says more of one.\n";
}

}  // namespace

WrongCommandLine no_such_command(const CLI::App& program, const std::string& word) {
  std::vector<std::string> names;
  for (const CLI::App* const command : listed_commands(program))
    names.push_back(command->get_name());
  return WrongCommandLine(
      "there is no command '" + word + "'" +
          (word.starts_with("/dev/") ? "; a drive is tested with 'hddtest run " + word + "'"
                                     : near_match_question(word, names)),
      command_list(program));
}

WrongCommandLine wrong_command_line(const CLI::App& program, const CLI::ParseError& error) {
  const auto named = program.get_subcommands();
  const CLI::App& command = named.empty() ? program : *named.front();
  const std::string caller = named.empty() ? "hddtest" : "hddtest " + command.get_name();
  const std::vector<std::string> unread = program.remaining(true);
  const std::string word = unread.empty() ? "" : unread.front();
  const std::string see = "; see " + caller + " --help";
  const bool no_command = named.empty() && dynamic_cast<const CLI::RequiredError*>(&error);
  if (no_command && (unread.empty() || !word.starts_with('-'))) {
    if (!unread.empty()) return no_such_command(program, word);
    return WrongCommandLine("no command was given", command_list(program));
  }
  const std::vector<std::string> before = program.remaining(false);
  if (!named.empty() && !before.empty()) {
    const std::string name = word.substr(0, word.find('='));
    if (!word.starts_with('-')) return no_such_command(program, word);
    if (knows(command, name))
      return WrongCommandLine("options stand behind the command: '" + caller + " " + name +
                              " ...'" + see);
  }
  if (no_command || dynamic_cast<const CLI::ExtrasError*>(&error))
    return WrongCommandLine(unexpected(command, caller, see, word));
  return WrongCommandLine(of_option(error.what()) + see);
}

}  // namespace cli
