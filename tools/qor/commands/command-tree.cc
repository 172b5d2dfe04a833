// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/commands/command-tree.h"

#include <cstddef>

namespace tools::cli {

std::vector<CommandNode> CommandsOf(const CLI::App& tool) {
  std::vector<CommandNode> commands = {{&tool, {}, {}, {}, {}}};
  for (std::size_t i = 0; i < commands.size(); ++i) {
    CommandNode command = commands[i];
    command.subcommands = command.app->get_subcommands(nullptr);
    command.options =
        command.app->get_options([](const CLI::Option* option) { return option->nonpositional(); });
    command.positionals = command.app->get_options(
        [](const CLI::Option* option) { return option->get_positional(); });
    for (const CLI::App* subcommand : command.subcommands) {
      auto path = command.path;
      path.push_back(subcommand->get_name());
      commands.push_back({subcommand, path, {}, {}, {}});
    }
    commands[i] = command;
  }
  return commands;
}

bool TakesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

}  // namespace tools::cli
