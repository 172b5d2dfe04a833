// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_COMMANDS_COMMAND_TREE_H_
#define QOR_TOOLS_QOR_COMMANDS_COMMAND_TREE_H_

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace tools::cli {

// One command of the command line.
struct CommandNode {
  const CLI::App* app;
  std::vector<std::string> path;  // below the tool: {"package", "install"}
  std::vector<const CLI::App*> subcommands;
  std::vector<const CLI::Option*> options;
  std::vector<const CLI::Option*> positionals;
};

// Returns all commands, the tool itself first, parents before children.
std::vector<CommandNode> CommandsOf(const CLI::App& tool);

// Returns whether the option takes a value.
bool TakesValue(const CLI::Option& option);

}  // namespace tools::cli

#endif
