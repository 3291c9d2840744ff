// What the help lists of commands and options; what it does not list is for the program itself.
#pragma once

#include <CLI/CLI.hpp>
#include <vector>

namespace cli {

inline std::vector<const CLI::App*> listed_commands(const CLI::App& program) {
  return program.get_subcommands([](const CLI::App* one) { return !one->get_group().empty(); });
}

inline std::vector<const CLI::Option*> listed_options(const CLI::App& command) {
  return command.get_options([](const CLI::Option* one) { return !one->get_group().empty(); });
}

}  // namespace cli
